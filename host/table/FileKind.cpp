#include "host/table/FileKind.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/table/Connection.h"
#include "host/table/QueryError.h"

namespace qvhost {
namespace {

using namespace std::string_view_literals;

constexpr std::size_t kFirstBytes = 4096;

struct Ending {
  std::string_view text;
  FileFormat format;
};

constexpr std::array<Ending, 11> kEndings = {{{".csv", FileFormat::kDelimited},
                                              {".tsv", FileFormat::kDelimited},
                                              {".json", FileFormat::kJson},
                                              {".jsonl", FileFormat::kJson},
                                              {".ndjson", FileFormat::kJson},
                                              {".parquet", FileFormat::kParquet},
                                              {".duckdb", FileFormat::kDatabase},
                                              {".ddb", FileFormat::kDatabase},
                                              {".sqlite", FileFormat::kSqlite},
                                              {".sqlite3", FileFormat::kSqlite},
                                              {".db3", FileFormat::kSqlite}}};

constexpr std::array<std::string_view, 2> kCompressed = {".gz", ".zst"};

constexpr const char* kWorkbook = "a workbook of a spreadsheet program; save its sheet as CSV";

struct ForeignEnding {
  std::string_view text;
  const char* advice;
};

constexpr const char* kOfR =
    "a file of R, which R alone reads; write CSV there: write.csv(x, \"x.csv\", row.names = FALSE)";
constexpr const char* kOfSpss = "a file of SPSS; export it as CSV";
constexpr const char* kOfSas = "a file of SAS; export it as CSV";
constexpr const char* kPickle =
    "a pickle of Python; write Parquet or CSV there: x.to_csv(\"x.csv\", index=False)";
constexpr const char* kArrow = "a file of Arrow; write it as Parquet";

constexpr const char* kOfNumPy =
    "a file of NumPy; write CSV there: numpy.savetxt(\"x.csv\", x, delimiter=\",\")";

constexpr std::array<ForeignEnding, 14> kForeignEndings = {
    {{".npy", kOfNumPy},
     {".npz", kOfNumPy},
     {".rds", kOfR},
     {".rda", kOfR},
     {".rdata", kOfR},
     {".dta", "a file of Stata; export it as CSV"},
     {".sav", kOfSpss},
     {".por", kOfSpss},
     {".sas7bdat", kOfSas},
     {".xpt", kOfSas},
     {".pkl", kPickle},
     {".pickle", kPickle},
     {".feather", kArrow},
     {".arrow", kArrow}}};

/// What a file is that other programs alone read, and what to do; empty for any other.
std::string ForeignText(const std::string& path, std::string_view bytes) {
  if (bytes.starts_with("\xD0\xCF\x11\xE0"sv)) return kWorkbook;
  const std::string ending = Lower(std::filesystem::path(path).extension().string());
  if (bytes.starts_with("PK\x03\x04"sv) && ending != ".npz") {
    constexpr std::array<std::string_view, 3> kWorkbooks = {".xlsx", ".xlsm", ".ods"};
    const bool isWorkbook = std::ranges::find(kWorkbooks, ending) != kWorkbooks.end() ||
                            bytes.find("[Content_Types].xml"sv) != std::string_view::npos;
    return isWorkbook ? kWorkbook : "a ZIP archive; unpack it first";
  }
  const auto* const found = std::ranges::find(kForeignEndings, ending, &ForeignEnding::text);
  return found == kForeignEndings.end() ? "" : found->advice;
}

/// The program that unpacks a file which DuckDB does not; empty for any other file.
std::string_view UnpackerOf(std::string_view bytes) {
  if (bytes.starts_with("BZh"sv)) return "bzcat";
  return bytes.starts_with(
             "\xFD"
             "7zXZ\0"sv)
             ? "xzcat"
             : "";
}

/// `fault` becomes why they cannot be read.
std::string FirstBytes(const std::string& path, std::string& fault) {
  std::ifstream file(path, std::ios::binary);
  std::string bytes(kFirstBytes, '\0');
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  if (!file.is_open() || file.bad()) fault = std::generic_category().message(errno);
  return bytes;
}

/// Whether bytes are of no text: control characters that no text has.
bool IsBinary(std::string_view bytes) {
  return std::ranges::any_of(bytes, [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 && std::string_view("\t\n\v\f\r\x1A").find(c) == std::string_view::npos;
  });
}

/// The format of a text by its first character that is no blank.
FileFormat FormatOfText(std::string_view text) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  if (text.starts_with(kMark)) text.remove_prefix(kMark.size());
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return FileFormat::kDelimited;
  return text[first] == '{' || text[first] == '[' ? FileFormat::kJson : FileFormat::kDelimited;
}

/// The format of a compressed text, which DuckDB unpacks: of its first line.
FileFormat FormatInside(const std::string& path, const std::string& compression) {
  try {
    Connection connection;
    const auto rows = connection.Rows(
        fmt::format("SELECT ltrim(line) FROM read_csv({}, compression = {}, auto_detect = false, "
                    "columns = {{'line': 'VARCHAR'}}, delim = '\x01', quote = '', escape = '', "
                    "header = false, strict_mode = false) WHERE trim(line) <> '' LIMIT 1",
                    QuoteText(PlainPattern(path)), QuoteText(compression)));
    return rows.empty() ? FileFormat::kDelimited : FormatOfText(rows[0][0].value_or(""));
  } catch (const QueryError&) {
    // Whoever reads it says what is wrong.
    return FileFormat::kDelimited;
  }
}

}  // namespace

