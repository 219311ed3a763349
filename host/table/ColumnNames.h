#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qvhost {

/// A column that cannot be called as the data call it, since DuckDB takes its name and that of a
/// column before it for the same. A plain value.
struct RenamedColumn {
  std::size_t place = 0;  ///< In the table, from 0.
  std::string written;    ///< Its name in the data.
  std::string name;       ///< What it is called.
  std::size_t like = 0;   ///< The place of the first column of such a name,
  std::string likeName;   ///< and that column's name.

  /// Whether the two names are spelled the same.
  [[nodiscard]] bool IsRepeated() const { return written == likeName; }
};

/// Whether DuckDB, which calls a table's columns so, may have renamed some: x_1 beside X.
[[nodiscard]] bool MayBeRenamed(const std::vector<std::string>& names);

/// Whether columns are called `names` by DuckDB that the data call `written`.
[[nodiscard]] bool AreNamesOf(const std::vector<std::string>& names,
                              const std::vector<std::string>& written);

/// Names that differ in more than upper and lower case: each the written one where none before it
/// is like it, and else with a number at its end so that it is like no other.
[[nodiscard]] std::vector<std::string> UniqueNames(const std::vector<std::string>& written);

/// The columns that UniqueNames renames.
[[nodiscard]] std::vector<RenamedColumn> RenamedColumns(const std::vector<std::string>& written);

/// A sentence for each, and one for all that follow the first few. `of`: empty, or what the columns
/// are of, as in " of the query".
[[nodiscard]] std::vector<std::string> RenamingNotes(const std::vector<RenamedColumn>& columns,
                                                     std::string_view of);

}  // namespace qvhost
