#pragma once

#include "host/table/ColumnInfo.h"

namespace qvhost {

/// What a kind of values is called in JSON.
[[nodiscard]] constexpr const char* KindName(ColumnKind kind) {
  switch (kind) {
    case ColumnKind::kNumber:
      return "number";
    case ColumnKind::kText:
      return "text";
    case ColumnKind::kBoolean:
      return "boolean";
    case ColumnKind::kEnumeration:
      return "enumeration";
    case ColumnKind::kDateTime:
      return "date_time";
    case ColumnKind::kOther:
      break;
  }
  return "other";
}

}  // namespace qvhost
