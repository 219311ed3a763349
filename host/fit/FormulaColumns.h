#pragma once

#include <string>
#include <string_view>

#include "host/formula/Variable.h"
#include "host/table/ColumnInfo.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// Finds the columns of `formula` in a table. A name means the column that is spelled so, or else
/// the one that differs from it in upper and lower case alone. The lookup throws FormulaError when
/// there is none (with the nearest name) or several; `source` and `formula` must outlive it.
[[nodiscard]] ColumnLookup ColumnsOf(const TableSource& source, std::string_view formula);

/// The column that an option of the command names; found the same way. Throws Error (kBadInput).
[[nodiscard]] const ColumnInfo& ColumnOfOption(const TableSource& source, const std::string& name,
                                               std::string_view option);

}  // namespace qvhost
