#include "host/table/ColumnInfo.h"

namespace qvhost {

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
