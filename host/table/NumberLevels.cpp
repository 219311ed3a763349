#include "host/table/NumberLevels.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/table/ColumnCoders.h"
#include "host/table/Connection.h"
#include "host/table/MissingStrings.h"
#include "host/table/NumberFormat.h"

namespace qvhost {
namespace {

constexpr std::int64_t kLeastShare = 90;  // In a hundred.
/// More strings are hardly all missing values.
constexpr std::size_t kMostMissing = 3;
constexpr std::size_t kMostLevels = 20000;

bool ReadsAsNumber(std::string_view text) {
  text = WithoutBlanks(text);
  if (text.starts_with('+')) text.remove_prefix(1);
  double number = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

/// A number of which leading zeros are a part: 01234.
bool IsCode(std::string_view text) {
  return text.size() > 1 && text.front() == '0' &&
         std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

bool IsMost(std::int64_t part, std::int64_t all) { return 100 * part >= kLeastShare * all; }

/// --na for these, and for what was read as missing so far: it replaces the list.
std::string MissingOptions(const TableSource& source, const std::vector<std::string>& texts) {
  std::vector<std::string> strings;
  const auto add = [&strings](const std::string& text) {
    if (std::ranges::find(strings, text) == strings.end()) strings.push_back(text);
  };
  for (const MissingString& missing : source.MissingStringsRead()) add(missing.text);
  for (const std::string& text : texts) add(text);
  std::string options;
  for (const std::string& text : strings) {
    options += (options.empty() ? "--na " : " --na ") + ShellText(text);
  }
  return options;
}

}  // namespace

NumberLevels::NumberLevels(const std::vector<std::string>& levels,
                           const std::vector<std::int64_t>& counts) {
  for (std::size_t i = 0; i < levels.size(); ++i) {
    const std::int64_t count = i < counts.size() ? counts[i] : 1;
    records_ += count;
    areCodes_ = areCodes_ || IsCode(levels[i]);
    if (ReadsAsNumber(levels[i])) {
      ++numbers_;
      numberRecords_ += count;
    } else {
      texts_.push_back(levels[i]);
    }
  }
}

bool NumberLevels::AreNumbersAndMissing() const {
  const auto& missing = MissingStrings::Default();
  const auto isMissing = [&](const std::string& text) {
    return std::ranges::find(missing, WithoutBlanks(text)) != missing.end();
  };
  return numbers_ > 1 && !texts_.empty() && std::ranges::all_of(texts_, isMissing);
}

bool NumberLevels::AreLikelyNumbers() const {
  if (areCodes_ || numbers_ < 2) return false;
  if (texts_.empty()) return numbers_ > 2;
  const std::size_t levels = numbers_ + texts_.size();
  return AreNumbersAndMissing() || IsMost(numberRecords_, records_) ||
         IsMost(static_cast<std::int64_t>(numbers_), static_cast<std::int64_t>(levels));
}

std::string NumberLevels::Text(const TableSource& source, const ColumnRequest& request) const {
  const std::int64_t share = records_ > 0 ? 100 * numberRecords_ / records_ : 0;
  const std::string names = texts_.empty() ? "" : ", though not " + NameList(texts_);
  return fmt::format("{} % of its values read as numbers{}: {}.", share, names,
                     Remedy(source, request));
}

std::string NumberLevels::Remedy(const TableSource& source, const ColumnRequest& request) const {
  const std::string types = source.TakesTypes() ? TypesText(request.label, "double") : "";
  if (texts_.empty()) {
    if (!types.empty()) return fmt::format("for a number, add {}", types);
    return fmt::format("for a number, write cast({} as double)", request.Written());
  }
  if (texts_.size() > kMostMissing) {
    return fmt::format("to take those for missing, write try_cast({} as double)",
                       request.Written());
  }
  const bool isOne = texts_.size() == 1;
  return fmt::format("if {} for {}, add {}{}, and the column is a number",
                     isOne ? "that stands" : "those stand",
                     isOne ? "a missing value" : "missing values", MissingOptions(source, texts_),
                     types.empty() ? "" : " " + types);
}

bool IsLikelyNumber(const CodedColumn& coded) {
  return coded.isText && NumberLevels(coded.levels, coded.counts).AreLikelyNumbers();
}

std::string NumberHint(const TableSource& source, const ColumnRequest& request) {
  std::string disguise = DisguiseText(source, request);
  if (!disguise.empty()) return disguise;
  source.StartCounting();
  const auto rows = source.Database().Rows(
      fmt::format("SELECT value, CAST(count(*) AS VARCHAR) FROM (SELECT CAST(({}) AS VARCHAR) AS "
                  "value FROM {}) WHERE value IS NOT NULL GROUP BY value ORDER BY value LIMIT {}",
                  request.sql, source.Relation(), kMostLevels));
  std::vector<std::string> values;
  std::vector<std::int64_t> counts;
  for (const auto& row : rows) {
    values.push_back(row[0].value_or(""));
    counts.push_back(std::stoll(row[1].value_or("0")));
  }
  const NumberLevels levels(values, counts);
  return levels.AreLikelyNumbers() || levels.AreMoreNumbers() ? levels.Text(source, request) : "";
}

std::string NumberHint(const TableSource& source, const ColumnRequest& request,
                       const std::vector<std::string>& values,
                       const std::vector<std::int64_t>& counts) {
  if (const std::optional<NumberReading> reading = FindReading(values)) {
    return DisguiseText(*reading, source, request.label);
  }
  const NumberLevels levels(values, counts);
  return levels.AreLikelyNumbers() ? levels.Text(source, request) : "";
}

void RefuseNumberLevels(const TableSource& source, const ColumnRequest& request,
                        const CodedColumn& dependent) {
  throw Error(
      ExitCode::kBadInput,
      fmt::format(
          "The dependent '{}' is text, but {} For a logistic model of its values write C({}).",
          request.label, NumberLevels(dependent.levels, dependent.counts).Text(source, request),
          request.Written()));
}

}  // namespace qvhost
