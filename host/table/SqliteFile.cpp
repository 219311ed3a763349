#include "host/table/SqliteFile.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/table/DuckDb.h"
#include "host/table/NumberFormat.h"
#include "host/table/PreparedQuery.h"
#include "host/table/QueryError.h"
#include "host/table/SqliteDatabase.h"

namespace qvhost {
namespace {

constexpr const char* kFunction = "qvreg_sqlite";
/// So many rows tell what a column is that is declared as nothing known, as in a text file.
constexpr int kSampleRows = 20480;
constexpr std::size_t kLongestValue = 40;

struct Column {
  std::string name;
  SqliteKind kind = SqliteKind::kOpen;
  std::string declared;    ///< In the database; empty where its values tell what it is.
  bool isNamed = false;    ///< The user said what it is.
  std::string cast;        ///< The type that the view gives it; empty for none.
  std::size_t number = 0;  ///< For counting its missing strings.
};

struct Table {
  std::string name;
  std::vector<Column> columns;
};

/// A value that its column cannot hold.
struct Fault {
  enum class Kind { kFraction, kText, kBlob, kNotUtf8 };
  Kind kind;
  std::string table;
  Column column;
  std::string value;
  std::int64_t row = 0;
};

/// What a query fails with at such a value; see SqliteFile::Mend.
struct Unreadable {};

bool IsUtf8(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    if (static_cast<unsigned char>(text[at]) < 0x80) {
      ++at;
      continue;
    }
    const CodePoint point = DecodeUtf8(text, at);
    if (!point.valid) return false;
    at += point.length;
  }
  return true;
}

bool IsWhole(double number) {
  return std::trunc(number) == number && std::abs(number) < kLeastInexact;
}

/// Of all of a text; nothing when it is no such number.
template <typename Number>
std::optional<Number> ValueOf(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

duckdb_type TypeOf(SqliteKind kind) {
  switch (kind) {
    case SqliteKind::kWhole:
      return DUCKDB_TYPE_BIGINT;
    case SqliteKind::kNumber:
      return DUCKDB_TYPE_DOUBLE;
    case SqliteKind::kText:
    case SqliteKind::kOpen:
      break;
  }
  return DUCKDB_TYPE_VARCHAR;
}

void SetNull(duckdb_vector vector, idx_t row) {
  duckdb_vector_ensure_validity_writable(vector);
  duckdb_validity_set_row_invalid(duckdb_vector_get_validity(vector), row);
}

}  // namespace

/// Shared with DuckDB, whose threads may still end a task of a query that was given up.
struct SqliteFile::State {
  std::string path;
  std::string name;
  std::vector<std::string> tables;
  std::vector<Table> shown;  ///< Changes between queries only.
  /// Whether a text of a column stands for a missing value; counts it then.
  std::function<bool(std::size_t column, std::string_view text)> isMissing;
  std::mutex mutex;
  std::optional<Fault> fault;  ///< Under the mutex.

  [[nodiscard]] const Table& Find(std::string_view table) const {
    return *std::ranges::find(shown, table, &Table::name);
  }
};

namespace {

using State = SqliteFile::State;

/// One reading of some columns of a table.
class Scan {
 public:
  Scan(std::shared_ptr<State> state, const Table& table, const std::vector<idx_t>& places)
      : state_(std::move(state)),
        table_(table.name),
        database_(state_->path, state_->name),
        query_(database_, Sql(table, places)) {
    for (const idx_t place : places) {
      if (place < table.columns.size()) {
        columns_.push_back(table.columns[place]);
      } else {
        columns_.emplace_back();
      }
    }
  }

  /// Fills a chunk; an empty one is the end. Throws Error, Unreadable.
  void Fill(duckdb_data_chunk chunk) {
    const idx_t most = duckdb_vector_size();
    idx_t row = 0;
    while (row < most && query_.Next()) {
      ++rows_;
      for (std::size_t i = 0; i < columns_.size(); ++i) {
        Put(static_cast<int>(i), duckdb_data_chunk_get_vector(chunk, i), row);
      }
      ++row;
    }
    duckdb_data_chunk_set_size(chunk, row);
  }

