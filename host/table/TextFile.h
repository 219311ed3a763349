#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/table/ColumnNames.h"
#include "host/table/Connection.h"
#include "host/table/MissingFunction.h"
#include "host/table/ReadingOptions.h"
#include "host/table/TypedView.h"

namespace qvhost {

/// Text files to be read as one table. A plain value.
struct TextFiles {
  FileFormat format = FileFormat::kDelimited;  ///< Or kJson.
  std::string sql;                             ///< What DuckDB's functions that read files take.
  std::string name;                            ///< For people.
  bool areSeveral = false;                     ///< Columns are then matched by name.
};

/// What was found out about the form of delimited files, of the first of several. A plain value.
struct TextLayout {
  /// A column of dates in a format other than ISO's.
  struct Dates {
    std::string column;
    std::string format;  ///< As in `%d.%m.%Y`.
  };
  /// A column of decimal numbers that may be whole numbers with points between thousands.
  struct Grouped {
    std::string column;
    std::string example;
  };

  bool hasHeader = true;
  bool isHeaderGiven = false;    ///< The user said whether there is one.
  std::string otherDelimiter;    ///< What else may separate values; empty for nothing.
  bool hasShortRows = false;     ///< Some lack values at their end, which are missing.
  std::int64_t skippedRows = 0;  ///< Before the table, as they do not look like rows of it.
  std::vector<Dates> dates;
  std::vector<Grouped> grouped;
};

/// A view of text files and what is known of them.
struct TextView {
  std::unique_ptr<TypedView> view;
  TextLayout layout;
  std::vector<RenamedColumn> renamed;
};

/// Makes the view `view` of text files: DuckDB says how the files are written and of what types
/// their columns are, as far as is not asked for; missing strings are no values. Throws
/// QueryError when DuckDB cannot read the files, Error (kBadInput) for a type of a column that
/// there is not.
[[nodiscard]] TextView ShowTextFile(Connection& connection, MissingFunction& missing,
                                    const MissingStrings& strings, const std::string& view,
                                    const TextFiles& files, const ReadingOptions& asked);

}  // namespace qvhost
