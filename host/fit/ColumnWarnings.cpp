#include "host/fit/ColumnWarnings.h"

#include <algorithm>
#include <cstddef>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/formula/Tokenizer.h"
#include "host/table/NumberLevels.h"

namespace qvhost {

namespace {

constexpr std::size_t kLongestValue = 40;
/// Of fewer rows little can be said.
constexpr std::int64_t kFewRows = 20;
/// In a hundred: so many values differ where it is nearly every one.
constexpr std::int64_t kNearlyAll = 95;
/// Whole numbers of at most so many values, each of them this often in the mean, may be codes.
constexpr std::int64_t kMostCodes = 10;
constexpr std::int64_t kLeastRepeats = 5;

bool IsNearlyAll(std::int64_t part, std::int64_t all) { return 100 * part >= kNearlyAll * all; }

/// The warnings of one column. Borrows what it is made of.
class Warnings {
 public:
  Warnings(const ColumnDescription& column, const TableSource& source)
      : column_(column),
        summary_(column.summary),
        source_(source),
        name_(column.info.name),
        present_(summary_.rows - summary_.missing) {}

  std::vector<std::string> Find() {
    if (summary_.rows == 0) return {};
    if (present_ == 0) {
      Add("'{}' has no value: a formula that names it leaves out every row.", name_);
      return std::move(warnings_);
    }
    FindMissing();
    FindInfinite();
    if (summary_.distinct == 1) {
      FindConstant();
    } else if (!FindNumbers() && !FindIdentifier()) {
      FindManyLevels();
    }
    FindCodes();
    return std::move(warnings_);
  }

 private:
  template <typename... Values>
  void Add(fmt::format_string<Values...> text, Values&&... values) {
    warnings_.push_back(fmt::format(text, std::forward<Values>(values)...));
  }

  void FindMissing() {
    if (2 * summary_.missing <= summary_.rows) return;
    Add("'{}' is missing in {} of {} rows, which a formula that names it leaves out.", name_,
        summary_.missing, summary_.rows);
  }

  void FindInfinite() {
    if (summary_.infinite == 0) return;
    Add("'{}' is infinite in {} row{}, which no model can be fitted to: leave them out with "
        "--where or --sql.",
        name_, summary_.infinite, summary_.infinite == 1 ? "" : "s");
  }

  void FindConstant() {
    std::string value = summary_.levels.empty() ? "" : summary_.levels.front().level;
    CutText(value, kLongestValue);
    Add("'{}' is '{}' in every row{}: in a model it says nothing that the intercept does not.",
        name_, value, summary_.missing > 0 ? " that has a value" : "");
  }

  bool FindIdentifier() {
    if (present_ < kFewRows || !IsNearlyAll(summary_.distinct, present_)) return false;
    if (column_.role == ColumnRole::kFactor) {
      Add("'{}' has another value in {} row, as an identifier has, and would be a factor of {}{} "
          "levels.",
          name_, IsEach() ? "every" : "nearly every", summary_.isDistinctExact ? "" : "about ",
          summary_.distinct);
      return true;
    }
    if (!summary_.numbers || !summary_.numbers->areWhole) return false;
    const NumberSummary& numbers = *summary_.numbers;
    const bool isSequence = IsNearlyAll(numbers.steps, present_ - 1);
    const double span = numbers.maximum - numbers.minimum + 1.0;
    const bool isPermuted =
        IsEach() && span * static_cast<double>(kNearlyAll) <= 100.0 * static_cast<double>(present_);
    if (!isSequence && !isPermuted) return false;
    Add("'{}' numbers the rows, {:.0f} to {:.0f}, as an identifier does.", name_, numbers.minimum,
        numbers.maximum);
    return true;
  }

  /// Whether no two values are the same.
  bool IsEach() const { return summary_.isDistinctExact && summary_.distinct == present_; }

  void FindManyLevels() {
    if (column_.role != ColumnRole::kFactor || summary_.distinct <= kManyLevels) return;
    Add("'{}' would be a factor of {}{} levels, each with a parameter of its own.", name_,
        summary_.isDistinctExact ? "" : "about ", summary_.distinct);
  }

  bool FindNumbers() {
    if (column_.info.kind != ColumnKind::kText || source_.IsTypeGiven(name_)) return false;
    std::vector<std::string> values;
    std::vector<std::int64_t> counts;
    for (const LevelCount& level : summary_.areLevelsExact ? summary_.levels : summary_.sample) {
      values.push_back(level.level);
      counts.push_back(level.count);
    }
    const ColumnRequest request{
        .label = name_, .sql = QuoteName(name_), .written = WrittenName(name_)};
    const std::string hint = NumberHint(source_, request, values, counts);
    if (!hint.empty()) Add("'{}' is text, but {}", name_, hint);
    return !hint.empty();
  }

  void FindCodes() {
    const bool isWhole = summary_.numbers && summary_.numbers->areWhole;
    const bool areFew = summary_.distinct > 2 && summary_.distinct <= kMostCodes;
    if (!isWhole || !areFew || present_ < kLeastRepeats * summary_.distinct) return;
    Add("'{}' has only {} values, all whole numbers: if they are codes of categories, write C({}) "
        "in the formula.",
        name_, summary_.distinct, WrittenName(name_));
  }

  const ColumnDescription& column_;
  const ColumnSummary& summary_;
  const TableSource& source_;
  const std::string& name_;
  std::int64_t present_;
  std::vector<std::string> warnings_;
};

}  // namespace

std::vector<std::string> ColumnWarnings(const ColumnDescription& column,
                                        const TableSource& source) {
  return Warnings(column, source).Find();
}

}  // namespace qvhost
