#pragma once

#include <string>

#include "host/fit/Interrupt.h"
#include "host/fit/ProgressBar.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// Opens the source of a run; a pipe is read to its end, which `progress` shows. Throws as
/// TableSource does; Cancelled when interrupted meanwhile.
[[nodiscard]] TableSource OpenSource(const DataSource& asked, ProgressBar& progress,
                                     const Interrupt& interrupt);

/// The source for a report, with the query that it went through.
[[nodiscard]] std::string DataText(const TableSource& source, const DataSource& asked);

}  // namespace qvhost
