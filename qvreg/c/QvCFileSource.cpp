#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "qvreg/c/QvCSource.h"

namespace {

/// What a message shows of a path at most, in bytes: reason and advice need the rest.
constexpr std::size_t kLongestPath = 240;

std::string Named(const std::string& path) {
  return "The record file '" + QvCText::Shortened(path, kLongestPath) + "'";
}

[[noreturn]] void Refuse(const std::string& path, const std::string& why) {
  throw QvCRefusal(QVREG_CANNOT_OPEN,
                   Named(path) + " could not be opened for reading (" + why + "); check its path.");
}

/// Throws the refusal for a folder, a pipe or a device. Before it is opened, since opening a pipe
/// waits for its writer.
void RequireFile(const std::filesystem::path& place, const std::string& path) {
  std::error_code unused;
  const std::filesystem::file_status found = std::filesystem::status(place, unused);
  // Opening it reports what is not there, or not known.
  if (!std::filesystem::status_known(found) || !std::filesystem::exists(found)) return;
  if (std::filesystem::is_regular_file(found)) return;
  const bool isFolder = std::filesystem::is_directory(found);
  Refuse(path, std::string("it is no file that can be read several times: it is a ") +
                   (isFolder ? "folder" : "pipe or a device"));
}

std::filesystem::path PathOf(const std::string& utf8) {
  try {
    return std::u8string(utf8.begin(), utf8.end());
  } catch (const std::system_error&) {
    Refuse(utf8, "the path is not UTF-8");
  }
}

bool GoTo(std::FILE* file, std::int64_t byte) {
#if defined(_WIN32)
  return _fseeki64(file, byte, SEEK_SET) == 0;
#else
  return fseeko(file, static_cast<off_t>(byte), SEEK_SET) == 0;
#endif
}

std::FILE* OpenForReading(const std::filesystem::path& path) {
#if defined(_WIN32)
  return _wfopen(path.c_str(), L"rb");
#else
  return std::fopen(path.c_str(), "rb");
#endif
}

struct Close {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Close>;

/// A record file: where it is, what a message calls it, and how long its records are.
struct RecordFile {
  /// `given` is UTF-8 on every system. The place stays the same in another working directory.
  RecordFile(const std::string& given, int size) : path(given), recordSize(size) {
    const std::filesystem::path named = PathOf(given);
    std::error_code unknown;
    place = std::filesystem::absolute(named, unknown);
    if (unknown) place = named;
  }
  [[nodiscard]] std::int64_t RecordBytes() const {
    return std::int64_t{recordSize} * static_cast<std::int64_t>(sizeof(double));
  }

  std::string path;
  std::filesystem::path place;
  int recordSize;
};

File Open(const RecordFile& from) {
  const std::string& path = from.path;
  RequireFile(from.place, path);
  File file(OpenForReading(from.place));
  if (file == nullptr) Refuse(path, QvCText::Utf8(std::generic_category().message(errno)));
  // Blocks are read to where they stay.
  std::setvbuf(file.get(), nullptr, _IONBF, 0);
  if (!GoTo(file.get(), 0)) Refuse(path, "it cannot be read again from its start");
  return file;
}

/// Records from a record file, which it opens and owns, read many at a time.
class FileSource : public QvCSource {
 public:
  /// The records from `begin` to before `end`. Throws the refusal when the file cannot be opened.
  FileSource(RecordFile from, std::int64_t begin, std::int64_t end)
      : QvCSource(from.recordSize),
        fFrom(std::move(from)),
        fBegin(begin),
        fEnd(end),
        fFile(Open(fFrom)),
        // One of two is held back.
        fAtOnce(std::clamp(kBytesAtOnce / fFrom.RecordBytes(), std::int64_t{2},
                           std::max(end - begin, std::int64_t{2}))),
        fRows(Count(fAtOnce) * Count(fFrom.recordSize)) {}

  [[nodiscard]] std::shared_ptr<const QvCRanges> Ranges() const override;

