#include "qvreg/c/QvCSource.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <new>
#include <system_error>
#include <vector>

#include "qvreg/data/BinaryRecordIterator.h"

using QvCCheck::NotNull;
using QvCCheck::PositiveSize;
using QvCCheck::Valid;

QvCSource::QvCSource(int recordSize)
    : fRecordSize(recordSize), fCurrent(recordSize), fNext(recordSize) {
  if (fCurrent.Size() != recordSize || fNext.Size() != recordSize) throw std::bad_alloc();
}

const QvCommon::Record* QvCSource::Next() {
  if (fAhead != Ahead::kRecord) return nullptr;
  std::swap(fCurrent, fNext);
  ++fDelivered;
  ReadAhead();
  return &fCurrent;
}

int QvCSource::NewPass() {
  ++fPass;
  fDelivered = 0;
  fFailure = QvCReport();
  fAhead = Ahead::kEnd;
  fFailReason = QvCommon::kIterNoRewind;
  if (!Guard(false, [this] { return Rewind(); })) {
    if (!fRefusal.IsError()) fRefusal = fFailure;
    return fFailReason;
  }
  fbStarted = true;
  ReadAhead();
  return fFailReason;
}

void QvCSource::ReadAhead() {
  fAhead = Guard(Ahead::kFailure, [this] { return Read(fNext); });
  switch (fAhead) {
    case Ahead::kRecord:
      fFailReason = QvCommon::kIterOk;
      return;
    case Ahead::kEnd:
      fFailReason = QvCommon::kIterEndOfData;
      return;
    case Ahead::kFailure:
      fFailReason = QvCommon::kIterReadError;
      return;
  }
}

template <typename Result, typename Step>
Result QvCSource::Guard(Result failed, Step&& step) {
  try {
    return step();
  } catch (const QvCRefusal& refusal) {
    FailBy(refusal.Report());
  } catch (const std::bad_alloc&) {
    FailBy(QvCReport(QVREG_OUT_OF_MEMORY));
  }
  return failed;
}

void QvCSource::FailBy(QvCReport report) {
  report.SetDiscrete(0, fDelivered + 1);
  report.SetDiscrete(1, fPass);
  fFailure = report;
}

std::string QvCSource::Place() const {
  return "record " + std::to_string(fDelivered + 1) + " of pass " + std::to_string(fPass);
}

void QvCSource::Fail(std::int32_t code, const std::string& message) {
  FailBy(QvCReport(code, message));
}

void QvCSource::Fail(std::int32_t code, const std::string& message, std::int32_t returned) {
  Fail(code, message);
  fFailure.SetDiscrete(2, returned);
}

namespace {

/// Records from the host's callbacks, which it copies; what they use is the host's.
class CallbackSource : public QvCSource {
 public:
  CallbackSource(const qvreg_record_callbacks& callbacks, int recordSize)
      : QvCSource(recordSize), fCallbacks(callbacks) {}

 protected:
  bool Rewind() override {
    if (fCallbacks.rewind == nullptr) {
      if (!WasStarted()) return true;
      Fail(QVREG_NO_FURTHER_PASS,
           "The record source has no rewind callback and was read once; estimation reads its "
           "records several times, so give it one.");
      return false;
    }
    const std::int32_t returned =
        QvCHostCall("rewind", [this] { return fCallbacks.rewind(fCallbacks.user); });
    if (returned == 0) return true;
    Fail(QVREG_NO_FURTHER_PASS,
         "The record source could not start pass " + std::to_string(Pass()) +
             ": its rewind callback returned " + std::to_string(returned) +
             "; check the host's data.",
         returned);
    return false;
  }
  Ahead Read(QvCommon::Record& record) override {
    const std::int32_t returned = QvCHostCall("next", [&] {
      return fCallbacks.next(fCallbacks.user, record.GetAll(), fCallbacks.record_size);
    });
    if (returned == QVREG_NEXT_RECORD) return Ahead::kRecord;
    if (returned == QVREG_NEXT_END) return Ahead::kEnd;
    Fail(QVREG_UNREADABLE_RECORD,
         "The record source failed at " + Place() + ": its next callback returned " +
             std::to_string(returned) + "; check the host's data.",
         returned);
    return Ahead::kFailure;
  }

 private:
  qvreg_record_callbacks fCallbacks;
};

/// Records from columns in the host's memory, which it borrows.
class ColumnSource : public QvCSource {
 public:
  /// REQUIRES: at least one column, none with null values unless there are no records.
  ColumnSource(std::vector<qvreg_column> columns, std::size_t nRecords)
      : QvCSource(static_cast<int>(columns.size())),
        fColumns(std::move(columns)),
        fNRecords(nRecords) {}

 protected:
  bool Rewind() override {
    fPosition = 0;
    return true;
  }
  Ahead Read(QvCommon::Record& record) override {
    if (fPosition == fNRecords) return Ahead::kEnd;
    double* value = record.GetAll();
    const auto position = static_cast<std::ptrdiff_t>(fPosition);
    for (const qvreg_column& column : fColumns) *value++ = column.values[position * column.stride];
    ++fPosition;
    return Ahead::kRecord;
  }

