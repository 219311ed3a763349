#include "host/table/Booleans.h"

#include <algorithm>
#include <array>
#include <map>
#include <tuple>

#include "host/Text.h"

namespace qvhost {
namespace {

struct Pair {
  std::string_view no;
  std::string_view yes;
};

constexpr std::array<Pair, 5> kPairs = {
    {{"false", "true"}, {"f", "t"}, {"no", "yes"}, {"n", "y"}, {"0", "1"}}};

const Pair* FindPair(const std::string& lower) {
  const auto* const pair = std::ranges::find_if(
      kPairs, [&](const Pair& each) { return each.no == lower || each.yes == lower; });
  return pair == kPairs.end() ? nullptr : pair;
}

/// `lower` in the case of letters of `model`.
std::string InCaseOf(std::string_view model, std::string_view lower) {
  std::string text(lower);
  if (!IsUpperAscii(model.front())) return text;
  const auto isLower = [](char c) { return !IsUpperAscii(c); };
  const bool isUpper = std::ranges::none_of(model, isLower);
  const bool isCapitalized = std::ranges::all_of(model.substr(1), isLower);
  if (isUpper) std::ranges::transform(text, text.begin(), UpperAscii);
  if (isCapitalized) text.front() = UpperAscii(text.front());
  return text;
}

bool IsLower(const BooleanTexts& texts) { return Lower(texts.yes) == texts.yes; }

}  // namespace

std::optional<bool> TruthOf(std::string_view text) {
  const std::string lower = Lower(text);
  const Pair* const pair = FindPair(lower);
  if (pair == nullptr) return std::nullopt;
  return pair->yes == lower;
}

std::vector<std::string> TextsOf(bool truth) {
  std::vector<std::string> texts;
  texts.reserve(kPairs.size());
  for (const Pair& pair : kPairs) texts.emplace_back(truth ? pair.yes : pair.no);
  return texts;
}

std::optional<BooleanTexts> SpellingOf(std::string_view text) {
  const Pair* const pair = FindPair(Lower(text));
  if (pair == nullptr) return std::nullopt;
  return BooleanTexts{InCaseOf(text, pair->no), InCaseOf(text, pair->yes)};
}

BooleanTexts UsualSpelling(const std::vector<std::pair<std::string, std::int64_t>>& counts) {
  std::map<std::pair<std::string, std::string>, std::int64_t> totals;
  for (const auto& [text, count] : counts) {
    if (const auto texts = SpellingOf(text)) totals[{texts->no, texts->yes}] += count;
  }
  BooleanTexts usual;
  std::int64_t most = 0;
  for (const auto& [pair, count] : totals) {
    const BooleanTexts texts{pair.first, pair.second};
    if (std::tuple(count, IsLower(texts)) <= std::tuple(most, IsLower(usual)) && most > 0) continue;
    usual = texts;
    most = count;
  }
  return usual;
}

}  // namespace qvhost