std::string PlainPattern(std::string_view path) {
  // DuckDB takes a tilde at the beginning for the user's folder.
  std::string pattern = path.starts_with('~') ? "./" : "";
  for (const char c : path) {
    const bool isSpecial = kPatternCharacters.find(c) != std::string_view::npos;
    pattern += isSpecial ? std::string{'[', c, ']'} : std::string(1, c);
  }
  return pattern;
}

bool IsCompressedName(std::string_view name) {
  const std::string lower = Lower(name);
  return std::ranges::any_of(kCompressed,
                             [&](std::string_view end) { return lower.ends_with(end); });
}

FileFormat FormatOfName(std::string_view name) {
  std::string lower = Lower(name);
  for (const std::string_view packed : kCompressed) {
    if (lower.ends_with(packed)) lower.resize(lower.size() - packed.size());
  }
  const auto* const found = std::ranges::find_if(
      kEndings, [&](const Ending& ending) { return lower.ends_with(ending.text); });
  return found == kEndings.end() ? FileFormat::kUnknown : found->format;
}

std::vector<std::string> KnownEndings() {
  std::vector<std::string> endings;
  for (const auto& [text, format] : kEndings) {
    const std::string ending(text.substr(1));
    endings.push_back(ending);
    if (format != FileFormat::kDelimited && format != FileFormat::kJson) continue;
    for (const std::string_view packed : kCompressed)
      endings.push_back(ending + std::string(packed));
  }
  return endings;
}

FileKind InspectFile(const std::string& path, bool mayHoldZeros) {
  constexpr std::size_t kDuckDbMark = 8;
  FileKind kind;
  const std::string bytes = FirstBytes(path, kind.fault);
  const std::string_view text = bytes;
  if (text.empty()) return kind;
  kind.unpacker = UnpackerOf(text);
  if (!kind.unpacker.empty()) return kind;
  kind.foreign = ForeignText(path, text);
  if (!kind.foreign.empty()) return kind;
  if (text.starts_with("PAR1"sv)) {
    kind.format = FileFormat::kParquet;
  } else if (text.starts_with("SQLite format 3\0"sv)) {
    kind.format = FileFormat::kSqlite;
  } else if (text.substr(std::min(kDuckDbMark, text.size())).starts_with("DUCK"sv)) {
    kind.format = FileFormat::kDatabase;
  } else if (text.starts_with("\x1F\x8B"sv) || text.starts_with("\x28\xB5\x2F\xFD"sv)) {
    kind.compression = text.front() == '\x1F' ? "gzip" : "zstd";
    kind.format = FormatInside(path, kind.compression);
  } else {
    kind.isUtf16 = text.starts_with("\xFF\xFE"sv) || text.starts_with("\xFE\xFF"sv);
    kind.holdsZeros = !kind.isUtf16 && std::ranges::count(text, '\0') * 4 > std::ssize(text);
    const bool isText = kind.isUtf16 || mayHoldZeros || !IsBinary(text);
    if (isText) kind.format = kind.isUtf16 ? FileFormat::kDelimited : FormatOfText(text);
  }
  return kind;
}

std::string_view FormatText(FileFormat format) {
  switch (format) {
    case FileFormat::kDelimited:
      return "a CSV file";
    case FileFormat::kJson:
      return "a JSON file";
    case FileFormat::kParquet:
      return "a Parquet file";
    case FileFormat::kDatabase:
      return "a DuckDB database";
    case FileFormat::kSqlite:
      return "a SQLite database";
    case FileFormat::kUnknown:
      break;
  }
  return "a file of an unknown kind";
}

}  // namespace qvhost
