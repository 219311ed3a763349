#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/table/CodedTable.h"
#include "host/table/ColumnInfo.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// The values of a text, divided into numbers and others. A plain value.
class NumberLevels {
 public:
  /// `counts`: how many records have each of the levels.
  NumberLevels(const std::vector<std::string>& levels, const std::vector<std::int64_t>& counts);

  /// Whether the values are hardly meant as categories: 90 in a hundred of the levels, or of the
  /// records, are numbers; or all but the usual strings for missing values; or all of more than two
  /// that are no codes with leading zeros.
  [[nodiscard]] bool AreLikelyNumbers() const;

  /// The same, of levels of which each has few records.
  [[nodiscard]] bool AreMoreNumbers() const { return !texts_.empty() && numbers_ > texts_.size(); }

  /// "99 % of its values read as numbers, though not 'unknown': ..." with what to do, of the column
  /// that was requested.
  [[nodiscard]] std::string Text(const TableSource& source, const ColumnRequest& request) const;

 private:
  [[nodiscard]] bool AreNumbersAndMissing() const;
  [[nodiscard]] std::string Remedy(const TableSource& source, const ColumnRequest& request) const;

  std::vector<std::string> texts_;
  std::size_t numbers_ = 0;
  std::int64_t numberRecords_ = 0;
  std::int64_t records_ = 0;
  bool areCodes_ = false;
};

/// Whether the levels of a factor are text, though most of them are numbers.
[[nodiscard]] bool IsLikelyNumber(const CodedColumn& coded);

/// How to make numbers of a text, for an error that is about to be thrown: reads all its values.
/// Empty when they are none.
[[nodiscard]] std::string NumberHint(const TableSource& source, const ColumnRequest& request);

/// The same of a text whose different values are known, and how many records have each, where they
/// are nearly all numbers; reads nothing.
[[nodiscard]] std::string NumberHint(const TableSource& source, const ColumnRequest& request,
                                     const std::vector<std::string>& values,
                                     const std::vector<std::int64_t>& counts);

/// Throws Error (kBadInput): a dependent that is a category because it is text has values that are
/// mostly numbers.
[[noreturn]] void RefuseNumberLevels(const TableSource& source, const ColumnRequest& request,
                                     const CodedColumn& dependent);

}  // namespace qvhost
