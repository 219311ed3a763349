#include "host/table/DataFiles.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <span>
#include <string_view>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/FileSystem.h"
#include "host/Text.h"
#include "host/WholeFile.h"
#include "host/table/Connection.h"
#include "host/table/GzipFile.h"
#include "host/table/SpoolFile.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostNamesToCompare = 1000;
constexpr std::size_t kMostNamesToShow = 3;
constexpr std::size_t kChunk = std::size_t{1} << 20;
constexpr const char* kStandardInput = "standard input";

[[noreturn]] void Refuse(const std::string& message) { throw Error(ExitCode::kBadInput, message); }

/// The files beside one that does not exist.
std::vector<std::string> NamesBeside(const fs::path& file) {
  const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (names.size() == kMostNamesToCompare) break;
    std::error_code unknown;
    if (!entry->is_directory(unknown)) names.push_back(entry->path().filename().string());
  }
  return names;
}

[[noreturn]] void RefuseMissing(const std::string& data) {
  const fs::path path(data);
  const auto nearest = NearestName(path.filename().string(), NamesBeside(path));
  if (!nearest) Refuse(fmt::format("The file '{}' does not exist.", data));
  Refuse(fmt::format("The file '{}' does not exist. Did you mean '{}'?", data,
                     (path.parent_path() / *nearest).string()));
}

bool IsStandardInput(const std::string& name) { return name == "-" || name == "/dev/stdin"; }

bool IsPattern(const std::string& name) {
  std::error_code error;
  return name.find_first_of(kPatternCharacters) != std::string::npos && !fs::exists(name, error);
}

/// DuckDB takes a tilde at the beginning for the user's folder.
std::string InFolder(const std::string& name) { return name.starts_with('~') ? "./" + name : name; }

/// The files that a pattern matches, in DuckDB's order.
std::vector<std::string> Matches(const std::string& pattern) {
  Connection connection;
  std::vector<std::string> files;
  for (const auto& row :
       connection.Rows(fmt::format("SELECT file FROM glob({})", QuoteText(InFolder(pattern))))) {
    files.push_back(row[0].value_or(""));
  }
  return files;
}

struct Closer {
  void operator()(std::FILE* file) const noexcept {
    std::fclose(file);  // NOLINT(*-owning-memory): this is what owns it
  }
};
using Stream = std::unique_ptr<std::FILE, Closer>;

Stream Open(const std::string& path, const std::string& name) {
  Stream stream(std::fopen(path.c_str(), "rb"));
  if (!stream) Refuse(fmt::format("'{}' cannot be opened ({}).", name, std::strerror(errno)));
  return stream;
}

/// Reads a stream from where it is to its end, in chunks of what has arrived.
class ChunkReader {
 public:
  ChunkReader(std::FILE* from, std::string name, const CopyProgress& progress)
      : from_(from), name_(std::move(name)), progress_(progress), chunk_(kChunk, '\0') {}

  /// The next bytes; empty at the end. Valid until the next call.
  std::string_view Next(std::size_t keep = 0) {
    for (;;) {
      if (progress_) progress_(bytes_);
      const std::span<char> room = std::span(chunk_).subspan(keep);
      const std::optional<std::size_t> size = ReadArrived(from_, room, kWait);
      if (!size && errno != 0) {
        Refuse(fmt::format("'{}' cannot be read ({}).", name_, std::strerror(errno)));
      }
      if (!size) continue;
      bytes_ += *size;
      return std::string_view(chunk_).substr(0, keep + *size);
    }
  }

  /// The first bytes, as many as tell the encoding unless there are fewer in all.
  std::string_view First() {
    std::string_view bytes = Next();
    while (bytes.size() < kMark) {
      const std::size_t before = bytes.size();
      bytes = Next(before);
      if (bytes.size() == before) break;
    }
    return bytes;
  }

 private:
  static constexpr std::chrono::milliseconds kWait{100};
  static constexpr std::size_t kMark = 2;

  std::FILE* from_;
  std::string name_;
  const CopyProgress& progress_;
  std::string chunk_;
  std::uint64_t bytes_ = 0;
};

bool HasByteOrderMark(std::string_view bytes) {
  return bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF");
}

/// Whether DuckDB tells from the name that a file is compressed.
bool HasPackedEnding(const std::string& name) {
  return name.ends_with(".gz") || name.ends_with(".zst");
}

