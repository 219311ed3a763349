#include "host/table/ColumnInfo.h"

namespace qvhost {

ColumnRole RoleOf(ColumnKind kind) {
  switch (kind) {
    case ColumnKind::kNumber:
      return ColumnRole::kCovariate;
    case ColumnKind::kText:
    case ColumnKind::kBoolean:
    case ColumnKind::kEnumeration:
      return ColumnRole::kFactor;
    case ColumnKind::kDateTime:
    case ColumnKind::kOther:
      break;
  }
  return ColumnRole::kNone;
}

std::string_view KindText(ColumnKind kind) {
  switch (kind) {
    case ColumnKind::kNumber:
      return "a number";
    case ColumnKind::kText:
      return "text";
    case ColumnKind::kBoolean:
      return "a boolean";
    case ColumnKind::kEnumeration:
      return "an enumeration";
    case ColumnKind::kDateTime:
      return "a date or time";
    case ColumnKind::kOther:
      break;
  }
  return "neither a number nor text";
}

}  // namespace qvhost
