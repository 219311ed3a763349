#include "host/table/TableSource.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/table/Connection.h"
#include "host/table/InputFiles.h"
#include "host/table/PreparedQuery.h"
#include "host/table/QueryError.h"
#include "host/table/TextFile.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPatternCharacters = "*?[";
constexpr std::size_t kMostNamesToCompare = 1000;

[[noreturn]] void Refuse(const std::string& message) { throw Error(ExitCode::kBadInput, message); }

/// The neighbours of a file that does not exist.
std::vector<std::string> NamesBeside(const fs::path& file) {
  const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (names.size() == kMostNamesToCompare) break;
    names.push_back(entry->path().filename().string());
  }
  return names;
}

/// The same name with what DuckDB would take for a pattern made plain.
std::string Escaped(const std::string& name) {
  std::string escaped;
  for (const char c : name) {
    const bool special = kPatternCharacters.find(c) != std::string_view::npos;
    escaped += special ? std::string{'[', c, ']'} : std::string(1, c);
  }
  return escaped;
}

void RefuseMissing(const std::string& data) {
  const fs::path path(data);
  Refuse(fmt::format("The file '{}' does not exist.{}", data,
                     DidYouMean(path.filename().string(), NamesBeside(path))));
}

constexpr std::size_t kMostNamesToList = 20;

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

/// The name under which a query sees the file.
constexpr const char* kFileView = "data";
/// A name that no table of a user's database has.
constexpr const char* kQueryView = "\"result of --sql\"";
constexpr const char* kTypedView = "\"table with missing values\"";

void CheckOptions(const DataSource& source) {
  if (source.data.empty() && source.sql.empty()) {
    Refuse("There is no data: name a file with --data, or write a query with --sql.");
  }
  if (source.table.empty()) return;
  if (!source.sql.empty()) {
    Refuse("--table and --sql cannot go together; name the table in the query.");
  }
  if (!IsDatabaseName(source.data)) {
    Refuse(fmt::format("--table is for a database file (.duckdb or .db), which '{}' is not.",
                       source.data));
  }
}

/// Runs something that reads a file; an error of DuckDB's is told with the file in front.
template <typename Action>
auto Reading(const std::string& data, Action action) {
  try {
    return action();
  } catch (const QueryError& error) {
    throw Error(error.Code(), fmt::format("'{}' cannot be read: {}", data, error.what()));
  }
}

std::unique_ptr<Connection> OpenDatabase(const std::string& data) {
  CheckFile(data);
  return Reading(data, [&data] { return std::make_unique<Connection>(data); });
}

/// Makes a file or pattern of no text visible as a view.
void ShowFile(Connection& connection, const std::string& data, const std::string& query) {
  Reading(data, [&] {
    try {
      connection.Execute(fmt::format("CREATE TEMP VIEW {} AS {}", kFileView, query));
    } catch (const QueryError& error) {
      if (!error.IsUnknownFormat()) throw;
      Refuse(
          fmt::format("The kind of '{0}' is not known from its name; say how to read it, such as "
                      "--sql \"SELECT * FROM read_csv('{0}')\".",
                      data));
    }
  });
}

void CheckQuery(Connection& connection, const std::string& sql) {
  const std::size_t count = connection.CountStatements(sql);
  if (count != 1) {
    Refuse(fmt::format("--sql takes one SELECT; this text holds {} statements.", count));
  }
  if (!PreparedQuery(connection, sql).IsSelect()) {
    Refuse("--sql takes a SELECT; this statement is of another kind.");
  }
}

/// Makes the result of the query a view, so that DuckDB itself settles where the query ends and
/// what its columns are called.
void ShowQuery(Connection& connection, const std::string& sql) {
  try {
    CheckQuery(connection, sql);
    connection.Execute(fmt::format("CREATE OR REPLACE TEMP VIEW {} AS {}", kQueryView, sql));
  } catch (const QueryError& error) {
    throw Error(error.Code(), fmt::format("--sql: {}", error.what()));
  }
}

