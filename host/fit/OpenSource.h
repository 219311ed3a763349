#pragma once

#include <string>
#include <vector>

#include "host/fit/Interrupt.h"
#include "host/fit/ProgressBar.h"
#include "host/table/CodeTable.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// Opens the source of a run; a pipe is read to its end, which `progress` shows. Throws as
/// TableSource does; Cancelled when interrupted meanwhile.
[[nodiscard]] TableSource OpenSource(const DataSource& asked, ProgressBar& progress,
                                     const Interrupt& interrupt);

/// How to code a source.
struct SourceCoding {
  std::vector<KeptColumn> keep;
  const std::string& spoolDir;
  int threads = 0;  ///< 0: as many as the machine has cores.
};

/// Codes a source, which `progress` shows. Throws as CodeTable does; Cancelled when interrupted.
[[nodiscard]] CodedTable CodeSource(const TableSource& source,
                                    const std::vector<ColumnRequest>& requests, SourceCoding coding,
                                    ProgressBar& progress, const Interrupt& interrupt);

/// The source for a report, with the query that it went through.
[[nodiscard]] std::string DataText(const TableSource& source, const DataSource& asked);

}  // namespace qvhost