 protected:
  bool Rewind() override {
    fNext = fBegin;
    fNHeld = fNRows = 0;
    std::clearerr(fFile.get());
    if (GoTo(fFile.get(), fBegin * fFrom.RecordBytes())) return true;
    Fail(QVREG_NO_FURTHER_PASS,
         Named(fFrom.path) + " could not be read again from its start for pass " +
             std::to_string(Pass()) + "; check that it can be read several times.");
    return false;
  }
  /// Holds the last record of a full block back, which tells that a record follows the others.
  Ahead Read(QvCommon::QvRecordBlock& block) override {
    if (fNHeld > 0) std::copy_n(RowAt(fNRows - 1), fFrom.recordSize, fRows.data());
    const std::int64_t wanted = std::min(fAtOnce - fNHeld, fEnd - fNext);
    const std::int64_t read = ReadRows(fNHeld, wanted);
    fNext += read;
    fNRows = fNHeld + read;
    const bool isFull = read == wanted && fNext < fEnd;
    fNHeld = isFull ? 1 : 0;
    block = RowsAt(fRows.data(), Count(fNRows - fNHeld));
    if (isFull) return Ahead::kRecord;
    if (read == wanted) return Ahead::kEnd;
    return fNRows == 0 ? LookAhead() : Ahead::kUnknown;
  }
  Ahead LookAhead() override {
    if (!fbBroken) return Ahead::kEnd;
    Fail(QVREG_UNREADABLE_RECORD, Named(fFrom.path) + " ends within " + Place() +
                                      ", or could not be read there; check that each record has " +
                                      std::to_string(RecordSize()) +
                                      " values and that the file is whole.");
    return Ahead::kFailure;
  }

 private:
  /// Few calls of the system, and still in a near cache.
  static constexpr std::int64_t kBytesAtOnce = std::int64_t{1} << 17;

  static std::size_t Count(std::int64_t number) { return static_cast<std::size_t>(number); }

  double* RowAt(std::int64_t row) { return fRows.data() + row * fFrom.recordSize; }
  /// Reads up to `wanted` records to row `first` on; how many it found whole.
  std::int64_t ReadRows(std::int64_t first, std::int64_t wanted) {
    const std::size_t bytes = Count(fFrom.RecordBytes());
    const std::size_t read = std::fread(RowAt(first), 1, Count(wanted) * bytes, fFile.get());
    fbBroken = read % bytes != 0 || std::ferror(fFile.get()) != 0;
    return static_cast<std::int64_t>(read / bytes);
  }

  RecordFile fFrom;
  std::int64_t fBegin;
  std::int64_t fEnd;
  std::int64_t fNext = 0;
  File fFile;
  std::int64_t fAtOnce;
  std::vector<double> fRows;
  std::int64_t fNRows = 0;
  std::int64_t fNHeld = 0;  ///< The last of them that were not delivered.
  bool fbBroken = false;    ///< The last read ended within a record, or failed.
};

class FileRanges : public QvCRanges {
 public:
  explicit FileRanges(RecordFile from) : fFrom(std::move(from)) {}

  [[nodiscard]] int RecordSize() const override { return fFrom.recordSize; }
  /// A piece of a record at the end is not counted: the last range fails at it.
  [[nodiscard]] std::int64_t Count() const override {
    std::error_code failure;
    const std::uintmax_t size = std::filesystem::file_size(fFrom.place, failure);
    if (failure) Refuse(fFrom.path, QvCText::Utf8(failure.message()));
    return static_cast<std::int64_t>(size) / fFrom.RecordBytes();
  }
  [[nodiscard]] std::unique_ptr<QvCSource> Open(std::int64_t begin,
                                                std::int64_t end) const override {
    return std::make_unique<FileSource>(fFrom, begin, end);
  }

 private:
  RecordFile fFrom;
};

std::shared_ptr<const QvCRanges> FileSource::Ranges() const {
  return std::make_shared<FileRanges>(fFrom);
}

}  // namespace

std::unique_ptr<QvCSource> QvCOpenFile(const char* path, int recordSize) {
  return std::make_unique<FileSource>(RecordFile(path, recordSize), 0, QvCRanges::kToTheLast);
}
