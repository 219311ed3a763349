#pragma once

#include <optional>
#include <string_view>

#include "host/formula/ValueKind.h"

namespace qvhost {

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
