#pragma once

#include <string>
#include <vector>

#include "host/table/TableSource.h"

namespace qvhost {

/// The columns of the table that --keep names, each once; `all` adds the others, but for fields of
/// objects. Throws Error (kBadInput) for one that does not exist.
[[nodiscard]] std::vector<std::string> NamesToKeep(const std::vector<std::string>& keep, bool all,
                                                   const TableSource& source);

}  // namespace qvhost
