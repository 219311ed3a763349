#pragma once

#include <string>
#include <vector>

#include "host/fit/TableDescription.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// Factors of more levels are warned of.
inline constexpr std::int64_t kManyLevels = 1000;

/// Sentences about what may be wrong with a column that was described, its own warnings apart: no
/// value, only one, mostly missing, infinite numbers, an identifier, many levels, numbers that are
/// text, categories that are numbers.
[[nodiscard]] std::vector<std::string> ColumnWarnings(const ColumnDescription& column,
                                                      const TableSource& source);

}  // namespace qvhost