 private:
  static std::string Sql(const Table& table, const std::vector<idx_t>& places) {
    std::string list;
    for (const idx_t place : places) {
      // Where only rows are counted, DuckDB asks for a column that is none of the table's.
      list += (list.empty() ? "" : ", ") +
              (place < table.columns.size() ? QuoteName(table.columns[place].name) : "NULL");
    }
    return fmt::format("SELECT {} FROM {}", list.empty() ? "NULL" : list, QuoteName(table.name));
  }

  void Put(int i, duckdb_vector vector, idx_t row) {
    const Column& column = columns_[static_cast<std::size_t>(i)];
    const int type = sqlite3_column_type(query_.Raw(), i);
    if (type == SQLITE_NULL) return SetNull(vector, row);
    if (type == SQLITE_BLOB) Refuse(Fault::Kind::kBlob, column, "");
    if (TypeOf(column.kind) == DUCKDB_TYPE_VARCHAR) return PutText(i, vector, row);
    if (type == SQLITE_TEXT) {
      const std::string_view text = query_.Text(i);
      if (state_->isMissing(column.number, text)) return SetNull(vector, row);
      return PutNumberOfText(column, text, vector, row);
    }
    void* const values = duckdb_vector_get_data(vector);
    if (column.kind == SqliteKind::kNumber) {
      static_cast<double*>(values)[row] = sqlite3_column_double(query_.Raw(), i);
    } else if (type == SQLITE_INTEGER || IsWhole(sqlite3_column_double(query_.Raw(), i))) {
      static_cast<std::int64_t*>(values)[row] = sqlite3_column_int64(query_.Raw(), i);
    } else {
      Refuse(Fault::Kind::kFraction, column, query_.Text(i));
    }
  }

  /// A text in a column that the user named a number.
  void PutNumberOfText(const Column& column, std::string_view text, duckdb_vector vector,
                       idx_t row) {
    const auto plain = column.isNamed ? ParseNumber(text, {}, NumberSigns::kDropped) : std::nullopt;
    const auto number = plain ? ValueOf<double>(*plain) : std::nullopt;
    if (!number) Refuse(Fault::Kind::kText, column, text);
    void* const values = duckdb_vector_get_data(vector);
    if (column.kind == SqliteKind::kNumber) {
      static_cast<double*>(values)[row] = *number;
    } else if (const auto whole = ValueOf<std::int64_t>(*plain)) {
      static_cast<std::int64_t*>(values)[row] = *whole;
    } else {
      Refuse(Fault::Kind::kFraction, column, text);
    }
  }

  void PutText(int i, duckdb_vector vector, idx_t row) {
    const std::string_view text = query_.Text(i);
    if (!IsUtf8(text)) Refuse(Fault::Kind::kNotUtf8, columns_[static_cast<std::size_t>(i)], "");
    duckdb_vector_assign_string_element_len(vector, row, text.data(), text.size());
  }

  [[noreturn]] void Refuse(Fault::Kind kind, const Column& column, std::string_view value) {
    const std::lock_guard lock(state_->mutex);
    std::string shown(value);
    CutText(shown, kLongestValue);
    state_->fault = Fault{kind, table_, column, std::move(shown), rows_};
    throw Unreadable();
  }

