#include "host/table/ScalarFunctions.h"

#include <atomic>
#include <cmath>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/table/DuckDb.h"
#include "host/table/PreparedQuery.h"

namespace qvhost {

/// Shared with DuckDB, whose threads may still end a task of a query that was given up.
struct RowFilter::State {
  std::atomic<std::int64_t> leftOut = 0;
};

namespace {

constexpr const char* kNumberName = "qvreg_plain_number";
constexpr const char* kFilterName = "qvreg_is_used";
/// What nothing can be cast from.
constexpr const char* kNoNumber = "no number";

using FunctionHandle = DuckDbHandle<duckdb_scalar_function, &duckdb_destroy_scalar_function>;
using FilterState = RowFilter::State;

/// What DuckDB calls, and what it is told about it.
struct Function {
  const char* name;
  std::vector<duckdb_type> parameters;
  duckdb_type result;
  duckdb_scalar_function_t call;
};

template <typename Extra>
void Register(Connection& connection, const Function& function, std::unique_ptr<Extra> extra,
              bool isVolatile) {
  const FunctionHandle handle(duckdb_create_scalar_function());
  duckdb_scalar_function_set_name(handle.Get(), function.name);
  for (const duckdb_type parameter : function.parameters) {
    const TypeHandle type(duckdb_create_logical_type(parameter));
    duckdb_scalar_function_add_parameter(handle.Get(), type.Get());
  }
  const TypeHandle result(duckdb_create_logical_type(function.result));
  duckdb_scalar_function_set_return_type(handle.Get(), result.Get());
  if (isVolatile) duckdb_scalar_function_set_volatile(handle.Get());
  duckdb_scalar_function_set_extra_info(handle.Get(), extra.release(), [](void* owned) {
    delete static_cast<Extra*>(owned);  // NOLINT(*-owning-memory): DuckDB's own
  });
  duckdb_scalar_function_set_function(handle.Get(), function.call);
  if (duckdb_register_scalar_function(connection.Raw().connection.Get(), handle.Get()) ==
      DuckDBError) {
    throw Error(ExitCode::kRunFailed,
                fmt::format("DuckDB did not take the function '{}'.", function.name));
  }
}

extern "C" void MakePlain(duckdb_function_info info, duckdb_data_chunk chunk,
                          duckdb_vector output) {
  const auto& format =
      *static_cast<const NumberFormat*>(duckdb_scalar_function_get_extra_info(info));
  const idx_t rows = duckdb_data_chunk_get_size(chunk);
  if (rows == 0) return;
  duckdb_vector texts = duckdb_data_chunk_get_vector(chunk, 0);
  const CellMask mask(texts);
  const auto* const cells = static_cast<const duckdb_string_t*>(duckdb_vector_get_data(texts));
  const bool dropsSigns =
      *static_cast<const bool*>(duckdb_vector_get_data(duckdb_data_chunk_get_vector(chunk, 1)));
  const NumberSigns signs = dropsSigns ? NumberSigns::kDropped : NumberSigns::kRefused;
  for (idx_t row = 0; row < rows; ++row) {
    if (!mask.Has(row)) {
      duckdb_vector_ensure_validity_writable(output);
      duckdb_validity_set_row_invalid(duckdb_vector_get_validity(output), row);
      continue;
    }
    const std::optional<std::string> plain = ParseNumber(ViewOf(cells[row]), format, signs);
    const std::string_view text = plain ? std::string_view(*plain) : kNoNumber;
    duckdb_vector_assign_string_element_len(output, row, text.data(), text.size());
  }
}

extern "C" void Keep(duckdb_function_info info, duckdb_data_chunk chunk, duckdb_vector output) {
  FilterState& state =
      **static_cast<std::shared_ptr<FilterState>*>(duckdb_scalar_function_get_extra_info(info));
  const idx_t rows = duckdb_data_chunk_get_size(chunk);
  if (rows == 0) return;
  duckdb_vector conditions = duckdb_data_chunk_get_vector(chunk, 0);
  const CellMask mask(conditions);
  const auto* const hold = static_cast<const bool*>(duckdb_vector_get_data(conditions));
  auto* const kept = static_cast<bool*>(duckdb_vector_get_data(output));
  std::int64_t leftOut = 0;
  for (idx_t row = 0; row < rows; ++row) {
    kept[row] = mask.Has(row) && hold[row];
    leftOut += kept[row] ? 0 : 1;
  }
  state.leftOut += leftOut;
}

/// Computes a function of each number of a vector; an infinite value ends the query.
void Compute(duckdb_function_info info, duckdb_data_chunk chunk, duckdb_vector output,
             double (*function)(double), const char* reason) {
  const idx_t rows = duckdb_data_chunk_get_size(chunk);
  if (rows == 0) return;
  duckdb_vector arguments = duckdb_data_chunk_get_vector(chunk, 0);
  const CellMask mask(arguments);
  const auto* const numbers = static_cast<const double*>(duckdb_vector_get_data(arguments));
  auto* const values = static_cast<double*>(duckdb_vector_get_data(output));
  for (idx_t row = 0; row < rows; ++row) {
    if (!mask.Has(row)) {
      duckdb_vector_ensure_validity_writable(output);
      duckdb_validity_set_row_invalid(duckdb_vector_get_validity(output), row);
      continue;
    }
    values[row] = function(numbers[row]);
    const bool isLost = std::isnan(values[row]) && !std::isnan(numbers[row]);
    if (!std::isinf(values[row]) && !isLost) continue;
    return duckdb_scalar_function_set_error(info, reason);
  }
}

extern "C" void ComputeLog1p(duckdb_function_info info, duckdb_data_chunk chunk,
                             duckdb_vector output) {
  Compute(
      info, chunk, output, [](double x) { return std::log1p(x); },
      "log1p() takes a number above -1.");
}

extern "C" void ComputeExpm1(duckdb_function_info info, duckdb_data_chunk chunk,
                             duckdb_vector output) {
  Compute(
      info, chunk, output, [](double x) { return std::expm1(x); },
      "The value of expm1() is too large.");
}

}  // namespace

void RegisterMathFunctions(Connection& connection) {
  const std::vector<duckdb_type> number = {DUCKDB_TYPE_DOUBLE};
  for (const Function& function :
       {Function{"qvreg_log1p", number, DUCKDB_TYPE_DOUBLE, ComputeLog1p},
        Function{"qvreg_expm1", number, DUCKDB_TYPE_DOUBLE, ComputeExpm1}}) {
    Register(connection, function, std::make_unique<char>(), false);
  }
}

void NumberFunction::Register(Connection& connection, const NumberFormat& format) {
  qvhost::Register(
      connection,
      {kNumberName, {DUCKDB_TYPE_VARCHAR, DUCKDB_TYPE_BOOLEAN}, DUCKDB_TYPE_VARCHAR, MakePlain},
      std::make_unique<NumberFormat>(format), false);
}

std::string NumberFunction::Call(const std::string& text, NumberSigns signs) {
  return fmt::format("{}({}, {})", kNumberName, text, signs == NumberSigns::kDropped);
}

RowFilter::RowFilter(Connection& connection) : state_(std::make_shared<State>()) {
  // It counts: two calls are not one, and none is moved to where it would see other rows.
  Register(connection, {kFilterName, {DUCKDB_TYPE_BOOLEAN}, DUCKDB_TYPE_BOOLEAN, Keep},
           std::make_unique<std::shared_ptr<State>>(state_), true);
}

RowFilter::~RowFilter() = default;

std::string RowFilter::Call(const std::string& condition) {
  return fmt::format("{}(coalesce({}, false))", kFilterName, condition);
}

void RowFilter::Reset() { state_->leftOut = 0; }

std::int64_t RowFilter::LeftOut() const { return state_->leftOut; }

}  // namespace qvhost
