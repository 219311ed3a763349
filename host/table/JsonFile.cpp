#include "host/table/JsonFile.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/table/TextColumns.h"
#include "host/table/WrittenNames.h"

namespace qvhost {
namespace {

/// Reads keys that are like others, which DuckDB finds only by itself: what are to be texts are
/// made such again.
TypedView::Relation JsonTexts(std::string call) {
  return [call = std::move(call)](const std::vector<RawColumn>& columns,
                                  const std::string& fileColumn) {
    std::string list;
    for (const RawColumn& column : columns) {
      const std::string name = QuoteName(column.Source());
      list += list.empty() ? "" : ", ";
      list += column.isText ? fmt::format("CAST({0} AS VARCHAR) AS {0}", name) : name;
    }
    const std::string file =
        fileColumn.empty() ? "" : fmt::format(", filename = {}", QuoteText(fileColumn));
    if (!fileColumn.empty()) list += ", " + QuoteName(fileColumn);
    return fmt::format("(SELECT {} FROM {}, sample_size = -1{}))", list, call, file);
  };
}

/// Columns in which objects or lists stand among the values that DuckDB finds no common type for.
std::vector<bool> AreNested(Connection& connection, const std::string& relation,
                            const std::vector<std::string>& names) {
  if (names.empty()) return {};
  std::string list;
  for (const std::string& name : names) {
    list += fmt::format(
        "{}coalesce(bool_or(left(ltrim(CAST({} AS VARCHAR)), 1) IN ('{{', '[')), false)",
        list.empty() ? "" : ", ", QuoteName(name));
  }
  const auto row = connection
                       .Rows(fmt::format("SELECT {} FROM (SELECT * FROM {} LIMIT {})", list,
                                         relation, kSampleRows))
                       .front();
  std::vector<bool> nested;
  for (const auto& answer : row) nested.push_back(answer == "true");
  return nested;
}

/// Numbers and texts; and what JSON calls a column in which both occur.
RawColumn JsonColumn(const std::string& name, const std::string& type) {
  constexpr std::array<std::string_view, 5> kAsText = {"BIGINT", "UBIGINT", "DOUBLE", "BOOLEAN",
                                                       "VARCHAR"};
  RawColumn column;
  column.name = name;
  column.type = type;
  column.isText = std::ranges::find(kAsText, type) != kAsText.end();
  return column;
}

}  // namespace

TextView ShowJson(Connection& connection, MissingFunction& missing, const std::string& view,
                  const TextFiles& files, const ReadingOptions& given) {
  const std::string unionByName = files.areSeveral ? ", union_by_name = true" : "";
  const std::string relation = fmt::format("read_json({}{})", files.sql, unionByName);
  std::vector<RawColumn> columns;
  std::vector<std::string> mixed;
  const TextRows described = Described(connection, relation);
  const TextNames names(NamesInJson(connection, files.sql, FirstOf(described)));
  for (std::size_t i = 0; i < described.size(); ++i) {
    columns.push_back(JsonColumn(names.unique[i], described[i][1].value_or("")));
    RawColumn& column = columns.back();
    column.source = described[i][0].value_or("");
    if (const ColumnType* declared = GivenType(given, names, i)) {
      column.type = declared->type;
      column.isText = true;
      column.isFormatted = true;
      column.isDeclared = true;
      column.signs = NumberSigns::kDropped;
    } else if (column.type == "JSON") {
      mixed.push_back(column.source);
    }
  }
  CheckTypes(files.name, given.types, names);
  const std::vector<bool> nested = AreNested(connection, relation, mixed);
  for (RawColumn& column : columns) {
    const auto place = std::ranges::find(mixed, column.source);
    if (place == mixed.end() || nested[static_cast<std::size_t>(place - mixed.begin())]) continue;
    column.type = "VARCHAR";
    column.isText = true;
    column.isOpen = true;
    column.isChosen = false;
  }
  std::vector<RenamedColumn> renamed = RenamedColumns(names.written);
  TypedView::Relation reader =
      renamed.empty() ? Reader(fmt::format("read_json({}{}, columns = ", files.sql, unionByName))
                      : JsonTexts(fmt::format("read_json({}{}", files.sql, unionByName));
  auto typed =
      std::make_unique<TypedView>(connection, missing, view, std::move(reader), std::move(columns));
  typed->Learn(kSampleRows);
  return {std::move(typed), {}, std::move(renamed)};
}

}  // namespace qvhost
