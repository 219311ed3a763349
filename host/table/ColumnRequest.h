#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace qvhost {

/// How a requested column becomes doubles.
enum class Coding {
  kByType,  ///< Numbers as numbers; text, booleans and enumerations as factors; others are refused.
  kFactor,  ///< A factor, whatever the type.
  kNumber   ///< A number; any other type is refused. For weights.
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
};

}  // namespace qvhost
