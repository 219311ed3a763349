#pragma once

#include <string>
#include <vector>

#include "host/table/ColumnInfo.h"

namespace qvhost {

/// Whether every known level can be a value of this kind: where they were made of such values; of
/// texts always; of numbers where all levels read as such; of booleans where all mean true or
/// false, and then of numbers, too, as 1 and 0 do.
[[nodiscard]] bool CanBeOf(ColumnKind kind, const KnownLevels& known);

/// Whether all levels mean true or false.
[[nodiscard]] bool AreTruths(const std::vector<std::string>& levels);

}  // namespace qvhost
