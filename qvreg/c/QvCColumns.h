#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "qvreg/c/qvreg_c.h"

/// The variables of a host's records as it has them in memory, each an array of some type: read to
/// rows of doubles.
///
/// Borrows the host's memory. It does not change: several threads may read at once.
class QvCColumns {
 public:
  QvCColumns() = default;
  /// Copies `count` columns, which lead to the values of records if there are any. Throws the
  /// refusal of what does not describe a column.
  QvCColumns(const qvreg_typed_column* columns, std::size_t count, bool hasRecords);
  /// Columns of doubles that are passed on as they are.
  QvCColumns(const qvreg_column* columns, std::size_t count, bool hasRecords);

  [[nodiscard]] std::size_t Size() const { return fColumns.size(); }
  /// What there is for an array of rows that can be read where it is: the first value of the first
  /// record, with values side by side and records `stride` doubles apart; null for other columns.
  [[nodiscard]] const double* Rows(std::ptrdiff_t& stride) const;
  /// Writes `count` records from number `first` on, counted from 0, to `rows`, one behind the
  /// other. How many precede one with a value that is refused: `count` where none has.
  std::size_t Read(std::size_t first, std::size_t count, double* rows) const;
  /// Why the record of this number is refused, and by which column. REQUIRES: Read said so.
  [[nodiscard]] std::string WhyRefused(std::size_t record, std::size_t& column) const;

  /// Of the columns from a host, before they are checked: only those that are `wanted`, as many as
  /// that has elements; the others are 0 in every record, and not read.
  [[nodiscard]] static QvCColumns Wanted(const qvreg_typed_column* columns, std::size_t count,
                                         bool hasRecords, const std::vector<bool>& wanted);

 private:
  std::vector<qvreg_typed_column> fColumns;
};

/// Records of columns one after the other. Borrows the columns; one thread at a time.
class QvCRowReader {
 public:
  explicit QvCRowReader(const QvCColumns& columns);

  /// The records from `begin` to before `end` are next.
  void Start(std::size_t begin, std::size_t end) {
    fNext = begin;
    fEnd = end;
    fNRead = fNTaken = 0;
  }
  /// The values of the next record, until the following call. Throws the refusal of one that has a
  /// value that is refused. REQUIRES: there is one.
  const double* Next();

 private:
  const QvCColumns& fColumns;
  std::vector<double> fRows;
  std::size_t fAtOnce;
  std::size_t fNext = 0;  ///< The first that was not read.
  std::size_t fEnd = 0;
  std::size_t fNRead = 0;
  std::size_t fNTaken = 0;
};

/// How many records of so many values to read at once: few enough to stay in the nearest cache.
[[nodiscard]] std::size_t QvCRecordsAtOnce(std::size_t size);
