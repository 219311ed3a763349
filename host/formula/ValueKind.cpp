#include "host/formula/ValueKind.h"

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

}  // namespace qvhost
