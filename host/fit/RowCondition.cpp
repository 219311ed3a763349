#include "host/fit/RowCondition.h"

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/fit/FormulaColumns.h"
#include "host/fit/ValueSql.h"
#include "host/formula/Formula.h"
#include "host/formula/FormulaError.h"

namespace qvhost {
namespace {

/// Finds columns as a formula does; NaN is missing in them.
ColumnLookup Lookup(const TableSource& source, const std::string& text) {
  return [&source, columns = ColumnsOf(source, text)](const std::string& name, Place place) {
    FoundColumn found = columns(name, place);
    for (const ColumnInfo* info : source.Matches(found.name)) {
      const bool isFloating = info->type == "DOUBLE" || info->type == "FLOAT";
      if (isFloating) {
        found.sql = fmt::format("nullif({}, CAST('nan' AS {}))", found.sql, info->type);
      }
    }
    return found;
  };
}

Variable Read(const std::string& text, const TableSource& source) {
  Variable condition = ParseCondition(text, Lookup(source, text));
  ColumnInfo info;
  try {
    info = source.Describe({condition.sql}).front();
  } catch (const FormulaError&) {
    throw;
  } catch (const Error& error) {
    throw FormulaError::At(text, condition.place,
                           fmt::format("This cannot be computed: {}", error.what()));
  }
  if (info.kind == ColumnKind::kBoolean) return condition;
  throw FormulaError::At(
      text, condition.place,
      fmt::format("This is {}; a condition is true or false, as in x > 5.", KindText(info.kind)));
}

}  // namespace

RowCondition ReadCondition(const std::string& text, const TableSource& source) {
  try {
    const Variable condition = Read(text, source);
    RowCondition rows;
    rows.sql = ConditionSql(condition);
    for (const ColumnUse& use : condition.columns) rows.columns.push_back(use.name);
    return rows;
  } catch (const FormulaError& error) {
    throw Error(error.Code(), std::string("--where: ") + error.what());
  }
}

}  // namespace qvhost
