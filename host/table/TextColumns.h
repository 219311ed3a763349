#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/table/ColumnInfo.h"
#include "host/table/ColumnNames.h"
#include "host/table/Connection.h"
#include "host/table/ReadingOptions.h"
#include "host/table/TypedView.h"

namespace qvhost {

// What delimited and JSON files have in common where their columns are learnt.

/// DuckDB tells the types of a file's columns from so many rows.
inline constexpr std::int64_t kSampleRows = 20480;

using TextRows = std::vector<std::vector<std::optional<std::string>>>;

/// Name and type of each column of what follows FROM. Throws QueryError.
[[nodiscard]] TextRows Described(Connection& connection, const std::string& relation);

/// The first value of each row.
[[nodiscard]] std::vector<std::string> FirstOf(const TextRows& rows);

/// What the data call columns, and what they are called here. A plain value.
struct TextNames {
  explicit TextNames(std::vector<std::string> inData)
      : written(std::move(inData)), unique(UniqueNames(written)) {}

  std::vector<std::string> written;
  std::vector<std::string> unique;
};

/// What the user says of a column; null for nothing.
[[nodiscard]] const ColumnType* GivenType(const ReadingOptions& given, const TextNames& names,
                                          std::size_t column);

/// Throws Error (kBadInput) for a type of a column that there is not in `source`, which people
/// read.
void CheckTypes(const std::string& source, const std::vector<ColumnType>& types,
                const std::vector<ColumnInfo>& columns);

/// The same for columns that are to be read.
void CheckTypes(const std::string& source, const std::vector<ColumnType>& types,
                const TextNames& names);

/// A call of a function that reads files, from its beginning up to the types.
[[nodiscard]] TypedView::Relation Reader(std::string call);

}  // namespace qvhost
