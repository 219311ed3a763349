#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/table/Booleans.h"
#include "host/table/LevelChoice.h"

namespace qvhost {

/// What the values of a column are, as far as coding them is concerned.
enum class ColumnKind {
  kNumber,       ///< Integers, decimals and floating point numbers of any width.
  kText,         ///< Text, and what is text in all but name (UUID, JSON).
  kBoolean,      ///< false and true.
  kEnumeration,  ///< Text out of a list with an order of its own.
  kDateTime,     ///< Dates, times, timestamps and intervals.
  kOther         ///< Blobs, bit strings, lists, structs, maps and unions.
};

/// A column of a table, or an expression of its columns. A plain value.
struct ColumnInfo {
  std::string name;  ///< As the table spells it; for an expression, its text.
  ColumnKind kind = ColumnKind::kOther;
  std::string type;      ///< DuckDB's name of the type, such as `BIGINT` or `DECIMAL(18,3)`.
  bool isField = false;  ///< Inside a column of objects, see NestedField.
  /// As the data spell it, where that is no name of another column (see RenamedColumn).
  std::string written = {};

  /// What the data call it.
  [[nodiscard]] const std::string& Written() const { return written.empty() ? name : written; }
};

/// What a formula takes a column for unless it says otherwise, as C(...) does.
enum class ColumnRole { kCovariate, kFactor, kNone };

[[nodiscard]] ColumnRole RoleOf(ColumnKind kind);

/// What to call a kind in a sentence: "a number", "text", "a boolean", …
[[nodiscard]] std::string_view KindText(ColumnKind kind);

/// How a requested column becomes doubles.
enum class Coding {
  kByType,  ///< Numbers as numbers; text, booleans and enumerations as factors; others are refused.
  kFactor,  ///< A factor, whatever the type.
  kNumber   ///< A number; any other type is refused. For weights.
};

/// The levels that a factor has already, of another table. A plain value.
struct KnownLevels {
  std::vector<std::string> levels;        ///< By code.
  ColumnKind kind = ColumnKind::kNumber;  ///< Of the values that they were made of.
};

/// One column of the coded records. A plain value.
struct ColumnRequest {
  std::string label;  ///< For people: errors and reports call the column by it.
  std::string sql;    ///< A scalar SQL expression over the source's columns.
  Coding coding = Coding::kByType;
  /// Of a factor; none: as many as the coding allows.
  std::optional<std::size_t> maxLevels = std::nullopt;
  /// A factor for no other reason than that it is text: more levels are hardly meant.
  bool isByTypeOnly = false;
  LevelChoice levels = {};     ///< Of a factor.
  BooleanTexts booleans = {};  ///< Of a factor of booleans: what its levels are called.
  std::string written = {};    ///< As a formula takes it; empty for the label.
  /// Of a factor; none: those that occur. A value that is none of them is in no category.
  std::optional<KnownLevels> known = std::nullopt;

  [[nodiscard]] const std::string& Written() const { return written.empty() ? label : written; }
};

/// A column of the source that is kept beside what a run computes. A plain value.
struct KeptColumn {
  std::string name;  ///< As the table spells it.
  std::string sql;   ///< Its values, over the source's columns.
};

}  // namespace qvhost
