#include "host/table/NestedFields.h"

#include <algorithm>
#include <cstddef>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/table/DuckDb.h"
#include "host/table/PreparedQuery.h"

namespace qvhost {
namespace {

/// More fields than anyone names; each costs the time to tell its type.
constexpr std::size_t kMostFields = 10000;

void AddFields(const NestedField& column, duckdb_logical_type type,
               std::vector<NestedField>& fields) {
  const idx_t count = duckdb_struct_type_child_count(type);
  for (idx_t i = 0; i < count; ++i) {
    if (fields.size() == kMostFields) return;
    const DuckDbText childName(duckdb_struct_type_child_name(type, i));
    const TypeHandle childType(duckdb_struct_type_child_type(type, i));
    const NestedField child{
        fmt::format("{}.{}", column.name, childName.Get()),
        fmt::format("struct_extract({}, {})", column.sql, QuoteText(childName.Get()))};
    const TypeInfo info = DescribeType(childType.Get());
    if (info.id == DUCKDB_TYPE_STRUCT) {
      AddFields(child, childType.Get(), fields);
    } else if (info.kind != ColumnKind::kOther) {
      fields.push_back(child);
    }
  }
}

}  // namespace

std::vector<NestedField> NestedFields(const Connection& connection, const std::string& relation) {
  const PreparedQuery query(connection, "SELECT * FROM " + relation);
  std::vector<NestedField> fields;
  std::vector<std::string> names;
  for (idx_t i = 0; i < query.ColumnCount(); ++i) {
    const ColumnInfo column = query.Column(i);
    names.push_back(column.name);
    const TypeHandle type = query.ColumnType(i);
    if (DescribeType(type.Get()).id != DUCKDB_TYPE_STRUCT) continue;
    AddFields({column.name, QuoteName(column.name)}, type.Get(), fields);
  }
  std::erase_if(fields, [&](const NestedField& field) {
    return std::ranges::any_of(names,
                               [&](const std::string& name) { return SameWord(name, field.name); });
  });
  return fields;
}

}  // namespace qvhost
