#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/table/ReadingOptions.h"

namespace qvhost {

/// Any of these makes a name a pattern of names.
inline constexpr std::string_view kPatternCharacters = "*?[";

/// The pattern of DuckDB's that matches the file of this name alone.
[[nodiscard]] std::string PlainPattern(std::string_view path);

/// Whether a name says that the file is compressed: `.gz` or `.zst`.
[[nodiscard]] bool IsCompressedName(std::string_view name);

/// The format that the ending of a name tells, compressed or not; kUnknown for any other ending.
[[nodiscard]] FileFormat FormatOfName(std::string_view name);

/// The endings, without their point, that FormatOfName knows, those of compressed text among them.
[[nodiscard]] std::vector<std::string> KnownEndings();

/// What the first bytes of a file tell. A plain value.
struct FileKind {
  FileFormat format = FileFormat::kUnknown;
  std::string compression;  ///< `gzip` or `zstd`; then the format is that of what is inside.
  bool isUtf16 = false;     ///< It begins with a byte order mark of UTF-16.
  bool holdsZeros = false;  ///< As text in UTF-16 without such a mark does.
  /// The program that unpacks it, `bzcat` or `xzcat`, where it is not unpacked here; else empty.
  std::string unpacker;
  /// What another program's file is, and what to do, for a sentence; empty for any other.
  std::string foreign;
  /// Why the bytes cannot be read, for a sentence; empty when they can be.
  std::string fault;
};

/// Inspects the name and the first bytes of a file; a text that is not JSON is taken for a
/// delimited one. A file that cannot be read is of an unknown format. With `mayHoldZeros`, zero
/// bytes are text, as in UTF-16.
[[nodiscard]] FileKind InspectFile(const std::string& path, bool mayHoldZeros);

/// "a CSV file", "a Parquet file", ... for a sentence.
[[nodiscard]] std::string_view FormatText(FileFormat format);

}  // namespace qvhost
