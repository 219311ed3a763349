#include "host/table/DatabaseTable.h"

#include <algorithm>
#include <cstddef>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Error.h"
#include "host/Text.h"

namespace qvhost {
namespace {

constexpr std::size_t kMostNamesToList = 20;

[[noreturn]] void Refuse(const std::string& message) { throw Error(ExitCode::kBadInput, message); }

std::string Listed(const std::vector<std::string>& names) {
  const std::size_t shown = std::min(names.size(), kMostNamesToList);
  return fmt::format("{}{}",
                     fmt::join(names.begin(), names.begin() + static_cast<long>(shown), ", "),
                     shown < names.size() ? ", …" : "");
}

}  // namespace

std::vector<DatabaseTable> DatabaseTables(Connection& connection, const std::string& wanted) {
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

DatabaseTable OneTable(const std::string& file, const std::string& wanted,
                       const std::vector<DatabaseTable>& found,
                       const std::vector<std::string>& all) {
  // A name in the main schema comes first and hides the same name in others.
  if (!wanted.empty() && !found.empty()) return found.front();
  if (found.size() == 1) return found.front();
  if (all.empty()) Refuse(fmt::format("The database '{}' has no table.", file));
  if (wanted.empty()) {
    Refuse(fmt::format("The database '{}' has {} tables; choose one with --table: {}.", file,
                       all.size(), Listed(all)));
  }
  Refuse(fmt::format("The database '{}' has no table '{}'.{} It has: {}.", file, wanted,
                     DidYouMean(wanted, all), Listed(all)));
}

}  // namespace qvhost
