#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/table/NumberFormat.h"
#include "host/table/TextEncoding.h"

namespace qvhost {

/// The formats that a table is read from.
enum class FileFormat {
  kDelimited,  ///< CSV, TSV, and text like them.
  kJson,       ///< An array of objects, or an object on each line.
  kParquet,
  kDatabase,  ///< A DuckDB database.
  kSqlite,
  kUnknown
};

/// The type that a column is to be read as, against what its values say. A plain value.
struct ColumnType {
  std::string column;
  std::string type;  ///< Of DuckDB: BIGINT, DOUBLE, VARCHAR, DATE, ...
};

/// How files are to be read. A plain value; what is empty or none is found out.
struct ReadingOptions {
  std::optional<FileFormat> format;      ///< None: by the name, then by the first bytes.
  std::optional<TextEncoding> encoding;  ///< None: UTF-8, or what a mark of the byte order tells.
  std::string delimiter;                 ///< One character.
  std::optional<bool> header;            ///< Whether the first row holds the names.
  std::optional<char> decimal;           ///< A point or a comma.
  std::string thousands;                 ///< One character.
  std::vector<ColumnType> types;
  /// How numbers of delimited files are written where neither of the two above is given. Other
  /// formats do without.
  std::optional<NumberFormat> usualNumbers;

  [[nodiscard]] NumberFormat Numbers() const { return {decimal.value_or('.'), thousands}; }
};

}  // namespace qvhost
