#pragma once

#include <string>
#include <vector>

#include "host/formula/Variable.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// A column of a grid that an expression reads. A plain value.
struct GridColumn {
  std::string name;                ///< As the table spells it.
  std::vector<std::string> texts;  ///< Its values, for people.
  std::vector<std::string> sql;    ///< The same as SQL has them.
};

/// The values of an expression for all combinations of the columns' values, those of the last one
/// fastest, as the engine computes them. Throws Error (kBadInput) where there is none.
[[nodiscard]] std::vector<double> ComputeOnGrid(const Variable& expression,
                                                const std::vector<GridColumn>& columns,
                                                const TableSource& source);

/// A number as SQL has it.
[[nodiscard]] std::string NumberSql(double number);

/// A level of a column of the table as SQL has it.
[[nodiscard]] std::string LevelSql(const std::string& column, const std::string& level,
                                   const TableSource& source);

}  // namespace qvhost
