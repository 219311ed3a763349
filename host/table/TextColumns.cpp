#include "host/table/TextColumns.h"

#include <algorithm>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"

namespace qvhost {
namespace {

/// `name: type` for each column, as an SQL struct.
std::string TypesOf(const std::vector<RawColumn>& columns) {
  std::string list;
  for (const RawColumn& column : columns) {
    const std::string read = column.ComesAsDouble() ? "DOUBLE" : column.type;
    list += fmt::format("{}{}: {}", list.empty() ? "" : ", ", QuoteText(column.Source()),
                        QuoteText(column.isText ? "VARCHAR" : read));
  }
  return "{" + list + "}";
}

void CheckTypes(const std::string& source, const std::vector<ColumnType>& types,
                const std::vector<std::string>& names) {
  for (const ColumnType& type : types) {
    const auto isThis = [&](const std::string& name) { return SameWord(name, type.column); };
    if (std::ranges::any_of(names, isThis)) continue;
    throw Error(ExitCode::kBadInput,
                fmt::format("--types: there is no column '{}' in {}.{}", type.column, source,
                            DidYouMean(type.column, names)));
  }
}

}  // namespace

TextRows Described(Connection& connection, const std::string& relation) {
  return connection.Rows(
      fmt::format("SELECT column_name, column_type FROM (DESCRIBE SELECT * FROM {})", relation));
}

std::vector<std::string> FirstOf(const TextRows& rows) {
  std::vector<std::string> names;
  names.reserve(rows.size());
  for (const auto& row : rows) names.push_back(row[0].value_or(""));
  return names;
}

const ColumnType* GivenType(const ReadingOptions& given, const TextNames& names,
                            std::size_t column) {
  const auto isThis = [&](const ColumnType& type) {
    const bool isSpelled = std::ranges::find(names.written, type.column) != names.written.end();
    return type.column == names.unique[column] || type.column == names.written[column] ||
           (!isSpelled && SameWord(type.column, names.written[column]));
  };
  const auto found = std::ranges::find_if(given.types, isThis);
  return found == given.types.end() ? nullptr : &*found;
}

void CheckTypes(const std::string& source, const std::vector<ColumnType>& types,
                const std::vector<ColumnInfo>& columns) {
  std::vector<std::string> names;
  names.reserve(columns.size());
  for (const ColumnInfo& column : columns) names.push_back(column.name);
  CheckTypes(source, types, names);
}

void CheckTypes(const std::string& source, const std::vector<ColumnType>& types,
                const TextNames& names) {
  std::vector<std::string> all = names.written;
  all.insert(all.end(), names.unique.begin(), names.unique.end());
  CheckTypes(source, types, all);
}

TypedView::Relation Reader(std::string call) {
  return [call = std::move(call)](const std::vector<RawColumn>& columns,
                                  const std::string& fileColumn) {
    return call + TypesOf(columns) +
           (fileColumn.empty() ? ")" : fmt::format(", filename = {})", QuoteText(fileColumn)));
  };
}

}  // namespace qvhost
