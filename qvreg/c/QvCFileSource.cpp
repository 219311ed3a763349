#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "qvreg/c/QvCSource.h"
#include "qvreg/data/BinaryRecordIterator.h"

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
  if (!GoTo(file.get(), 0)) Refuse(path, "it cannot be read again from its start");
  return file;
}

/// Records from a record file, which it opens and owns.
class FileSource : public QvCSource {
 public:
  /// The records from `begin` to before `end`. Throws the refusal when the file cannot be opened.
  FileSource(RecordFile from, std::int64_t begin, std::int64_t end)
      : QvCSource(from.recordSize),
        fFrom(std::move(from)),
        fBegin(begin),
        fEnd(end),
        fFile(Open(fFrom)) {}

  [[nodiscard]] std::shared_ptr<const QvCRanges> Ranges() const override;

 protected:
  bool Rewind() override {
    fNext = fBegin;
    if (GoTo(fFile.get(), fBegin * fFrom.RecordBytes())) {
      // It goes on from where the file is. A file that ends there, or cannot be read, shows at its
      // first record.
      fRecords.emplace(fFile.get(), RecordSize());
      const bool hasRead = std::feof(fFile.get()) != 0 || std::ferror(fFile.get()) != 0;
      if (fRecords->GetFailReason() == QvCommon::kIterReadError && !hasRead) throw std::bad_alloc();
      return true;
    }
    Fail(QVREG_NO_FURTHER_PASS,
         Named(fFrom.path) + " could not be read again from its start for pass " +
             std::to_string(Pass()) + "; check that it can be read several times.");
    return false;
  }
  Ahead Read(QvCommon::Record& record) override {
    if (fNext == fEnd) return Ahead::kEnd;
    if (const QvCommon::Record* read = fRecords->Next(); read != nullptr) {
      std::copy_n(read->GetAll(), RecordSize(), record.GetAll());
      ++fNext;
      return Ahead::kRecord;
    }
    if (fRecords->GetFailReason() == QvCommon::kIterEndOfData) return Ahead::kEnd;
    Fail(QVREG_UNREADABLE_RECORD, Named(fFrom.path) + " ends within " + Place() +
                                      ", or could not be read there; check that each record has " +
                                      std::to_string(RecordSize()) +
                                      " values and that the file is whole.");
    return Ahead::kFailure;
  }

 private:
  RecordFile fFrom;
  std::int64_t fBegin;
  std::int64_t fEnd;
  std::int64_t fNext = 0;
  File fFile;
  std::optional<QvCommon::BinaryRecordIterator> fRecords;
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
