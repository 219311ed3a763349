#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/fit/ModelBinding.h"
#include "host/formula/Formula.h"
#include "host/table/TableSource.h"

namespace qvhost {

class TooManyLevels;

/// The most values of a text that `.` alone makes a factor of the model.
inline constexpr std::size_t kMostDotLevels = 1000;

/// The sentence on columns without a role, which `.` leaves out. REQUIRES: one at least.
[[nodiscard]] std::string WithoutRoleText(const std::vector<ColumnInfo>& columns);

/// The columns of a table that `.` stands for: all but the weights.
[[nodiscard]] DotColumns DotColumnsOf(const TableSource& source, const BindingOptions& options);

/// Takes out the terms with columns that only `.` names and that have no role, as dates and lists
/// do; once the table's types are settled. The sentence that says so, for those that no other
/// variable reads. Throws FormulaError when nothing is left of the model.
[[nodiscard]] std::vector<std::string> RemoveColumnsWithoutRole(Formula& formula,
                                                                const TableSource& source);

/// Throws FormulaError for the variable that has too many levels when only `.` names it; returns
/// for any other. Reads some of its values, which may be numbers in another format.
void RefuseLevelsOfDot(const Formula& formula, const TableSource& source,
                       const TooManyLevels& error);

}  // namespace qvhost
