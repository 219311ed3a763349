#pragma once

#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "host/table/MissingFunction.h"
#include "host/table/SpoolFile.h"

namespace qvhost {

/// What a position of the coded records holds. A plain value.
struct CodedColumn {
  /// What the doubles mean.
  enum class Kind {
    kFactor,  ///< Codes 0, 1, 2, … into `levels`; -1 where the value is missing or unknown.
    kNumber   ///< The number itself; QvMV::gMissingValue where it is missing.
  };

  std::string label;
  Kind kind = Kind::kNumber;
  bool isText = false;  ///< A factor whose values are text, and not a number taken as a factor.
  std::vector<std::string>
      levels;  ///< A factor's levels for people, by code. Only those that occur, or were known.
  std::vector<std::int64_t> counts;  ///< Of a factor of texts: the records with each level.
  /// Of a number that is not always missing: the lowest and the highest value.
  double lowest = std::numeric_limits<double>::infinity();
  double highest = -std::numeric_limits<double>::infinity();
  bool areZerosAndOnes = true;  ///< Of a number: whether it has no other value.
  std::int64_t missing = 0;     ///< Records in which the value is NULL or not a number (NaN).
  std::int64_t unknown = 0;     ///< Of a factor of known levels: records with another value.
  std::string firstUnknown;     ///< The first such value.
};

class KeptRows;

/// A table as coded records in a temporary file, and what their positions mean.
///
/// The file has no header; a record is RecordSize() doubles in the machine's byte order, in the
/// order of the requests; records stand in the order of the source's rows. Owns the file, which is
/// gone with the table. Movable, not assignable. One thread at a time.
class CodedTable {
 public:
  CodedTable(SpoolFile file, std::vector<CodedColumn> columns, std::int64_t recordCount,
             std::vector<MissingString> missingStrings = {},
             std::shared_ptr<const KeptRows> kept = nullptr)
      : file_(std::move(file)),
        columns_(std::move(columns)),
        recordCount_(recordCount),
        missingStrings_(std::move(missingStrings)),
        kept_(std::move(kept)) {}

  [[nodiscard]] std::int64_t RecordCount() const { return recordCount_; }
  /// Doubles in a record.
  [[nodiscard]] int RecordSize() const { return static_cast<int>(columns_.size()); }
  [[nodiscard]] const std::vector<CodedColumn>& Columns() const { return columns_; }

  /// The records and what is known of a column, to change the values of a number in place: the
  /// caller keeps both in step.
  [[nodiscard]] SpoolFile& Spool() { return file_; }
  [[nodiscard]] CodedColumn& Column(int position) {
    return columns_.at(static_cast<std::size_t>(position));
  }

  /// Which strings in the columns that were read stood for a missing value, and how often.
  [[nodiscard]] const std::vector<MissingString>& MissingStrings() const { return missingStrings_; }

  /// Fills `values` with whole records from record number `first` on. Any number of threads may
  /// read at the same time. Throws Error (kRunFailed) when the file cannot be read.
  void ReadRecords(std::int64_t first, std::span<double> values) const {
    file_.ReadAt(first * RecordSize(), values);
  }

  /// The records, opened for reading in binary and positioned at the first one when the table is
  /// made. Valid while the table lives (moving it included); never to be closed by the caller. A
  /// `QvCommon::BinaryRecordIterator(table.File(), table.RecordSize())` reads it.
  [[nodiscard]] std::FILE* File() const { return file_.Stream(); }

  /// The columns of the source that were kept, a row for each record; null for none. Valid while
  /// the table lives.
  [[nodiscard]] const KeptRows* Kept() const { return kept_.get(); }

 private:
  SpoolFile file_;
  std::vector<CodedColumn> columns_;
  std::int64_t recordCount_;
  std::vector<MissingString> missingStrings_;
  /// Owned by this table alone; shared_ptr, as KeptRows is incomplete here.
  std::shared_ptr<const KeptRows> kept_;
};

}  // namespace qvhost
