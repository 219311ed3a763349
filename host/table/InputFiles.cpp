#include "host/table/InputFiles.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>

#include <fmt/format.h>
#include <sys/stat.h>

#include "host/Text.h"
#include "host/table/QueryError.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

constexpr int kMostLinks = 40;

/// The path in one of the addresses that DuckDB reads as a local file; anything else as it is.
std::string LocalPath(const std::string& name) {
  constexpr std::array<std::string_view, 3> kBeginnings = {"file://localhost/", "file:///",
                                                           "file:/"};
  const auto begins = [&name](std::string_view start) { return name.starts_with(start); };
  const auto* const found = std::ranges::find_if(kBeginnings, begins);
  return found == kBeginnings.end() ? name : name.substr(found->size() - 1);
}

bool CannotBeReplaced(const fs::file_status& status) {
  return fs::is_character_file(status) || fs::is_socket(status);
}

using Json = nlohmann::json;

/// A function that takes the names of files first: read_csv, parquet_metadata, sniff_csv, …
bool ReadsFiles(const std::string& function) {
  return function.starts_with("read_") || function.starts_with("parquet_") ||
         function.ends_with("_scan") || function == "sniff_csv";
}

std::string Text(const Json& node, const char* key) {
  if (!node.is_object()) return {};
  const auto found = node.find(key);
  return found != node.end() && found->is_string() ? found->get<std::string>() : std::string();
}

/// DuckDB takes the name of a column, such as a macro's parameter, for a text in an argument.
bool NamesColumn(const Json& node) {
  return Text(node, "class") == "COLUMN_REF" ||
         (node.is_structured() && std::ranges::any_of(node, NamesColumn));
}

/// Finds names in queries as DuckDB has parsed them.
class NameFinder {
 public:
  NameFinder(Connection& connection, const Definitions& definitions)
      : connection_(connection), definitions_(definitions) {}

  std::vector<std::string> Find(const std::string& query) {
    Visit(Parse(query));
    while (!waiting_.empty()) {
      const std::string name = *waiting_.begin();
      waiting_.erase(waiting_.begin());
      visited_.insert(name);
      const auto [first, last] = definitions_.equal_range(name);
      for (auto it = first; it != last; ++it) {
        hasParameters_ = !it->second.starts_with("CREATE ");
        Visit(ParseDefinition(it->second));
      }
    }
    return files_;
  }

 private:
  /// Null when DuckDB cannot tell the parts of the text.
  Json Parse(const std::string& query) {
    const auto rows =
        connection_.Rows(fmt::format("SELECT json_serialize_sql({})", QuoteText(query)));
    Json parsed = Json::parse(rows.at(0).at(0).value_or(""), nullptr, false);
    return parsed.is_object() && parsed.value("error", true) ? Json() : parsed;
  }

  /// Of a view (CREATE VIEW name AS query) or a macro (a query or an expression).
  Json ParseDefinition(const std::string& text) {
    if (text.empty()) return {};
    if (Json query = Parse(text); !query.is_null()) return query;
    if (Json expression = Parse("SELECT " + text); !expression.is_null()) return expression;
    constexpr std::string_view kAs = " AS ";
    for (std::size_t at = text.find(kAs); at != std::string::npos; at = text.find(kAs, at + 1)) {
      if (Json query = Parse(text.substr(at + kAs.size())); !query.is_null()) return query;
    }
    return {};
  }

  void Visit(const Json& query) {
    std::set<std::string> local;
    std::vector<std::string> tables;
    std::vector<const Json*> nodes = {&query};
    while (!nodes.empty()) {
      const Json& node = *nodes.back();
      nodes.pop_back();
      if (node.is_structured()) {
        for (const Json& child : node) nodes.push_back(&child);
      }
      if (!node.is_object()) continue;
      if (node.contains("cte_map")) AddNamesOf(node["cte_map"], local);
      const std::string type = Text(node, "type");
      if (type == "BASE_TABLE") tables.push_back(Text(node, "table_name"));
      if (type == "TABLE_FUNCTION") AddArgument(node.value("function", Json()));
      if (type == "FUNCTION") Await(Lower(Text(node, "function_name")));
    }
    for (const std::string& table : tables) AddTable(table, local);
  }

  static void AddNamesOf(const Json& commonTables, std::set<std::string>& names) {
    for (const Json& entry : commonTables.value("map", Json::array())) {
      names.insert(Lower(Text(entry, "key")));
    }
  }

  void AddTable(const std::string& table, const std::set<std::string>& local) {
    const std::string name = Lower(table);
    if (local.contains(name)) return;
    if (definitions_.contains(name)) return Await(name);
    AddFiles(fmt::format("SELECT file FROM glob({})", QuoteText(table)));
  }

