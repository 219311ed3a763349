#include "host/formula/CastType.h"

#include <algorithm>
#include <array>

#include "host/formula/SqlWords.h"

namespace qvhost {
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