/// `compression`: gzip or zstd.
[[noreturn]] void RefuseCompressed(const std::string& name, const std::string& compression) {
  const char* const unpack = compression == "gzip" ? "gunzip -c" : "zstd -dc";
  if (name == kStandardInput) {
    Refuse(
        fmt::format("Standard input is compressed and in another encoding than UTF-8; unpack it "
                    "first: {} | qvreg fit --data - with the same options.",
                    unpack));
  }
  Refuse(
      fmt::format("'{}' is compressed and in another encoding than UTF-8; unpack it first: {} {} "
                  "| qvreg fit --data - with the same options.",
                  name, unpack, ShellWord(name)));
}

[[noreturn]] void RefuseUnknown(const std::string& name, const FileKind& kind) {
  if (!kind.fault.empty()) Refuse(fmt::format("'{}' cannot be read ({}).", name, kind.fault));
  if (!kind.foreign.empty()) Refuse(fmt::format("'{}' is {}.", name, kind.foreign));
  Refuse(
      fmt::format("The kind of '{}' is known neither from its name nor from its first bytes; "
                  "name it with --format csv, tsv, json, parquet, sqlite or duckdb.",
                  name));
}

/// Throws for a file that is compressed otherwise than by gzip or Zstandard.
void CheckCompression(const std::string& name, const FileKind& kind) {
  if (kind.unpacker.empty()) return;
  const char* const by = kind.unpacker == "bzcat" ? "bzip2" : "xz";
  if (name == kStandardInput) {
    Refuse(
        fmt::format("Standard input is compressed by {}; unpack it first: {} | qvreg fit --data "
                    "- with the same options.",
                    by, kind.unpacker));
  }
  Refuse(
      fmt::format("'{}' is compressed by {}; unpack it: {} {} | qvreg fit --data - with the same "
                  "options.",
                  name, by, kind.unpacker, ShellWord(name)));
}

[[noreturn]] void RefuseToWrite(const std::string& folder, const std::string& reason) {
  throw Error(ExitCode::kRunFailed,
              fmt::format("The temporary file in the folder '{}' cannot be written ({}); name "
                          "a folder with more room with --spool-dir.",
                          folder, reason));
}

/// Writes the copy of a file, in UTF-8.
class CopyWriter {
 public:
  CopyWriter(const std::string& path, std::string folder, TextEncoding encoding)
      : folder_(std::move(folder)), to_(std::fopen(path.c_str(), "wb")), converter_(encoding) {
    if (!to_) Fail();
  }

  void Write(std::string_view bytes, const std::string& name) {
    text_.clear();
    if (!converter_.Convert(bytes, text_)) {
      Refuse(
          fmt::format("The byte {} of '{}' is no character in the encoding that --encoding "
                      "names; name another one.",
                      converter_.Position() + 1, name));
    }
    if (std::fwrite(text_.data(), 1, text_.size(), to_.get()) != text_.size()) Fail();
  }

  void Finish(const std::string& name) {
    if (!converter_.IsWhole()) Refuse(fmt::format("'{}' ends within a character.", name));
    if (std::fflush(to_.get()) != 0) Fail();
  }

 private:
  [[noreturn]] void Fail() const { RefuseToWrite(folder_, std::strerror(errno)); }

  std::string folder_;
  Stream to_;
  Utf8Converter converter_;
  std::string text_;
};

struct Use {
  const char* option;
  bool isGiven;
  bool isAllowed;
};

}  // namespace

void CheckFile(const std::string& data) {
  std::error_code error;
  const fs::file_status status = fs::status(data, error);
  if (status.type() == fs::file_type::not_found) RefuseMissing(data);
  if (fs::is_directory(status)) {
    Refuse(fmt::format("'{}' is a folder; name a file in it, or a pattern such as '{}'.", data,
                       (fs::path(data) / "*.csv").string()));
  }
  if (fs::is_regular_file(status) && fs::file_size(data, error) == 0 && !error) {
    Refuse(fmt::format("The file '{}' is empty.", data));
  }
  if (!std::ifstream(data).is_open()) {
    Refuse(fmt::format("The file '{}' cannot be opened; check that you may read it.", data));
  }
}

DataFiles::DataFiles(const std::vector<std::string>& names, const ReadingOptions& options,
                     const std::string& spoolDir, const CopyProgress& progress)
    : options_(options), spoolDir_(FolderForSpool(spoolDir)) {
  for (const std::string& name : names) Add(name, progress);
  CheckOptions();
}