 private:
  std::vector<qvreg_column> fColumns;
  std::size_t fNRecords;
  std::size_t fPosition = 0;
};

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

bool GoToStart(std::FILE* file) { return std::fseek(file, 0, SEEK_SET) == 0; }

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

File Open(const std::string& path) {
  const std::filesystem::path place = PathOf(path);
  RequireFile(place, path);
  File file(OpenForReading(place));
  if (file == nullptr) Refuse(path, QvCText::Utf8(std::generic_category().message(errno)));
  if (!GoToStart(file.get())) Refuse(path, "it cannot be read again from its start");
  return file;
}

/// Records from a record file, which it opens and owns.
class FileSource : public QvCSource {
 public:
  /// `path` is UTF-8 on every system. Throws the refusal when the file cannot be opened.
  FileSource(const std::string& path, int recordSize)
      : QvCSource(recordSize), fPath(path), fFile(Open(path)), fRecords(fFile.get(), recordSize) {}

 protected:
  bool Rewind() override {
    // Checked here, since the iterator would go on from where the file is.
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
  Ahead Read(QvCommon::Record& record) override {
    if (const QvCommon::Record* read = fRecords.Next(); read != nullptr) {
      std::copy_n(read->GetAll(), RecordSize(), record.GetAll());
      return Ahead::kRecord;
    }
    if (fRecords.GetFailReason() == QvCommon::kIterEndOfData) return Ahead::kEnd;
    Fail(QVREG_UNREADABLE_RECORD, Named(fPath) + " ends within " + Place() +
                                      ", or could not be read there; check that each record has " +
                                      std::to_string(RecordSize()) +
                                      " values and that the file is whole.");
    return Ahead::kFailure;
  }

 private:
  std::string fPath;
  File fFile;
  QvCommon::BinaryRecordIterator fRecords;
};

void StartPass(QvCSource& source) {
  source.StartCall();
  source.NewPass();
  if (source.HasFailed()) throw QvCRefusal(source.Failure());
}

}  // namespace

int32_t qvreg_source_create_callbacks(const qvreg_record_callbacks* callbacks,
                                      qvreg_source** source, qvreg_error* error) {
  return QvCCall(error, [&] {
    const qvreg_record_callbacks from = QvCStruct::Take(callbacks, "callbacks");
    if (from.next == nullptr) {
      throw QvCRefusal(QVREG_NULL_POINTER,
                       "The callback next is null; a source needs it to get its records.");
    }
    const int size = PositiveSize(from.record_size, "record_size");
    QvCMake(source, "source", std::make_unique<CallbackSource>(from, size));
  });
}

int32_t qvreg_source_create_columns(const qvreg_column* columns, size_t n_columns, size_t n_records,
                                    qvreg_source** source, qvreg_error* error) {
  return QvCCall(error, [&] {
    NotNull(columns, "columns");
    PositiveSize(n_columns, "n_columns");
    std::vector<qvreg_column> all(columns, columns + n_columns);
    const auto empty = std::find_if(all.begin(), all.end(), [](const qvreg_column& column) {
      return column.values == nullptr;
    });
    if (n_records > 0 && empty != all.end()) {
      throw QvCRefusal(QVREG_NULL_POINTER, "Column " + std::to_string(empty - all.begin()) +
                                               " has null values; point it to its first one.");
    }
    QvCMake(source, "source", std::make_unique<ColumnSource>(std::move(all), n_records));
  });
}

int32_t qvreg_source_open_file(const char* path, size_t record_size, qvreg_source** source,
                               qvreg_error* error) {
  return QvCCall(error, [&] {
    NotNull(path, "path");
    const int size = PositiveSize(record_size, "record_size");
    QvCMake(source, "source", std::make_unique<FileSource>(path, size));
  });
}

void qvreg_source_destroy(qvreg_source* source) { QvCDestroy(source); }

int32_t qvreg_source_rewind(qvreg_source* source, qvreg_error* error) {
  return QvCCall(error, [&] {
    const std::shared_ptr<QvCSource> records = Valid(source).fSource;
    const QvCInUse use = records->Use();
    StartPass(*records);
  });
}

int32_t qvreg_source_next(qvreg_source* source, double* record, size_t capacity,
                          int32_t* has_record, qvreg_error* error) {
  return QvCCall(error, [&] {
    const std::shared_ptr<QvCSource> records = Valid(source).fSource;
    QvCSource& from = *records;
    NotNull(record, "record");
    NotNull(has_record, "has_record");
    const QvCList list(static_cast<size_t>(from.RecordSize()), capacity, nullptr);
    if (!list.IsWanted(record)) return;
    const QvCInUse use = from.Use();
    if (!from.WasStarted() && !from.HasFailed()) StartPass(from);
    const QvCommon::Record* next = from.Next();
    // Not before the records that were read ahead of the failure.
    if (next == nullptr && from.HasFailed()) throw QvCRefusal(from.Failure());
    if (next != nullptr) std::copy_n(next->GetAll(), from.RecordSize(), record);
    *has_record = next != nullptr ? 1 : 0;
  });
}
