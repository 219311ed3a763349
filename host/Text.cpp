#include "host/Text.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <numeric>
#include <system_error>
#include <tuple>
#include <utility>

#include <fmt/format.h>

namespace qvhost {
namespace {

constexpr std::size_t kMostNames = 5;
/// Longer names are not compared letter by letter.
constexpr std::size_t kLongestName = 100;
constexpr std::size_t kMostTimesLonger = 4;
constexpr std::size_t kFar = std::numeric_limits<std::size_t>::max();
constexpr unsigned kContinuationBits = 6;
constexpr unsigned kContinuationMask = 0x3F;

struct Lead {
  std::size_t length;
  unsigned bits;      ///< The lead byte's share of the value.
  char32_t smallest;  ///< A smaller value is an overlong form.
};

Lead ReadLead(unsigned char byte) {
  if ((byte & 0xE0U) == 0xC0U) return {2, byte & 0x1FU, 0x80};
  if ((byte & 0xF0U) == 0xE0U) return {3, byte & 0x0FU, 0x800};
  if ((byte & 0xF8U) == 0xF0U) return {4, byte & 0x07U, 0x10000};
  return {0, 0, 0};
}

bool IsScalarValue(char32_t value) {
  return value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
}

std::string Quote(std::string_view text, char quote) {
  std::string quoted(1, quote);
  for (const char c : text) {
    if (c == quote) quoted += quote;
    quoted += c;
  }
  return quoted += quote;
}

std::size_t EditDistance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> beforeLast;
  std::vector<std::size_t> last(b.size() + 1);
  std::iota(last.begin(), last.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::vector<std::size_t> row(b.size() + 1, i);
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, replaced});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) row[j] = std::min(row[j], beforeLast[j - 2] + 1);
    }
    beforeLast = std::exchange(last, std::move(row));
  }
  return last.back();
}

/// Of two lower-case names; kFar when they have little in common.
std::size_t NameDistance(std::string_view wanted, std::string_view name) {
  const std::size_t shorter = std::min(wanted.size(), name.size());
  const std::size_t difference = std::max(wanted.size(), name.size()) - shorter;
  // A third of the letters may be wrong, but not all.
  const std::size_t limit =
      std::min(wanted.size(), std::max<std::size_t>(1, wanted.size() / 3) + 1);
  // Every byte of the difference is an edit.
  if (difference < limit && wanted.size() <= kLongestName) {
    const std::size_t distance = EditDistance(wanted, name);
    if (distance < limit) return distance;
  }
  const bool isStart = wanted.starts_with(name) || name.starts_with(wanted);
  // A few letters are the beginning of too many long names.
  const std::size_t longest = shorter * std::min(shorter, kMostTimesLonger);
  if (!isStart || wanted.empty() || shorter + difference > longest) return kFar;
  return kLongestName + difference;
}

std::size_t CommonStart(std::string_view a, std::string_view b) {
  return static_cast<std::size_t>(std::ranges::mismatch(a, b).in1 - a.begin());
}

}  // namespace

bool IsUpperAscii(char c) { return c >= 'A' && c <= 'Z'; }

char LowerAscii(char c) { return IsUpperAscii(c) ? static_cast<char>(c - 'A' + 'a') : c; }

char UpperAscii(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), LowerAscii);
  return lower;
}

bool SameWord(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, {}, LowerAscii, LowerAscii);
}

std::optional<std::string> NearestName(std::string_view wanted,
                                       const std::vector<std::string>& names) {
  const std::string lowerWanted = Lower(wanted);
  // By the distance, the letters behind a common start, and the alphabet.
  std::optional<std::tuple<std::size_t, std::size_t, std::string>> nearest;
  for (const std::string& name : names) {
    const std::string lower = Lower(name);
    const std::size_t distance = NameDistance(lowerWanted, lower);
    if (distance == kFar) continue;
    const std::size_t rest = wanted.size() - CommonStart(lowerWanted, lower);
    const std::tuple found(distance, rest, name);
    if (!nearest || found < *nearest) nearest = found;
  }
  if (!nearest) return std::nullopt;
  return std::get<std::string>(*nearest);
}

std::string DidYouMean(std::string_view wanted, const std::vector<std::string>& names) {
  const std::optional<std::string> nearest = NearestName(wanted, names);
  return nearest ? fmt::format(" Did you mean '{}'?", *nearest) : "";
}

std::string NameList(const std::vector<std::string>& names) {
  std::string list;
  for (std::size_t i = 0; i < std::min(names.size(), kMostNames); ++i) {
    list += fmt::format("{}'{}'", i == 0 ? "" : ", ", names[i]);
  }
  return names.size() > kMostNames ? list + ", …" : list;
}

std::string ChoiceText(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const std::string_view separator = i == 0 ? "" : i + 1 == names.size() ? " or " : ", ";
    text += fmt::format("{}'{}'", separator, names[i]);
  }
  return text;
}

void CutText(std::string& text, std::size_t length) {
  if (text.size() <= length) return;
  while (length > 0 && (static_cast<unsigned char>(text[length]) & ~kContinuationMask) == 0x80U) {
    --length;
  }
  text.resize(length);
  text += "…";
}

void CutMiddle(std::string& text, std::size_t length) {
  if (text.size() <= length) return;
  std::size_t end = text.size() - length / 2;
  while (end < text.size() && !DecodeUtf8(text, end).valid) ++end;
  const std::string rest = text.substr(end);
  CutText(text, length / 2);
  text += rest;
}

CodePoint DecodeUtf8(std::string_view text, std::size_t at) {
  const auto first = static_cast<unsigned char>(text[at]);
  if (first < 0x80) return {first, 1, true};
  const Lead lead = ReadLead(first);
  if (lead.length == 0 || text.size() - at < lead.length) return {};
  char32_t value = lead.bits;
  for (std::size_t i = 1; i < lead.length; ++i) {
    const auto byte = static_cast<unsigned char>(text[at + i]);
    if ((byte & ~kContinuationMask) != 0x80U) return {};
    value = (value << kContinuationBits) | (byte & kContinuationMask);
  }
  if (value < lead.smallest || !IsScalarValue(value)) return {};
  return {value, lead.length, true};
}

std::string Printable(std::string_view text) {
  std::string printable;
  for (std::size_t at = 0; at < text.size();) {
    const CodePoint point = DecodeUtf8(text, at);
    const bool turns = (point.value >= 0x202A && point.value <= 0x202E) ||
                       (point.value >= 0x2066 && point.value <= 0x2069);
    const bool control = point.value < 0x20 || (point.value >= 0x7F && point.value < 0xA0) || turns;
    printable += point.valid && control ? " " : text.substr(at, point.length);
    at += point.length;
  }
  return printable;
}

std::optional<int> WholeNumber(std::string_view text) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos) return {};
  int value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec == std::errc::result_out_of_range) return std::numeric_limits<int>::max();
  return value;
}

std::string QuoteName(std::string_view name) { return Quote(name, '"'); }

std::string QuoteText(std::string_view text) { return Quote(text, '\''); }

std::string ShellText(std::string_view text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted += '\'';
}

std::string ShellWord(std::string_view text) {
  constexpr std::string_view kPlain = "+,-./0123456789:=@_%";
  const bool isPlain = !text.empty() && std::ranges::all_of(text, [&](char c) {
    return (LowerAscii(c) >= 'a' && LowerAscii(c) <= 'z') ||
           kPlain.find(c) != std::string_view::npos;
  });
  return isPlain ? std::string(text) : ShellText(text);
}

}  // namespace qvhost
