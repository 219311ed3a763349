#include "host/formula/ValueKind.h"

#include <algorithm>
#include <array>

#include "host/Text.h"

namespace qvhost {

ValueKind ValueKindOf(ColumnKind kind) {
  switch (kind) {
    case ColumnKind::kNumber:
      return ValueKind::kNumber;
    case ColumnKind::kText:
    case ColumnKind::kEnumeration:
      return ValueKind::kText;
    case ColumnKind::kBoolean:
      return ValueKind::kBoolean;
    case ColumnKind::kDateTime:
      return ValueKind::kDateTime;
    case ColumnKind::kOther:
      return ValueKind::kOther;
  }
  return ValueKind::kUnknown;
}

std::string_view KindText(ValueKind kind) {
  switch (kind) {
    case ValueKind::kNumber:
      return "a number";
    case ValueKind::kText:
      return "text";
    case ValueKind::kBoolean:
      return "a boolean";
    case ValueKind::kDateTime:
      return "a date or time";
    case ValueKind::kOther:
      return "a list or structure";
    case ValueKind::kUnknown:
      break;
  }
  return "of an unknown type";
}

namespace {

constexpr auto kTypes = std::to_array<CastType>({
    {"double", "DOUBLE", ValueKind::kNumber},
    {"float", "FLOAT", ValueKind::kNumber},
    {"real", "FLOAT", ValueKind::kNumber},
    {"decimal", "DECIMAL", ValueKind::kNumber, true},
    {"numeric", "DECIMAL", ValueKind::kNumber, true},
    {"int", "INTEGER", ValueKind::kNumber},
    {"integer", "INTEGER", ValueKind::kNumber},
    {"bigint", "BIGINT", ValueKind::kNumber},
    {"smallint", "SMALLINT", ValueKind::kNumber},
    {"tinyint", "TINYINT", ValueKind::kNumber},
    {"hugeint", "HUGEINT", ValueKind::kNumber},
    {"text", "VARCHAR", ValueKind::kText},
    {"varchar", "VARCHAR", ValueKind::kText},
    {"string", "VARCHAR", ValueKind::kText},
    {"bool", "BOOLEAN", ValueKind::kBoolean},
    {"boolean", "BOOLEAN", ValueKind::kBoolean},
    {"date", "DATE", ValueKind::kDateTime},
    {"time", "TIME", ValueKind::kDateTime},
    {"timestamp", "TIMESTAMP", ValueKind::kDateTime},
});

}  // namespace

const CastType* FindCastType(std::string_view name) {
  const auto* found =
      std::ranges::find_if(kTypes, [&](const CastType& type) { return SameWord(name, type.name); });
  return found == kTypes.end() ? nullptr : found;
}

std::string_view CastTypeList() {
  return "double, float, decimal(width, scale), integer, bigint, text, boolean, date, time and "
         "timestamp";
}

}  // namespace qvhost
