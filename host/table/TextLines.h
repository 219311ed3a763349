#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/table/Connection.h"

namespace qvhost {

// What the lines of delimited text tell that DuckDB's reading of it does not.

/// The first lines of the first of files, none of them blank. `files`, in SQL, are what functions
/// that read files take. Empty when they cannot be read, which whoever reads the table tells.
[[nodiscard]] std::vector<std::string> FirstLines(Connection& connection, const std::string& files);

/// What seems to separate the columns in a header that was taken for one name; nothing for none.
[[nodiscard]] std::string SeparatorIn(std::string_view header);

/// What may separate the values of lines in place of `delimiter`: a semicolon, a tab or a bar, or a
/// comma or blanks where there is none of these; nothing where nothing does.
[[nodiscard]] std::string OtherDelimiter(const std::vector<std::string>& lines,
                                         const std::string& delimiter);

/// Throws Error (kBadInput) where runs of blanks separate values, which --delim ' ' takes for empty
/// ones. `file` is for people, and a path unless there are several.
void CheckBlanks(const std::string& file, bool isOne, const std::vector<std::string>& lines);

}  // namespace qvhost
