#include "host/table/KnownLevels.h"

#include <algorithm>

#include "host/table/Booleans.h"
#include "host/table/LevelChoice.h"

namespace qvhost {
namespace {

bool AreNumbers(const std::vector<std::string>& levels) {
  return std::ranges::all_of(
      levels, [](const std::string& level) { return NumberOfLevel(level).has_value(); });
}

}  // namespace

bool AreTruths(const std::vector<std::string>& levels) {
  return std::ranges::all_of(levels,
                             [](const std::string& level) { return TruthOf(level).has_value(); });
}

bool CanBeOf(ColumnKind kind, const KnownLevels& known) {
  if (kind == known.kind) return true;
  switch (kind) {
    case ColumnKind::kText:
    case ColumnKind::kEnumeration:
      return true;
    case ColumnKind::kNumber:
      return AreNumbers(known.levels) || AreTruths(known.levels);
    case ColumnKind::kBoolean:
      return AreTruths(known.levels);
    case ColumnKind::kDateTime:
    case ColumnKind::kOther:
      break;
  }
  return false;
}

}  // namespace qvhost
