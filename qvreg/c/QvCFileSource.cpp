#include "qvreg/c/QvCFileSource.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "qvreg/c/QvCRefusal.h"
#include "qvreg/c/QvCText.h"

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

/// Throws the refusal for what is there and no file. Before it is opened, since opening a pipe
/// waits for the one who writes to it.
void RequireFile(const std::filesystem::path& place, const std::string& path) {
  std::error_code unused;
  const std::filesystem::file_status found = std::filesystem::status(place, unused);
  // What is not there, or not known, is the opening's to judge.
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

bool GoToStart(std::FILE* file) { return std::fseek(file, 0, SEEK_SET) == 0; }

std::FILE* OpenForReading(const std::filesystem::path& path) {
#if defined(_WIN32)
  return _wfopen(path.c_str(), L"rb");
#else
  return std::fopen(path.c_str(), "rb");
#endif
}

}  // namespace

void QvCFileSource::Close::operator()(std::FILE* file) const { std::fclose(file); }

QvCFileSource::File QvCFileSource::Open(const std::string& path) {
  const std::filesystem::path place = PathOf(path);
  RequireFile(place, path);
  File file(OpenForReading(place));
  if (file == nullptr) Refuse(path, QvCText::Utf8(std::generic_category().message(errno)));
  if (!GoToStart(file.get())) Refuse(path, "it cannot be read again from its start");
  return file;
}

QvCFileSource::QvCFileSource(const std::string& path, int recordSize)
    : QvCSource(recordSize), fPath(path), fFile(Open(path)), fRecords(fFile.get(), recordSize) {}

bool QvCFileSource::Rewind() {
  // Looked at here, since the iterator would go on where the file stands.
  if (GoToStart(fFile.get())) {
    // A file that ends at once, or cannot be read, shows at its first record.
    fRecords.NewPass();
    return true;
  }
  Fail(QVREG_NO_FURTHER_PASS, Named(fPath) + " could not be read again from its start for pass " +
                                  std::to_string(Pass()) +
                                  "; check that it can be read several times.");
  return false;
}

QvCSource::Answer QvCFileSource::Read(QvCommon::Record& record) {
  if (const QvCommon::Record* read = fRecords.Next(); read != nullptr) {
    std::copy_n(read->GetAll(), RecordSize(), record.GetAll());
    return Answer::kRecord;
  }
  if (fRecords.GetFailReason() == QvCommon::kIterEndOfData) return Answer::kEnd;
  Fail(QVREG_UNREADABLE_RECORD, Named(fPath) + " ends within " + Place() +
                                    ", or could not be read there; check that each record has " +
                                    std::to_string(RecordSize()) +
                                    " values and that the file is whole.");
  return Answer::kFailed;
}
