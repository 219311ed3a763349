#include "host/table/Connection.h"

#include <array>
#include <filesystem>
#include <mutex>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/table/DuckDb.h"
#include "host/table/PreparedQuery.h"
#include "host/table/QueryError.h"

namespace qvhost {
namespace {

using Setting = std::pair<const char*, const char*>;

constexpr std::array<Setting, 7> kSettings = {{
    {"threads", "2"},
    {"memory_limit", "1GB"},
    {"preserve_insertion_order", "true"},
    // Otherwise DuckDB would choose a folder beside the data, and make it for everyone to read.
    {"temp_directory", ""},
    // A source is read once, from start to end: what was read is of no further use.
    {"enable_external_file_cache", "false"},
    // Without these two a missing extension is looked for on a server.
    {"autoinstall_known_extensions", "false"},
    {"autoload_known_extensions", "false"},
}};

/// Progress is measured, and printed by the host alone.
constexpr const char* kSessionSettings =
    "SET enable_progress_bar = true; SET enable_progress_bar_print = false; "
    "SET progress_bar_time = 0";

ConfigHandle MakeConfig(bool readOnly) {
  ConfigHandle config;
  if (duckdb_create_config(config.Out()) == DuckDBError) {
    throw Error(ExitCode::kRunFailed, "DuckDB could not be started.");
  }
  const auto set = [&config](const char* name, const char* value) {
    if (duckdb_set_config(config.Get(), name, value) == DuckDBError) {
      throw Error(ExitCode::kRunFailed,
                  std::string("This DuckDB does not know the setting ") + name + ".");
    }
  };
  for (const auto& [name, value] : kSettings) set(name, value);
  if (readOnly) set("access_mode", "READ_ONLY");
  return config;
}

/// The connections of this process that may run a query.
struct Registry {
  std::mutex mutex;
  std::vector<duckdb_connection> connections;
};

Registry& OpenConnections() {
  static Registry registry;
  return registry;
}

}  // namespace

Connection::Connection(const std::string& databaseFile) : handles_(std::make_unique<Handles>()) {
  const ConfigHandle config = MakeConfig(!databaseFile.empty());
  const char* path = databaseFile.empty() ? nullptr : databaseFile.c_str();
  char* reason = nullptr;
  const duckdb_state state = duckdb_open_ext(path, handles_->database.Out(), config.Get(), &reason);
  const DuckDbText ownedReason(reason);
  if (state == DuckDBError) throw QueryError(reason);
  if (duckdb_connect(handles_->database.Get(), handles_->connection.Out()) == DuckDBError) {
    throw Error(ExitCode::kRunFailed, "DuckDB gave no connection.");
  }
  Execute(kSessionSettings);
  // The last step: a constructor that throws would leave it there.
  Register();
}

Connection::Connection(std::unique_ptr<Handles> handles) : handles_(std::move(handles)) {
  Register();
}

void Connection::Register() const {
  const std::lock_guard lock(OpenConnections().mutex);
  OpenConnections().connections.push_back(handles_->connection.Get());
}

std::unique_ptr<Connection> Connection::Another() const {
  auto handles = std::make_unique<Handles>();
  if (duckdb_connect(handles_->database.Get(), handles->connection.Out()) == DuckDBError) {
    throw Error(ExitCode::kRunFailed, "DuckDB gave no connection.");
  }
  return std::make_unique<Connection>(std::move(handles));
}

Connection::~Connection() {
  {
    const std::lock_guard lock(OpenConnections().mutex);
    std::erase(OpenConnections().connections, handles_->connection.Get());
  }
  // Another connection leaves the threads to the owner of the database.
  if (!handles_->database) return;

  // A thread of DuckDB's that is just ending a task of an unfinished query still looks at the
  // connection, and waits forever for one that is gone (seen with 1.4.4). So its threads end first:
  // fewer are asked for, and the next query sees to it.
  const duckdb_connection connection = handles_->connection.Get();
  if (connection == nullptr) return;
  duckdb_interrupt(connection);
  duckdb_query(connection, "SET threads = 1", nullptr);
  duckdb_query(connection, "SELECT 1", nullptr);
}

void Connection::Execute(const std::string& sql) {
  ResultHandle result;
  if (duckdb_query(handles_->connection.Get(), sql.c_str(), result.Get()) == DuckDBError) {
    throw QueryError(duckdb_result_error(result.Get()));
  }
}

std::vector<std::vector<std::optional<std::string>>> Connection::Rows(const std::string& sql) {
  ResultHandle result;
  if (duckdb_query(handles_->connection.Get(), sql.c_str(), result.Get()) == DuckDBError) {
    throw QueryError(duckdb_result_error(result.Get()));
  }
  const idx_t columns = duckdb_column_count(result.Get());
  std::vector<std::vector<std::optional<std::string>>> rows(duckdb_row_count(result.Get()));
  for (idx_t row = 0; row < rows.size(); ++row) {
    for (idx_t column = 0; column < columns; ++column) {
      const DuckDbText value(duckdb_value_varchar(result.Get(), column, row));
      rows[row].push_back(value.Get() == nullptr ? std::nullopt : std::optional(value.Get()));
    }
  }
  return rows;
}

void Connection::SetTempDirectory(const std::string& folder) {
  if (tempDirectory_) return;
  std::error_code error;
  tempDirectory_ = TemporaryFolder::Make(folder, error);
  if (error) {
    throw Error(ExitCode::kRunFailed,
                fmt::format("No temporary folder can be made in the folder '{}' ({}); name another "
                            "folder with --spool-dir.",
                            folder, std::generic_category().message(error.value())));
  }
  Execute(fmt::format("SET temp_directory = {}", QuoteText(tempDirectory_->Path().string())));
}

void Connection::InterruptAll() noexcept {
  const std::lock_guard lock(OpenConnections().mutex);
  for (const duckdb_connection connection : OpenConnections().connections)
    duckdb_interrupt(connection);
}

std::size_t Connection::CountStatements(const std::string& sql) {
  StatementsHandle statements;
  const idx_t count =
      duckdb_extract_statements(handles_->connection.Get(), sql.c_str(), statements.Out());
  const char* reason = count == 0 ? duckdb_extract_statements_error(statements.Get()) : nullptr;
  if (reason != nullptr) throw QueryError(reason);
  return count;
}

std::vector<ColumnInfo> Connection::Describe(const std::string& query) {
  const PreparedQuery prepared(*this, query);
  std::vector<ColumnInfo> columns;
  for (idx_t index = 0; index < prepared.ColumnCount(); ++index) {
    columns.push_back(prepared.Column(index));
  }
  return columns;
}

}  // namespace qvhost
