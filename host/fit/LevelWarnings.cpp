#include "host/fit/LevelWarnings.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/table/MissingStrings.h"

namespace qvhost {

namespace {

/// Of fewer records, many different values say nothing.
constexpr std::int64_t kFewestRecords = 20;

bool ReadsAsNumber(std::string_view text) {
  text = WithoutBlanks(text);
  if (text.starts_with('+')) text.remove_prefix(1);
  double number = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

/// A factor by the type of its column: its levels as far as they are numbers or not.
struct TextLevels {
  explicit TextLevels(const CodedColumn& column) {
    for (const std::string& level : column.levels) {
      if (!ReadsAsNumber(level)) texts.push_back(level);
    }
    numbers = column.levels.size() - texts.size();
  }

  [[nodiscard]] bool AreMostlyNumbers() const { return !texts.empty() && numbers > texts.size(); }

  [[nodiscard]] bool AreNumbersAndMissing() const {
    const auto& missing = MissingStrings::Default();
    return numbers > 1 && !texts.empty() &&
           std::ranges::all_of(texts, [&](const std::string& text) {
             return std::ranges::find(missing, WithoutBlanks(text)) != missing.end();
           });
  }

  std::vector<std::string> texts;
  std::size_t numbers = 0;
};

std::string NumbersText(const TextLevels& levels) {
  return fmt::format(
      "{} read as numbers, but not {}: if that stands for a missing value, name it "
      "with --na '{}', and the column is a number.",
      levels.AreNumbersAndMissing() ? "All its other values" : "Most of its values",
      NameList(levels.texts), levels.texts.front());
}

std::string WarningOf(const CodedColumn& column, std::int64_t records, bool isByType) {
  const std::int64_t values = records - column.missing;
  const auto levelCount = static_cast<std::int64_t>(column.levels.size());
  const bool isNearlyUnique = values >= kFewestRecords && 2 * levelCount > values;
  const TextLevels levels(column);
  const bool mayBeNumbers =
      isByType && column.isText && (levels.AreMostlyNumbers() || levels.AreNumbersAndMissing());
  if (isNearlyUnique) {
    return fmt::format(
        "'{}' has {} levels in {} records, fewer than two records for a level. {}", column.label,
        levelCount, values,
        mayBeNumbers ? NumbersText(levels) : "Leave it out, or group its values with --sql.");
  }
  if (!mayBeNumbers || !levels.AreNumbersAndMissing()) return {};
  return fmt::format("'{}' is text and so a factor. {}", column.label, NumbersText(levels));
}

}  // namespace

std::vector<std::string> LevelWarnings(const Formula& formula, const ModelBinding& binding,
                                       const CodedTable& table) {
  std::vector<std::string> warnings;
  const auto add = [&](int position, bool asFactor) {
    const CodedColumn& column = table.Columns()[static_cast<std::size_t>(position)];
    if (column.kind != CodedColumn::Kind::kFactor) return;
    std::string warning = WarningOf(column, table.RecordCount(), !asFactor);
    if (!warning.empty()) warnings.push_back(std::move(warning));
  };
  add(ModelBinding::kDependent, formula.response.asFactor);
  for (std::size_t i = 0; i < formula.variables.size(); ++i) {
    add(binding.positions[i], formula.variables[i].asFactor);
  }
  return warnings;
}

}  // namespace qvhost
