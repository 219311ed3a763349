#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/WholeFile.h"
#include "host/fit/RecordWalk.h"
#include "host/table/CodedTable.h"
#include "host/table/TableWriter.h"
#include "qvreg/common/Constants.h"
#include "qvreg/common/Record.h"

namespace qvhost {

/// A place in a row of scores that stays NULL.
inline constexpr double kNoScore = QvMV::gMissingValue;

/// Scores records into rows of numbers, kNoScore where there is none; a text is the code of a
/// level. One thread at a time.
class RowScorer {
 public:
  RowScorer() = default;
  RowScorer(const RowScorer&) = delete;
  RowScorer& operator=(const RowScorer&) = delete;
  virtual ~RowScorer() = default;

  [[nodiscard]] virtual std::vector<WrittenColumn> Columns() const = 0;
  /// REQUIRES: a row of kNoScore. Leaves what does not exist.
  virtual void Score(const QvCommon::Record& record, std::span<double> row) = 0;
};

/// Takes the rows of scores, in the order of their records, from `nextRow`.
using RowTaker =
    std::function<void(const std::vector<WrittenColumn>& columns, const NextRow& nextRow)>;

/// Scores every record of a table and has `take` take the rows. `levels` are the texts of codes;
/// `make` makes a scorer for a thread. Records are scored on up to so many threads, of which the
/// calling one takes the rows. Throws Error (kRunFailed) when the table cannot be read back;
/// Cancelled when interrupted; what `take` throws passes through.
void ScoreRows(const CodedTable& table, const std::vector<std::string>& levels,
               const std::function<std::unique_ptr<RowScorer>()>& make, const WalkOptions& options,
               const RowTaker& take);

/// Scores every record of a table and writes a row for each, in their order, to a .csv, .tsv or
/// .parquet file (see WriteTable), which the caller commits. The columns that the table kept stand
/// first, see NamesBeside. `levels` are the texts of codes; `make` makes a scorer for a thread.
///
/// Records are scored on up to so many threads, of which the calling one writes. Returns a sentence
/// about kept columns that were renamed, empty for none. Throws Error as WriteTable does, and
/// kRunFailed when the table cannot be read back; Cancelled when interrupted.
std::string WriteScoredRows(const WholeFile& file, const CodedTable& table,
                            const std::vector<std::string>& levels,
                            const std::function<std::unique_ptr<RowScorer>()>& make,
                            const WalkOptions& options);

}  // namespace qvhost
