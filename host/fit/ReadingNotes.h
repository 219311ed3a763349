#pragma once

#include <string>
#include <vector>

#include "host/table/TableSource.h"

namespace qvhost {

/// How text files were read as a whole, where a user may have meant something else: no header, rows
/// that are too short, skipped lines. A sentence each.
[[nodiscard]] std::vector<std::string> FileNotes(const TableSource& source);

/// The same of these columns: dates of an order of their own, points that may separate thousands,
/// and of several files those that do not have the column. Throws Error (kBadInput) when a file
/// cannot be read again.
[[nodiscard]] std::vector<std::string> FormatNotes(const TableSource& source,
                                                   const std::vector<std::string>& columns);

}  // namespace qvhost
