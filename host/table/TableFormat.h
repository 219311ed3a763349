#pragma once

#include <string>

namespace qvhost {

/// The formats in which a table is written.
enum class TableFormat { kCsv, kTsv, kParquet };

/// The format that the ending of a file's name asks for: .csv, .tsv (tabs between the values) or
/// .parquet, in small or capital letters. A device or a pipe without an ending gets CSV. Throws
/// Error (kBadInput) for any other name.
[[nodiscard]] TableFormat TableFormatOf(const std::string& path);

}  // namespace qvhost
