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

/// A type that a formula may cast to.
struct CastType {
  std::string_view name;  ///< As written in a formula, in lower case.
  std::string_view sql;   ///< DuckDB's name.
  ValueKind kind = ValueKind::kUnknown;
  bool hasWidth = false;  ///< Takes `(width, scale)`.
};

/// The type of this name, in any case of letters; null when there is none. Types whose values
/// depend on the machine's time zone are not among them, nor are those that a database defines.
[[nodiscard]] const CastType* FindCastType(std::string_view name);

/// The names of the types in one line, for an error.
[[nodiscard]] std::string_view CastTypeList();

}  // namespace qvhost
