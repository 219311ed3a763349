#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/table/Connection.h"
#include "host/table/MissingStrings.h"
#include "host/table/NumberFormat.h"

namespace qvhost {

/// How often a column held a string that was read as missing. A plain value.
struct MissingString {
  std::string column;
  std::string text;
  std::int64_t count = 0;
};

/// The SQL function that tells missing strings from values and counts them while a query runs, on
/// whatever threads of DuckDB's. For the sources of this folder.
///
/// Calls of it may be part of views. The connection keeps what a running query needs, so that this
/// object may go first. One thread at a time, and none while a query runs.
class MissingFunction {
 public:
  /// Makes the function known to a connection, once for each connection.
  MissingFunction(Connection& connection, const MissingStrings& strings);
  ~MissingFunction();
  MissingFunction(const MissingFunction&) = delete;
  MissingFunction& operator=(const MissingFunction&) = delete;

  /// Introduces a column and gives its number.
  [[nodiscard]] std::size_t AddColumn(const std::string& name);

  /// From now on every value of the column must be a whole number: the query fails at another one.
  void SetWholeNumbers(std::size_t column, bool areWhole);

  /// From now on whole numbers are written in this format.
  void SetNumberFormat(const NumberFormat& format);

  /// A call in SQL: whether the text, an SQL expression, is missing. False or
  /// NULL for NULL.
  [[nodiscard]] static std::string Call(const std::string& text, std::size_t column);

  /// What tells a value of a column outside DuckDB, on any thread: whether the text is missing,
  /// which is counted. Keeps what it needs.
  [[nodiscard]] std::function<bool(std::size_t column, std::string_view text)> Taker() const;

  /// Whether a missing string is one that DuckDB reads as the number NaN.
  [[nodiscard]] bool HasNaN() const;

  /// Forgets what was counted and read.
  void Reset();

  /// What was counted since, columns in their order, strings in the order of the list.
  [[nodiscard]] std::vector<MissingString> Counts() const;

  /// Whether a query has read the column since.
  [[nodiscard]] bool WasRead(std::size_t column) const;

  /// Whether a query has failed since, at a value that is not the whole number it must be.
  [[nodiscard]] bool MetFraction() const;

  struct State;

 private:
  std::shared_ptr<State> state_;
};

}  // namespace qvhost
