#pragma once

#include <string_view>

#include "host/table/ColumnInfo.h"

namespace qvhost {

/// What an expression's values are, as far as the check of its operands goes.
enum class ValueKind {
  kUnknown,  ///< Not known here: DuckDB tells.
  kNumber,
  kText,
  kBoolean,
  kDateTime,
  kOther  ///< Lists and other types that no operator or function of a formula takes.
};

[[nodiscard]] ValueKind ValueKindOf(ColumnKind kind);

/// "a number", "text", "a boolean", "a date or time", "a list or structure".
[[nodiscard]] std::string_view KindText(ValueKind kind);

}  // namespace qvhost
