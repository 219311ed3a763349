#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/table/ColumnCoders.h"
#include "host/table/ColumnInfo.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// How one request is read and coded. For the sources of this folder.
struct PlannedColumn {
  std::string sql;  ///< What to select: a DOUBLE or VARCHAR, as the coder takes it.
  std::unique_ptr<ColumnCoder> coder;
};

/// Chooses a coder for each request by the type of its expression. Throws Error (kBadInput) for an
/// expression that DuckDB does not understand and for a type that the request refuses.
[[nodiscard]] std::vector<PlannedColumn> PlanCoding(const TableSource& source,
                                                    const std::vector<ColumnRequest>& requests,
                                                    std::size_t maxLevels);

}  // namespace qvhost