/// A database and its write-ahead log, which lies beside it, or beside the link that names it; a
/// file put where there is none would be taken for it.
void AddDatabase(const std::string& data, InputFiles& files) {
  constexpr const char* kLog = ".wal";
  std::error_code error;
  files.Add(data);
  files.Add(data + kLog);
  files.Add(std::filesystem::weakly_canonical(data, error).string() + kLog);
}

}  // namespace

bool IsDatabaseName(const std::string& data) {
  constexpr std::array<std::string_view, 3> kEndings = {".duckdb", ".ddb", ".db"};
  return std::ranges::find(kEndings, Lower(fs::path(data).extension().string())) != kEndings.end();
}

void CheckFile(const std::string& data) {
  std::error_code error;
  const fs::file_status status = fs::status(data, error);
  if (status.type() == fs::file_type::not_found) RefuseMissing(data);
  if (fs::is_directory(status)) {
    Refuse(fmt::format("'{}' is a folder; name a file in it, or a pattern such as '{}'.", data,
                       (fs::path(data) / "*.csv").string()));
  }
  if (fs::is_regular_file(status) && fs::file_size(data, error) == 0 && !error) {
    Refuse(fmt::format("The file '{}' is empty.", data));
  }
  if (!std::ifstream(data).is_open()) {
    Refuse(fmt::format("The file '{}' cannot be opened; check that you may read it.", data));
  }
}

std::string PatternOf(Connection& connection, const std::string& data) {
  if (data.find("://") != std::string::npos) {
    Refuse(fmt::format("'{}' is not on this computer; download it and name the file.", data));
  }
  std::error_code error;
  const bool isPattern =
      data.find_first_of(kPatternCharacters) != std::string::npos && !fs::exists(data, error);
  if (!isPattern) {
    CheckFile(data);
    return Escaped(data);
  }
  if (connection.Rows(fmt::format("SELECT 1 FROM glob({}) LIMIT 1", QuoteText(data))).empty()) {
    Refuse(fmt::format("No file matches the pattern '{}'.", data));
  }
  return data;
}

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
                     DidYouMean(wanted, names), Listed(names)));
}

TableSource::TableSource(const DataSource& source)
    : inputs_(std::make_unique<InputFiles>()), sql_(source.sql) {
  CheckOptions(source);
  const bool isDatabase = IsDatabaseName(source.data);
  connection_ = isDatabase ? OpenDatabase(source.data) : std::make_unique<Connection>();
  opened_ = std::make_unique<OpenedFiles>(*connection_, OpenedFiles::Limits());
  const MissingStrings strings(source.na.empty() ? MissingStrings::Default() : source.na);
  missing_ = std::make_unique<MissingFunction>(*connection_, strings);
  Definitions definitions;
  if (isDatabase) {
    definitions = DefinitionsOf(*connection_);
    AddDatabase(source.data, *inputs_);
  } else if (!source.data.empty()) {
    const std::string query = OpenFile(source.data, strings);
    AddNamed(query, definitions);
    definitions.emplace(kFileView, query);
  }

  if (!sql_.empty()) {
    ShowQuery(*connection_, sql_);
    relation_ = kQueryView;
    name_ = "query";
  } else if (isDatabase) {
    const DatabaseTable table = FindTable(*connection_, source.data, source.table);
    relation_ = table.sql;
    isStored_ = true;
    name_ = fmt::format("{} of {}", table.name, source.data);
  } else {
    relation_ = kFileView;
    name_ = source.data;
  }
  const std::string query = sql_.empty() ? "SELECT * FROM " + relation_ : sql_;
  const bool isRead = file_ && sql_.empty();
  if (!source.na.empty() && !isRead) ShowTyped();
  LearnColumns();
  AddNamed(query, definitions);
  // A view of the database has opened no file so far.
  if (isStored_) connection_->Execute(fmt::format("EXPLAIN SELECT * FROM {}", relation_));
}

