#pragma once

#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "host/fit/FormulaColumns.h"
#include "host/fit/ModelBinding.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {

/// What the coder makes of one expression over a table: its first value as a number or a level,
/// and how many are missing; or the message that it is refused with.
struct ExpressionValues {
  std::string error;
  std::size_t missing = 0;
  double number = 0;
  std::string level;  ///< Of a factor.
};

/// `expression` is a term: a column, a call, or I(...). `rows` is a query without a column zero_.
inline ExpressionValues ValuesOf(const std::string& rows, const std::string& expression) {
  ExpressionValues values;
  try {
    const TableSource source = OpenSql("SELECT *, 0 AS zero_ FROM (" + rows + ")");
    const std::string text = "zero_ ~ " + expression;
    const Formula formula = ParseFormula(text, ColumnsOf(source, text));
    const ModelBinding binding = BindModel(formula, source, {});
    const CodedTable table = CodeTable(source, binding.columns);
    const auto position = static_cast<std::size_t>(binding.positions.at(0));
    const CodedColumn& column = table.Columns()[position];
    values.missing = static_cast<std::size_t>(column.missing);
    values.number = Values(table, position).at(0);
    if (!column.levels.empty()) values.level = column.levels[0];
  } catch (const Error& error) {
    values.error = error.what();
  }
  return values;
}

}  // namespace qvhost
