#include "qvreg/c/qvreg_c_source.h"

#include <algorithm>
#include <string>

#include "qvreg/c/QvCCall.h"
#include "qvreg/c/QvCCallbackSource.h"
#include "qvreg/c/QvCCheck.h"
#include "qvreg/c/QvCColumnSource.h"
#include "qvreg/c/QvCFileSource.h"
#include "qvreg/c/QvCHandles.h"
#include "qvreg/c/QvCList.h"
#include "qvreg/c/QvCStruct.h"

using QvCCheck::NotNull;
using QvCCheck::PositiveSize;
using QvCCheck::Valid;

namespace {

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
    HandOut(source, "source", std::make_unique<QvCCallbackSource>(from, size));
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
    HandOut(source, "source", std::make_unique<QvCColumnSource>(std::move(all), n_records));
  });
}

int32_t qvreg_source_open_file(const char* path, size_t record_size, qvreg_source** source,
                               qvreg_error* error) {
  return QvCCall(error, [&] {
    NotNull(path, "path");
    const int size = PositiveSize(record_size, "record_size");
    HandOut(source, "source", std::make_unique<QvCFileSource>(path, size));
  });
}

void qvreg_source_destroy(qvreg_source* source) { DestroyHandle(source); }

int32_t qvreg_source_get_record_size(const qvreg_source* source, size_t* record_size,
                                     qvreg_error* error) {
  return QvCCall(error, [&] {
    const int size = Valid(source).fSource->RecordSize();
    NotNull(record_size, "record_size") = static_cast<size_t>(size);
  });
}

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
