#include "host/table/MissingFunction.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <mutex>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/table/DuckDb.h"
#include "host/table/PreparedQuery.h"

namespace qvhost {

/// Shared with DuckDB, whose threads may still end a task of a query that was given up.
struct MissingFunction::State {
  struct Column {
    explicit Column(std::string columnName, std::size_t strings)
        : name(std::move(columnName)), counts(strings) {}
    std::string name;
    std::vector<std::int64_t> counts;  ///< By string; under the mutex.
    bool areWhole = false;             ///< Changes between queries only.
    std::atomic<bool> wasRead = false;
  };

  explicit State(const MissingStrings& list) : strings(list) {}

  const MissingStrings strings;
  NumberFormat format;         ///< Changes between queries only.
  std::deque<Column> columns;  ///< Does not move them.
  std::mutex mutex;
  std::atomic<bool> metFraction = false;
};

namespace {

constexpr const char* kName = "qvreg_is_missing";

using FunctionHandle = DuckDbHandle<duckdb_scalar_function, &duckdb_destroy_scalar_function>;
using State = MissingFunction::State;

bool AreDigits(std::string_view text) {
  text = WithoutBlanks(text);
  if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
  return std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

bool IsWholeNumber(std::string_view text, const NumberFormat& format) {
  if (format.IsPlain() && AreDigits(text)) return true;
  const auto plain = ParseNumber(text, format, NumberSigns::kDropped);
  return plain && AreDigits(*plain);
}

/// One chunk of texts of one column. False when a value is not the whole number that it must be.
bool Examine(State& state, State::Column& column, duckdb_vector texts, idx_t rows, bool* missing) {
  const CellMask mask(texts);
  const auto* const cells = static_cast<const duckdb_string_t*>(duckdb_vector_get_data(texts));
  std::unique_lock lock(state.mutex, std::defer_lock);
  for (idx_t row = 0; row < rows; ++row) {
    missing[row] = false;
    if (!mask.Has(row)) continue;
    const std::string_view text = ViewOf(cells[row]);
    const int found = state.strings.Find(text);
    missing[row] = found != MissingStrings::kValue;
    if (found == MissingStrings::kValue && column.areWhole && !IsWholeNumber(text, state.format)) {
      return false;
    }
    if (found < 0) continue;
    if (!lock.owns_lock()) lock.lock();
    ++column.counts[static_cast<std::size_t>(found)];
  }
  return true;
}

extern "C" void ExamineChunk(duckdb_function_info info, duckdb_data_chunk chunk,
                             duckdb_vector output) {
  State& state =
      **static_cast<std::shared_ptr<State>*>(duckdb_scalar_function_get_extra_info(info));
  const idx_t rows = duckdb_data_chunk_get_size(chunk);
  if (rows == 0) return;
  const auto* const number = static_cast<const std::int32_t*>(
      duckdb_vector_get_data(duckdb_data_chunk_get_vector(chunk, 1)));
  State::Column& column = state.columns[static_cast<std::size_t>(-1 - *number)];
  column.wasRead = true;
  auto* const missing = static_cast<bool*>(duckdb_vector_get_data(output));
  if (Examine(state, column, duckdb_data_chunk_get_vector(chunk, 0), rows, missing)) return;
  state.metFraction = true;
  duckdb_scalar_function_set_error(info, "A value is not a whole number.");
}

extern "C" void Forget(void* state) {
  delete static_cast<std::shared_ptr<State>*>(state);  // NOLINT(*-owning-memory): DuckDB's copy
}

}  // namespace

MissingFunction::MissingFunction(Connection& connection, const MissingStrings& strings)
    : state_(std::make_shared<State>(strings)) {
  const FunctionHandle function(duckdb_create_scalar_function());
  const TypeHandle text(duckdb_create_logical_type(DUCKDB_TYPE_VARCHAR));
  const TypeHandle number(duckdb_create_logical_type(DUCKDB_TYPE_INTEGER));
  const TypeHandle answer(duckdb_create_logical_type(DUCKDB_TYPE_BOOLEAN));
  duckdb_scalar_function_set_name(function.Get(), kName);
  duckdb_scalar_function_add_parameter(function.Get(), text.Get());
  duckdb_scalar_function_add_parameter(function.Get(), number.Get());
  duckdb_scalar_function_set_return_type(function.Get(), answer.Get());
  // It counts: two calls are not one, and none is moved to where it would see other rows.
  duckdb_scalar_function_set_volatile(function.Get());
  auto copy = std::make_unique<std::shared_ptr<State>>(state_);
  duckdb_scalar_function_set_extra_info(function.Get(), copy.release(), Forget);
  duckdb_scalar_function_set_function(function.Get(), ExamineChunk);
  if (duckdb_register_scalar_function(connection.Raw().connection.Get(), function.Get()) ==
      DuckDBError) {
    throw Error(ExitCode::kRunFailed,
                "DuckDB did not take the function that finds missing values.");
  }
}

MissingFunction::~MissingFunction() = default;

std::size_t MissingFunction::AddColumn(const std::string& name) {
  state_->columns.emplace_back(name, state_->strings.Strings().size());
  return state_->columns.size() - 1;
}

void MissingFunction::SetWholeNumbers(std::size_t column, bool areWhole) {
  state_->columns[column].areWhole = areWhole;
}

void MissingFunction::SetNumberFormat(const NumberFormat& format) { state_->format = format; }

std::function<bool(std::size_t column, std::string_view text)> MissingFunction::Taker() const {
  return [state = state_](std::size_t column, std::string_view text) {
    const int found = state->strings.Find(text);
    if (found >= 0) {
      const std::scoped_lock lock(state->mutex);
      ++state->columns[column].counts[static_cast<std::size_t>(found)];
    }
    return found != MissingStrings::kValue;
  };
}

std::string MissingFunction::Call(const std::string& text, std::size_t column) {
  // Below 0: DuckDB hashes a column and its own number alike, and combines the two to the same for
  // all columns, each of which it would then compare with all others.
  return fmt::format("{}({}, -{})", kName, text, column + 1);
}

bool MissingFunction::HasNaN() const {
  return std::ranges::any_of(state_->strings.Strings(), [](const std::string& text) {
    return text == "NaN" || text == "nan" || text == "NAN";
  });
}

void MissingFunction::Reset() {
  const std::scoped_lock lock(state_->mutex);
  state_->metFraction = false;
  for (State::Column& column : state_->columns) {
    std::ranges::fill(column.counts, 0);
    column.wasRead = false;
  }
}

std::vector<MissingString> MissingFunction::Counts() const {
  const std::scoped_lock lock(state_->mutex);
  const std::vector<std::string>& strings = state_->strings.Strings();
  std::vector<MissingString> found;
  for (const State::Column& column : state_->columns) {
    for (std::size_t i = 0; i < strings.size(); ++i) {
      if (column.counts[i] > 0) found.push_back({column.name, strings[i], column.counts[i]});
    }
  }
  return found;
}

bool MissingFunction::MetFraction() const { return state_->metFraction; }

bool MissingFunction::WasRead(std::size_t column) const { return state_->columns[column].wasRead; }

}  // namespace qvhost