std::string TableSource::OpenFile(const std::string& data, const MissingStrings& strings) {
  const std::string pattern = PatternOf(*connection_, data);
  std::string query = "SELECT * FROM " + QuoteText(pattern);
  if (!IsTextFile(data)) {
    ShowFile(*connection_, data, query);
    return query;
  }
  file_ = Reading(data, [&] {
    return ShowTextFile(*connection_, *missing_, strings, kFileView, data, QuoteText(pattern));
  });
  return query;
}

/// Puts a view over the table in which the missing strings of its text columns are NULL.
void TableSource::ShowTyped() {
  Reading(name_, [this] {
    std::vector<RawColumn> columns;
    for (const ColumnInfo& info : connection_->Describe("SELECT * FROM " + relation_)) {
      RawColumn column;
      column.name = info.name;
      column.isText = info.type == "VARCHAR";
      column.isOpen = column.isText;
      columns.push_back(std::move(column));
    }
    typed_ = std::make_unique<TypedView>(
        *connection_, *missing_, kTypedView,
        [table = relation_](const auto&, const auto&) { return table; }, std::move(columns));
    typed_->Create();
  });
  relation_ = kTypedView;
}

void TableSource::LearnColumns() {
  columns_ = Reading(
      name_, [this] { return connection_->Describe(fmt::format("SELECT * FROM {}", relation_)); });
}

void TableSource::AddNamed(const std::string& query, const Definitions& definitions) {
  for (const std::string& file : NamedFiles(*connection_, query, definitions)) inputs_->Add(file);
}

const InputFiles& TableSource::Inputs() const {
  opened_->AddTo(*inputs_);
  return *inputs_;
}

void TableSource::NoteInputs() const { opened_->AddInTimeTo(*inputs_); }

void TableSource::ShowViews() const {
  if (file_) file_->Create();
  if (!sql_.empty()) ShowQuery(*connection_, sql_);
  if (typed_) typed_->Create();
}

void TableSource::SettleTypes(const std::vector<std::string>& columns) {
  const bool changed = Reading(name_, [&] {
    bool fileChanged = false;
    if (file_) fileChanged = sql_.empty() ? file_->Settle(columns) : file_->SettleAll();
    if (fileChanged) ShowViews();
    return (typed_ && typed_->Settle(columns)) || fileChanged;
  });
  if (!changed) return;
  ShowViews();
  LearnColumns();
}

bool TableSource::MendTypes(const QueryError& error) const {
  if (!file_) return false;
  try {
    if (!file_->Mend(error)) return false;
    ShowViews();
    return true;
  } catch (const QueryError&) {
    // The first error says more than one of looking for its cause.
    return false;
  }
}

TableSource::~TableSource() = default;
TableSource::TableSource(TableSource&&) noexcept = default;
std::vector<const ColumnInfo*> TableSource::Matches(std::string_view name) const {
  const auto exact = std::ranges::find(columns_, name, &ColumnInfo::name);
  if (exact != columns_.end()) return {&*exact};
  std::vector<const ColumnInfo*> matches;
  const std::string renamed = fmt::format("{}_1", name);
  for (const ColumnInfo& column : columns_) {
    if (SameWord(column.name, name)) matches.push_back(&column);
  }
  if (matches.empty()) return matches;
  for (const ColumnInfo& column : columns_) {
    if (column.name == renamed) matches.push_back(&column);
  }
  return matches;
}

std::optional<std::string> TableSource::Nearest(const std::string& name) const {
  std::vector<std::string> names;
  for (const ColumnInfo& column : columns_) names.push_back(column.name);
  return NearestName(name, names);
}

std::vector<ColumnInfo> TableSource::Describe(const std::vector<std::string>& expressions) const {
  if (expressions.empty()) return {};
  std::vector<ColumnInfo> columns = connection_->Describe(
      fmt::format("SELECT ({}) FROM {}", fmt::join(expressions, "), ("), relation_));
  for (std::size_t i = 0; i < columns.size(); ++i) columns[i].name = expressions[i];
  return columns;
}

}  // namespace qvhost
