#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "host/fit/FitOptions.h"
#include "host/fit/Interrupt.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/ProgressBar.h"
#include "host/table/CodedTable.h"

namespace qvhost {

/// The distinct records of a table, each with the number of times that it stands there.
///
/// The columns are those of the table, of which they tell the same (missing values, levels, limits
/// of all its records). Then follow a frequency weight, unless the records have one, and the number
/// of records. The frequency weight is multiplied by that number where it is above 0. -0 is 0.
struct GroupedRecords {
  CodedTable table;
  int freqWeight = 0;  ///< Position of the frequency weight.
  int count = 0;       ///< Position of the number of records.
};

/// How to group. Every field but the interrupt has a default.
struct GroupingOptions {
  const Interrupt& interrupt;
  int freqWeight = -1;        ///< Position of the table's frequency weight; -1 for none.
  std::string spoolDir = {};  ///< Folder of the temporary file; empty for the system's.
  int threads = 1;            ///< How many may work; the result does not depend on it.
  /// What each of up to four threads may take for the distinct records that it found.
  std::size_t mostBytes = std::size_t{64} << 20;
  /// Called on the calling thread now and then with the number of records seen, of a table that is
  /// read several times the share of them that is done; may be empty.
  std::function<void(long long records)> progress = {};
};

/// Groups the records of a table. Memory is bounded whatever the table: where the distinct ones do
/// not fit, records are divided into parts by their digests and the table is read once for each.
/// Those of a part stand in the order in which each comes first in the table, parts one behind the
/// other.
///
/// None where a fit would gain little: of fewer than 10,000 records, or where half of them or more
/// are distinct, which a sample tells before the rest is read, if it can; it is taken at places
/// that depend on the number of records alone. None where more than 64 parts would be needed, or a
/// frequency weight would leave the range of a double. Others may read the table
/// meanwhile. Throws Error (kRunFailed) for a temporary file that cannot be read or written,
/// Cancelled when interrupted.
[[nodiscard]] std::optional<GroupedRecords> GroupRecords(const CodedTable& table,
                                                         const GroupingOptions& options);

/// The distinct records to fit in place of the table's, as the options of a run have it; none where
/// those are fitted one by one. Throws as GroupRecords does.
[[nodiscard]] std::optional<GroupedRecords> GroupForFit(const CodedTable& table,
                                                        const ModelBinding& binding,
                                                        const FitOptions& options,
                                                        ProgressBar& progress,
                                                        const Interrupt& interrupt);

}  // namespace qvhost