void DataFiles::Add(const std::string& name, const CopyProgress& progress) {
  if (name.find("://") != std::string::npos) {
    Refuse(fmt::format("'{}' is not on this computer; download it and name the file.", name));
  }
  if (IsStandardInput(name) || IsDeviceOrPipe(name)) return AddPipe(name, progress);
  if (IsPattern(name)) return AddPattern(name);
  AddPath(name);
}

void DataFiles::AddPipe(const std::string& name, const CopyProgress& progress) {
  if (!IsStandardInput(name)) {
    const Stream from = Open(name, name);
    return Copy(from.get(), name, name, progress);
  }
  for (const File& file : files_) {
    if (file.name == kStandardInput) Refuse("--data names standard input twice; name it once.");
  }
  Copy(stdin, kStandardInput, "/dev/stdin", progress);
}

void DataFiles::AddPattern(const std::string& pattern) {
  const std::vector<std::string> matches = Matches(pattern);
  if (matches.empty()) Refuse(fmt::format("No file matches the pattern '{}'.", pattern));
  const bool isConverted = options_.encoding && *options_.encoding != TextEncoding::kUtf8;
  const FileFormat format = options_.format.value_or(FormatOfName(pattern));
  const bool isPlain = format == FileFormat::kDelimited || format == FileFormat::kJson ||
                       format == FileFormat::kParquet;
  if (isConverted || !isPlain || (IsCompressedName(pattern) && !HasPackedEnding(pattern))) {
    for (const std::string& match : matches) AddPath(match);
    return;
  }
  AgreeOn(format, pattern);
  for (const std::string& match : matches) {
    if (format != FileFormat::kParquet && Lower(match).ends_with(".gz")) CheckGzip(match, match);
  }
  files_.push_back({pattern, InFolder(pattern), "", pattern, true});
}

void DataFiles::AddPath(const std::string& name) {
  CheckFile(name);
  const bool isConverted = options_.encoding && *options_.encoding != TextEncoding::kUtf8;
  const FileKind kind = InspectFile(name, isConverted);
  CheckCompression(name, kind);
  const FileFormat format = FormatOf(name, kind);
  const bool isText = format == FileFormat::kDelimited || format == FileFormat::kJson;
  if (isText && (isConverted || kind.isUtf16)) {
    if (!kind.compression.empty()) RefuseCompressed(name, kind.compression);
    const Stream from = Open(name, name);
    return Copy(from.get(), name, name, {});
  }
  if (format == FileFormat::kUnknown) RefuseUnknown(name, kind);
  if (isText && kind.holdsZeros) {
    Refuse(fmt::format(
        "Every other byte of '{}' is 0, as in a text in UTF-16; add --encoding utf-16.", name));
  }
  AgreeOn(format, name);
  if (isText && kind.compression == "gzip") CheckGzip(name, name);
  if (!isText || kind.compression.empty() || HasPackedEnding(name)) {
    files_.push_back({name, PlainPattern(name), "", name});
    return;
  }
  const std::string link = NewPath(kind.compression == "gzip" ? ".gz" : ".zst");
  std::error_code error;
  fs::create_symlink(fs::absolute(name, error), link, error);
  if (error) Refuse(fmt::format("'{}' is compressed; rename it so that it ends in .gz.", name));
  files_.push_back({name, PlainPattern(link), link, name});
}

void DataFiles::Copy(std::FILE* from, const std::string& name, const std::string& written,
                     const CopyProgress& progress) {
  ChunkReader reader(from, name, progress);
  std::string_view chunk = reader.First();
  if (chunk.empty()) {
    const bool isStandard = name == kStandardInput;
    Refuse(isStandard ? "Standard input is empty." : fmt::format("The pipe '{}' is empty.", name));
  }
  const bool hasMark = HasByteOrderMark(chunk);
  const TextEncoding encoding =
      options_.encoding.value_or(hasMark ? TextEncoding::kUtf16 : TextEncoding::kUtf8);
  std::string path = NewPath("");
  {
    CopyWriter to(path, spoolDir_, encoding);
    for (; !chunk.empty(); chunk = reader.Next()) to.Write(chunk, name);
    to.Finish(name);
  }
  const FileKind kind = InspectFile(path, false);
  CheckCompression(name, kind);
  if (!kind.compression.empty()) {
    if (encoding != TextEncoding::kUtf8) RefuseCompressed(name, kind.compression);
    if (kind.compression == "gzip") CheckGzip(path, name);
    const std::string packed = path + (kind.compression == "gzip" ? ".gz" : ".zst");
    std::error_code error;
    fs::rename(path, packed, error);
    if (error) RefuseToWrite(spoolDir_, error.message());
    path = packed;
  }
  const FileFormat format = FormatOf(name, kind);
  if (format == FileFormat::kUnknown) RefuseUnknown(name, kind);
  AgreeOn(format, name);
  files_.push_back({name, PlainPattern(path), path, written});
}

