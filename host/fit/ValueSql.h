#pragma once

#include <string>

#include "host/formula/Variable.h"
#include "host/table/ColumnInfo.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// The SQL of a variable's values for the coder, of a variable whose SQL has the type `info`.
///
/// A column is its name. An expression is missing (NULL) where one of its columns is, or one of its
/// gaps, whatever its operators make of missing values. Anywhere else it has a value, or the query
/// ends with an error that names the expression and the values of its columns: the logarithm of a
/// negative number does not pass for a missing value.
[[nodiscard]] std::string ValueSql(const Variable& variable, const ColumnInfo& info,
                                   const TableSource& source);

/// The SQL expression of a condition: true, false, or NULL where missing values leave it open. An
/// error where it cannot be computed, as that of ValueSql.
[[nodiscard]] std::string ConditionSql(const Variable& condition);

}  // namespace qvhost