  /// DuckDB itself computes the names and finds what they match.
  void AddArgument(const Json& function) {
    if (!ReadsFiles(Lower(Text(function, "function_name")))) return;
    for (const Json& argument : function.value("children", Json::array())) {
      const bool isNamed =
          !Text(argument, "alias").empty() || Text(argument, "class") == "COMPARISON";
      if (isNamed) continue;
      if (hasParameters_ && NamesColumn(argument)) return;
      Json search = Parse("SELECT file FROM glob('')");
      search["/statements/0/node/from_table/function/children"_json_pointer] =
          Json::array({argument});
      AddFiles(fmt::format("SELECT * FROM json_execute_serialized_sql({})",
                           QuoteText(search.dump(-1, ' ', false, Json::error_handler_t::ignore))));
      return;
    }
  }

  void AddFiles(const std::string& search) {
    try {
      for (const auto& row : connection_.Rows(search)) files_.push_back(row[0].value());
    } catch (const QueryError&) {
      // What the name is computed from has no value here.
    }
  }

  void Await(const std::string& name) {
    if (definitions_.contains(name) && !visited_.contains(name)) waiting_.insert(name);
  }

  Connection& connection_;
  const Definitions& definitions_;
  bool hasParameters_ = false;  ///< Whether a macro is visited, not a query or a view.
  std::set<std::string> waiting_;
  std::set<std::string> visited_;
  std::vector<std::string> files_;
};

}  // namespace

fs::path PlaceOf(const std::string& path) {
  std::error_code error;
  fs::path at = fs::absolute(path, error);
  // A link to nothing is not followed by the system's own functions.
  for (int links = 0; links < kMostLinks; ++links) {
    const fs::path folder = fs::weakly_canonical(at.parent_path(), error);
    at = (error ? at.parent_path() : folder) / at.filename();
    const fs::path target = fs::read_symlink(at, error);
    if (error) break;
    at = at.parent_path() / target;
  }
  return at.lexically_normal();
}

bool IsSameFile(const std::string& one, const std::string& other) {
  std::error_code error;
  return PlaceOf(one) == PlaceOf(other) || fs::equivalent(one, other, error);
}

#ifdef _WIN32

// The standard library tells a file by no number here; Find asks it for each pair.
std::optional<InputFiles::Identity> InputFiles::IdentityOf(const std::string& /*path*/) {
  return std::nullopt;
}

#else

std::optional<InputFiles::Identity> InputFiles::IdentityOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return Identity{status.st_dev, status.st_ino};
}

#endif

void InputFiles::Add(const std::string& name) {
  const std::string path = LocalPath(name);
  std::error_code error;
  if (CannotBeReplaced(fs::status(path, error))) return;
  if (const std::optional<Identity> identity = IdentityOf(path)) {
    existing_.emplace(*identity, path);
  } else {
    absent_.emplace(PlaceOf(path), path);
  }
}

std::optional<std::string> InputFiles::Find(const std::string& path) const {
  if (const std::optional<Identity> identity = IdentityOf(path)) {
    const auto found = existing_.find(*identity);
    if (found != existing_.end()) return found->second;
  }
  const auto found = absent_.find(PlaceOf(path));
  if (found != absent_.end()) return found->second;
#ifdef _WIN32
  for (const auto& [place, name] : absent_) {
    std::error_code error;
    if (fs::equivalent(place, path, error)) return name;
  }
#endif
  return std::nullopt;
}

Definitions DefinitionsOf(Connection& connection) {
  Definitions definitions;
  for (const auto& row :
       connection.Rows("SELECT table_name, '' FROM duckdb_tables() UNION ALL "
                       "SELECT view_name, sql FROM duckdb_views() WHERE NOT internal UNION ALL "
                       "SELECT function_name, macro_definition FROM duckdb_functions() "
                       "WHERE function_type IN ('macro', 'table_macro') AND NOT internal")) {
    definitions.emplace(Lower(row[0].value()), row[1].value_or(""));
  }
  return definitions;
}

std::vector<std::string> NamedFiles(Connection& connection, const std::string& query,
                                    const Definitions& definitions) {
  return NameFinder(connection, definitions).Find(query);
}

OpenedFiles::OpenedFiles(Connection& connection, const Limits& limits)
    : observer_(connection.Another()), limits_(limits), last_(std::chrono::steady_clock::now()) {
  connection.Execute("CALL enable_logging('FileSystem')");
}

void OpenedFiles::AddTo(InputFiles& files) {
  std::int64_t entries = 0;
  std::int64_t names = 0;
  for (const auto& row : observer_->Rows(
           // A message is JSON in which the characters of the path are not escaped.
           "SELECT regexp_extract(message, '\"path\":\"(.*)\",\"op\":', 1, 's') AS path, count(*) "
           "FROM duckdb_logs WHERE type = 'FileSystem' GROUP BY path")) {
    if (row[0].value_or("").empty()) continue;
    files.Add(*row[0]);
    ++names;
    entries += std::stoll(row[1].value());
  }
  if (entries > limits_.entries && entries > names * limits_.entriesOfFile) {
    observer_->Execute("CALL truncate_duckdb_logs()");
  }
  last_ = std::chrono::steady_clock::now();
}

void OpenedFiles::AddInTimeTo(InputFiles& files) {
  if (std::chrono::steady_clock::now() - last_ >= limits_.interval) AddTo(files);
}

}  // namespace qvhost
