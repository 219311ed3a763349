#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/table/Connection.h"
#include "host/table/NumberFormat.h"

namespace qvhost {

/// The SQL function that makes plain numbers of texts in another format. For the sources of this
/// folder.
class NumberFunction {
 public:
  /// Makes the function known to a connection, once for each connection, which keeps what it needs.
  static void Register(Connection& connection, const NumberFormat& format);

  /// A call in SQL: the text of a number as DuckDB casts it; a text that no number can be cast from
  /// for any other, NULL for NULL.
  [[nodiscard]] static std::string Call(const std::string& text, NumberSigns signs);
};

/// The SQL function that keeps the rows for which a condition is true and counts the others while a
/// query runs, on whatever threads of DuckDB's. For the sources of this folder.
///
/// The connection keeps what a running query needs, so that this object may go first. One thread at
/// a time, and none while a query runs.
class RowFilter {
 public:
  /// Makes the function known to a connection, once for each connection.
  explicit RowFilter(Connection& connection);
  ~RowFilter();
  RowFilter(const RowFilter&) = delete;
  RowFilter& operator=(const RowFilter&) = delete;

  /// A call in SQL, for WHERE.
  [[nodiscard]] static std::string Call(const std::string& condition);

  void Reset();
  /// How many rows were left out since.
  [[nodiscard]] std::int64_t LeftOut() const;

  struct State;

 private:
  std::shared_ptr<State> state_;
};

/// The functions of a formula that DuckDB lacks, from double to double: `qvreg_log1p`, the natural
/// logarithm of 1 + x, which fails where that is not positive, and `qvreg_expm1`, e^x - 1, which
/// fails where it is too large. Both are exact to the last digits near 0.
///
/// Makes them known to a connection, once for each connection.
void RegisterMathFunctions(Connection& connection);

}  // namespace qvhost