FileFormat DataFiles::FormatOf(const std::string& name, const FileKind& kind) const {
  if (options_.format) return *options_.format;
  if (!kind.foreign.empty()) return FileFormat::kUnknown;
  if (kind.format == FileFormat::kSqlite) return kind.format;
  const bool mayBeDatabase = Lower(fs::path(name).extension().string()) == ".db";
  if (mayBeDatabase) return FileFormat::kDatabase;
  const FileFormat named = FormatOfName(name);
  return named == FileFormat::kUnknown ? kind.format : named;
}

void DataFiles::AgreeOn(FileFormat format, const std::string& name) {
  const bool isFirst = files_.empty();
  if (!isFirst && format != format_) {
    Refuse(
        fmt::format("--data names files of two formats: '{}' is {}, and '{}' is {}. Name files "
                    "of one format, or join them with --sql.",
                    files_.front().name, FormatText(format_), name, FormatText(format)));
  }
  format_ = format;
  const bool isDatabase = format == FileFormat::kDatabase || format == FileFormat::kSqlite;
  if (!isFirst && isDatabase) {
    Refuse(fmt::format("A database is read alone, and --data names '{}' and '{}'; name one.",
                       files_.front().name, name));
  }
}

void DataFiles::CheckOptions() const {
  const bool isDelimited = format_ == FileFormat::kDelimited;
  const bool isText = isDelimited || format_ == FileFormat::kJson;
  for (const Use& use : {Use{"--delim", !options_.delimiter.empty(), isDelimited},
                         Use{"--header", options_.header.has_value(), isDelimited},
                         Use{"--decimal", options_.decimal.has_value(), isDelimited},
                         Use{"--thousands", !options_.thousands.empty(), isDelimited},
                         Use{"--encoding", options_.encoding.has_value(), isText}}) {
    if (!use.isGiven || use.isAllowed) continue;
    Refuse(fmt::format("{} is for {} files; '{}' is {}.", use.option,
                       std::string_view(use.option) == "--encoding" ? "text" : "CSV and TSV",
                       files_.front().name, FormatText(format_)));
  }
  if (options_.types.empty() || isText || format_ == FileFormat::kSqlite) return;
  Refuse(
      fmt::format("--types is for text files and SQLite databases; '{}' is {}, whose columns "
                  "have types. Write cast(x as double) in the formula.",
                  files_.front().name, FormatText(format_)));
}

std::string DataFiles::NewPath(const std::string& ending) {
  if (!folder_) folder_ = MakeSpoolFolder(spoolDir_);
  ++copies_;
  return (folder_->Path() / fmt::format("input-{}{}", copies_, ending)).string();
}

std::string DataFiles::Name() const {
  std::string text;
  for (std::size_t i = 0; i < std::min(files_.size(), kMostNamesToShow); ++i) {
    text += (i == 0 ? "" : ", ") + files_[i].name;
  }
  if (files_.size() > kMostNamesToShow) {
    text += fmt::format(" and {} more", files_.size() - kMostNamesToShow);
  }
  return text;
}

std::string DataFiles::Sql() const {
  if (files_.size() == 1) return QuoteText(files_.front().path);
  std::string list;
  for (const File& file : files_) list += (list.empty() ? "" : ", ") + QuoteText(file.path);
  return "[" + list + "]";
}

const std::string& DataFiles::Path() const {
  const File& file = files_.front();
  return file.copy.empty() ? file.name : file.copy;
}

bool DataFiles::AreSeveral() const { return files_.size() > 1 || files_.front().isPattern; }

std::string DataFiles::WithNames(std::string text) const {
  for (const File& file : files_) {
    if (file.copy.empty()) continue;
    for (std::size_t at = text.find(file.copy); at != std::string::npos;
         at = text.find(file.copy, at + file.name.size())) {
      text.replace(at, file.copy.size(), file.name);
    }
  }
  return text;
}

void DataFiles::AddTo(InputFiles& inputs) const {
  for (const File& file : files_) {
    if (!file.isPattern) inputs.Add(file.written);
  }
}

}  // namespace qvhost
