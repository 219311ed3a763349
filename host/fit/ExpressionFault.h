#pragma once

#include <string>
#include <vector>

#include "host/formula/Variable.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// The columns that the variable reads, each once.
[[nodiscard]] std::vector<FoundColumn> DistinctColumns(const Variable& variable);

/// An SQL expression of what to do with rows in which the variable has no value: the condition that
/// its functions need, or one that leaves out one of the rows.
[[nodiscard]] std::string WhereText(const Variable& variable, const TableSource& source);

/// An SQL expression of the sentence that says where the variable has no value. `wayOut`: an SQL
/// expression of its end.
[[nodiscard]] std::string FaultText(const Variable& variable, const std::string& wayOut);

}  // namespace qvhost