  std::shared_ptr<State> state_;
  std::string table_;
  SqliteDatabase database_;
  SqliteQuery query_;
  std::vector<Column> columns_;
  std::int64_t rows_ = 0;
};

std::shared_ptr<State>& StateOf(void* extra) {
  return *static_cast<std::shared_ptr<State>*>(extra);
}

/// DuckDB's code knows nothing of exceptions.
template <typename Info, typename Action>
void Guarded(Info info, void (*setError)(Info, const char*), Action action) {
  try {
    action();
  } catch (const Unreadable&) {
    setError(info, "A value does not suit its column.");
  } catch (const std::exception& error) {
    setError(info, error.what());
  }
}

extern "C" void Bind(duckdb_bind_info info) {
  Guarded(info, duckdb_bind_set_error, [info] {
    const State& state = *StateOf(duckdb_bind_get_extra_info(info));
    duckdb_value value = duckdb_bind_get_parameter(info, 0);
    const DuckDbText name(duckdb_get_varchar(value));
    duckdb_destroy_value(&value);
    const Table& table = state.Find(name.Get());
    for (const Column& column : table.columns) {
      const TypeHandle type(duckdb_create_logical_type(TypeOf(column.kind)));
      duckdb_bind_add_result_column(info, column.name.c_str(), type.Get());
    }
    duckdb_bind_set_bind_data(info, std::make_unique<Table>(table).release(), [](void* owned) {
      delete static_cast<Table*>(owned);  // NOLINT(*-owning-memory): DuckDB's own
    });
  });
}

extern "C" void Init(duckdb_init_info info) {
  Guarded(info, duckdb_init_set_error, [info] {
    const auto& table = *static_cast<const Table*>(duckdb_init_get_bind_data(info));
    std::vector<idx_t> places;
    for (idx_t i = 0; i < duckdb_init_get_column_count(info); ++i) {
      places.push_back(duckdb_init_get_column_index(info, i));
    }
    auto scan = std::make_unique<Scan>(StateOf(duckdb_init_get_extra_info(info)), table, places);
    duckdb_init_set_max_threads(info, 1);
    duckdb_init_set_init_data(info, scan.release(), [](void* owned) {
      delete static_cast<Scan*>(owned);  // NOLINT(*-owning-memory): DuckDB's own
    });
  });
}

extern "C" void Fill(duckdb_function_info info, duckdb_data_chunk chunk) {
  Guarded(info, duckdb_function_set_error,
          [&] { static_cast<Scan*>(duckdb_function_get_init_data(info))->Fill(chunk); });
}

using FunctionHandle = DuckDbHandle<duckdb_table_function, &duckdb_destroy_table_function>;

void RegisterFunction(Connection& connection, const std::shared_ptr<State>& state) {
  const FunctionHandle function(duckdb_create_table_function());
  const TypeHandle text(duckdb_create_logical_type(DUCKDB_TYPE_VARCHAR));
  duckdb_table_function_set_name(function.Get(), kFunction);
  duckdb_table_function_add_parameter(function.Get(), text.Get());
  auto copy = std::make_unique<std::shared_ptr<State>>(state);
  duckdb_table_function_set_extra_info(function.Get(), copy.release(), [](void* owned) {
    delete static_cast<std::shared_ptr<State>*>(owned);  // NOLINT(*-owning-memory): DuckDB's own
  });
  duckdb_table_function_set_bind(function.Get(), Bind);
  duckdb_table_function_set_init(function.Get(), Init);
  duckdb_table_function_set_function(function.Get(), Fill);
  duckdb_table_function_supports_projection_pushdown(function.Get(), true);
  if (duckdb_register_table_function(connection.Raw().connection.Get(), function.Get()) ==
      DuckDBError) {
    throw Error(ExitCode::kRunFailed, "DuckDB did not take the function that reads SQLite files.");
  }
}

/// What the first values say of a column that is declared as nothing known.
SqliteKind KindOfValues(const SqliteDatabase& database, const std::string& table,
                        const std::string& column) {
  SqliteQuery query(database, fmt::format("SELECT coalesce(max(typeof(v) IN ('text', 'blob')), 0), "
                                          "coalesce(max(typeof(v) = 'real'), 0) "
                                          "FROM (SELECT {} AS v FROM {} LIMIT {})",
                                          QuoteName(column), QuoteName(table), kSampleRows));
  static_cast<void>(query.Next());
  if (sqlite3_column_int(query.Raw(), 0) != 0) return SqliteKind::kText;
  return sqlite3_column_int(query.Raw(), 1) != 0 ? SqliteKind::kNumber : SqliteKind::kWhole;
}

/// Reads the column as the user says.
void Declare(const std::string& type, Column& column) {
  column.isNamed = true;
  column.kind = type == "BIGINT"   ? SqliteKind::kWhole
                : type == "DOUBLE" ? SqliteKind::kNumber
                                   : SqliteKind::kText;
  if (column.kind == SqliteKind::kText && type != "VARCHAR") column.cast = type;
}

Table Learn(const SqliteDatabase& database, const std::string& name,
            const std::vector<ColumnType>& types) {
  Table table{name, {}};
  const SqliteQuery query(database, fmt::format("SELECT * FROM {} LIMIT 0", QuoteName(name)));
  for (int i = 0; i < sqlite3_column_count(query.Raw()); ++i) {
    Column column;
    column.name = sqlite3_column_name(query.Raw(), i);
    const char* const declared = sqlite3_column_decltype(query.Raw(), i);
    if (declared != nullptr) column.declared = declared;
    column.kind = KindOfDeclared(column.declared);
    for (const ColumnType& type : types) {
      if (SameWord(type.column, column.name)) Declare(type.type, column);
    }
    if (column.kind == SqliteKind::kOpen) {
      column.declared.clear();
      column.kind = KindOfValues(database, name, column.name);
    }
    table.columns.push_back(std::move(column));
  }
  return table;
}

std::string FaultText(const Fault& fault) {
  const std::string place =
      fmt::format("of '{}' in row {} of {}", fault.column.name, fault.row, fault.table);
  const std::string asText = TypesText(fault.column.name, "varchar");
  if (fault.kind == Fault::Kind::kBlob) {
    return fmt::format(
        "the value {} is a blob, neither a number nor text; leave such rows, or the "
        "column, out with --sql.",
        place);
  }
  if (fault.kind == Fault::Kind::kNotUtf8) {
    return fmt::format(
        "the text {} is not valid UTF-8; leave such rows, or the column, out with "
        "--sql.",
        place);
  }
  if (fault.kind == Fault::Kind::kFraction) {
    return fmt::format(
        "the value '{}' {} is not a whole number, as --types demands; read the column with {} or "
        "as text with {}.",
        fault.value, place, TypesText(fault.column.name, "double"), asText);
  }
  const std::string& declared = fault.column.declared;
  const std::string reason = fault.column.isNamed ? "as --types demands"
                             : declared.empty()
                                 ? "as those before it are"
                                 : fmt::format("as the column is declared ({})", declared);
  return fmt::format(
      "the value '{0}' {1} is not a number, {2}. If it stands for a missing value, "
      "name it with --na {3}; else read the column as text with {4}.",
      fault.value, place, reason, ShellText(fault.value), asText);
}

}  // namespace

SqliteFile::SqliteFile(Connection& connection, MissingFunction& missing, const std::string& path,
                       const std::string& name)
    : connection_(connection), missing_(missing), state_(std::make_shared<State>()) {
  state_->path = path;
  state_->name = name;
  const SqliteDatabase database(path, name);
  SqliteQuery query(database,
                    "SELECT name FROM sqlite_schema WHERE type IN ('table', 'view') "
                    "AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\' ORDER BY name");
  while (query.Next()) state_->tables.emplace_back(query.Text(0));
  state_->isMissing = missing.Taker();
  RegisterFunction(connection, state_);
}

SqliteFile::~SqliteFile() = default;

const std::vector<std::string>& SqliteFile::Tables() const { return state_->tables; }

void SqliteFile::Show(const std::string& table, const std::vector<ColumnType>& types) {
  const SqliteDatabase database(state_->path, state_->name);
  Table learned = Learn(database, table, types);
  for (Column& column : learned.columns) {
    if (column.kind != SqliteKind::kText) column.number = missing_.AddColumn(column.name);
  }
  state_->shown.push_back(std::move(learned));
  CreateView(table);
}

void SqliteFile::CreateView(const std::string& table) const {
  std::string list;
  for (const Column& column : state_->Find(table).columns) {
    const std::string name = QuoteName(column.name);
    list +=
        (list.empty() ? "" : ", ") +
        (column.cast.empty() ? name : fmt::format("CAST({0} AS {1}) AS {0}", name, column.cast));
  }
  connection_.Execute(fmt::format("CREATE OR REPLACE TEMP VIEW {} AS SELECT {} FROM {}({})",
                                  QuoteName(table), list, kFunction, QuoteText(table)));
}

bool SqliteFile::Mend() {
  std::optional<Fault> fault;
  {
    const std::lock_guard lock(state_->mutex);
    fault = std::exchange(state_->fault, std::nullopt);
  }
  if (!fault) return false;
  if (fault->kind != Fault::Kind::kFraction || fault->column.isNamed) {
    throw Error(ExitCode::kBadInput, state_->name + ": " + FaultText(*fault));
  }
  for (Table& table : state_->shown) {
    if (table.name != fault->table) continue;
    std::ranges::find(table.columns, fault->column.name, &Column::name)->kind = SqliteKind::kNumber;
  }
  CreateView(fault->table);
  return true;
}

void SqliteFile::AddTo(const std::string& path, InputFiles& inputs) {
  for (const char* ending : {"", "-wal", "-journal", "-shm"}) inputs.Add(path + ending);
}

}  // namespace qvhost
