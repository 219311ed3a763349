#include "host/table/DatabaseTables.h"

#include <algorithm>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Error.h"
#include "host/table/NearestName.h"
#include "host/table/SqlText.h"

namespace qvhost {
namespace {

constexpr std::size_t kMostNamesToList = 20;

[[noreturn]] void Refuse(const std::string& message) { throw Error(ExitCode::kBadInput, message); }

/// Tables and views in the order of their names; those that `wanted` may mean, or all when it is
/// empty.
std::vector<DatabaseTable> Tables(Connection& connection, const std::string& wanted) {
  const auto rows = connection.Rows(fmt::format(
      "SELECT schema_name, name FROM ("
      "SELECT schema_name, table_name AS name FROM duckdb_tables() "
      "WHERE NOT internal AND NOT temporary UNION ALL "
      "SELECT schema_name, view_name FROM duckdb_views() WHERE NOT internal AND NOT temporary) "
      "WHERE {0} = '' OR lower(name) = lower({0}) OR lower(schema_name || '.' || name) = "
      "lower({0}) "
      "ORDER BY schema_name <> 'main', schema_name, name",
      QuoteText(wanted)));
  std::vector<DatabaseTable> tables;
  for (const auto& row : rows) {
    const std::string& schema = *row[0];
    const std::string& name = *row[1];
    tables.push_back({schema == "main" ? name : fmt::format("{}.{}", schema, name),
                      fmt::format("{}.{}", QuoteName(schema), QuoteName(name))});
  }
  return tables;
}

std::string Listed(const std::vector<std::string>& names) {
  const std::size_t shown = std::min(names.size(), kMostNamesToList);
  return fmt::format("{}{}",
                     fmt::join(names.begin(), names.begin() + static_cast<long>(shown), ", "),
                     shown < names.size() ? ", …" : "");
}

}  // namespace

DatabaseTable FindTable(Connection& connection, const std::string& data,
                        const std::string& wanted) {
  const std::vector<DatabaseTable> found = Tables(connection, wanted);
  // A name in the main schema comes first and hides the same name in others.
  if (!wanted.empty() && !found.empty()) return found.front();
  if (found.size() == 1) return found.front();

  std::vector<std::string> names;
  for (const DatabaseTable& table : Tables(connection, "")) names.push_back(table.name);
  if (names.empty()) Refuse(fmt::format("The database '{}' has no table.", data));
  if (wanted.empty()) {
    Refuse(fmt::format("The database '{}' has {} tables; choose one with --table: {}.", data,
                       names.size(), Listed(names)));
  }
  Refuse(fmt::format("The database '{}' has no table '{}'.{} It has: {}.", data, wanted,
                     DidYouMean(connection, wanted, names), Listed(names)));
}

}  // namespace qvhost
