#include "host/fit/FormulaColumns.h"

#include <vector>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/formula/FormulaError.h"

namespace qvhost {
namespace {

std::string DidYouMean(const TableSource& source, const std::string& name) {
  const std::optional<std::string> nearest = source.Nearest(name);
  return nearest ? fmt::format("; did you mean '{}'?", *nearest) : ".";
}

std::string AmbiguousText(const std::string& name, const std::vector<const ColumnInfo*>& columns) {
  std::string list;
  for (const ColumnInfo* column : columns) {
    if (!list.empty()) list += column == columns.back() ? " or " : ", ";
    list += "'" + column->name + "'";
  }
  return fmt::format("'{}' may mean {}; spell the name as the data do.", name, list);
}

/// The value of a column inside an expression. A time with a zone is taken as UTC has it: DuckDB
/// would take it as the machine's own zone has it.
std::string ValueOf(const ColumnInfo& column) {
  const std::string name = QuoteName(column.name);
  return column.type == "TIMESTAMP WITH TIME ZONE" ? "timezone('UTC', " + name + ")" : name;
}

}  // namespace

ColumnLookup ColumnsOf(const TableSource& source, std::string_view formula) {
  return [&source, formula](const std::string& name, Place place) -> FoundColumn {
    const std::vector<const ColumnInfo*> columns = source.Matches(name);
    if (columns.empty()) {
      throw FormulaError::At(formula, place,
                             fmt::format("There is no column '{}' in {}{}{}", name, source.Name(),
                                         DidYouMean(source, name), source.HeaderHint()));
    }
    if (columns.size() > 1) throw FormulaError::At(formula, place, AmbiguousText(name, columns));
    const ColumnInfo& column = *columns.front();
    return {column.name, ValueOf(column), ValueKindOf(column.kind)};
  };
}

const ColumnInfo& ColumnOfOption(const TableSource& source, const std::string& name,
                                 std::string_view option) {
  const std::vector<const ColumnInfo*> columns = source.Matches(name);
  if (columns.empty()) {
    throw Error(ExitCode::kBadInput,
                fmt::format("There is no column '{}' for {} in {}{}{}", name, option, source.Name(),
                            DidYouMean(source, name), source.HeaderHint()));
  }
  if (columns.size() > 1) {
    throw Error(ExitCode::kBadInput, fmt::format("{}: {}", option, AmbiguousText(name, columns)));
  }
  return *columns.front();
}

}  // namespace qvhost
