#include "host/table/TableSource.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Error.h"
#include "host/table/Connection.h"
#include "host/table/DataFile.h"
#include "host/table/DatabaseTables.h"
#include "host/table/NearestName.h"
#include "host/table/OpenedFiles.h"
#include "host/table/PreparedQuery.h"
#include "host/table/QueryError.h"
#include "host/table/SqlText.h"

namespace qvhost {
namespace {

/// The name under which a query sees the file.
constexpr const char* kFileView = "data";
/// A name that no table of a user's database has.
constexpr const char* kQueryView = "\"result of --sql\"";

[[noreturn]] void Refuse(const std::string& message) { throw Error(ExitCode::kBadInput, message); }

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

/// Makes a file or pattern visible as a view; the view's query.
std::string ShowFile(Connection& connection, const std::string& data) {
  std::string query = fmt::format("SELECT * FROM {}", QuoteText(PatternOf(connection, data)));
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
  return query;
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
    connection.Execute(fmt::format("CREATE TEMP VIEW {} AS {}", kQueryView, sql));
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

bool SameName(std::string_view a, std::string_view b) {
  const auto lower = [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  };
  return std::ranges::equal(a, b, {}, lower, lower);
}

}  // namespace

TableSource::TableSource(const DataSource& source) : inputs_(std::make_unique<InputFiles>()) {
  CheckOptions(source);
  const bool isDatabase = IsDatabaseName(source.data);
  connection_ = isDatabase ? OpenDatabase(source.data) : std::make_unique<Connection>();
  opened_ = std::make_unique<OpenedFiles>(*connection_, OpenedFiles::Limits());
  Definitions definitions;
  if (isDatabase) {
    definitions = DefinitionsOf(*connection_);
    AddDatabase(source.data, *inputs_);
  } else if (!source.data.empty()) {
    const std::string query = ShowFile(*connection_, source.data);
    AddNamed(query, definitions);
    definitions.emplace(kFileView, query);
  }

  if (!source.sql.empty()) {
    ShowQuery(*connection_, source.sql);
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
  columns_ = Reading(
      name_, [this] { return connection_->Describe(fmt::format("SELECT * FROM {}", relation_)); });
  AddNamed(source.sql.empty() ? fmt::format("SELECT * FROM {}", relation_) : source.sql,
           definitions);
  // A view of the database has opened no file so far.
  if (isStored_) connection_->Execute(fmt::format("EXPLAIN SELECT * FROM {}", relation_));
}

void TableSource::AddNamed(const std::string& query, const Definitions& definitions) {
  for (const std::string& file : NamedFiles(*connection_, query, definitions)) inputs_->Add(file);
}

const InputFiles& TableSource::Inputs() const {
  opened_->AddTo(*inputs_);
  return *inputs_;
}

void TableSource::NoteInputs() const { opened_->AddInTimeTo(*inputs_); }

TableSource::~TableSource() = default;
TableSource::TableSource(TableSource&&) noexcept = default;
TableSource& TableSource::operator=(TableSource&& other) noexcept {
  // What observes a connection goes before it.
  opened_ = std::move(other.opened_);
  connection_ = std::move(other.connection_);
  inputs_ = std::move(other.inputs_);
  name_ = std::move(other.name_);
  relation_ = std::move(other.relation_);
  isStored_ = other.isStored_;
  columns_ = std::move(other.columns_);
  return *this;
}

const ColumnInfo* TableSource::Find(std::string_view name) const {
  const auto found = std::ranges::find_if(
      columns_, [name](const ColumnInfo& column) { return SameName(column.name, name); });
  return found == columns_.end() ? nullptr : &*found;
}

std::optional<std::string> TableSource::Nearest(const std::string& name) const {
  std::vector<std::string> names;
  for (const ColumnInfo& column : columns_) names.push_back(column.name);
  return NearestName(*connection_, name, names);
}

std::vector<ColumnInfo> TableSource::Describe(const std::vector<std::string>& expressions) const {
  if (expressions.empty()) return {};
  std::vector<ColumnInfo> columns = connection_->Describe(
      fmt::format("SELECT ({}) FROM {}", fmt::join(expressions, "), ("), relation_));
  for (std::size_t i = 0; i < columns.size(); ++i) columns[i].name = expressions[i];
  return columns;
}

}  // namespace qvhost
