#include "qvreg/c/QvCPasses.h"

#include <memory>
#include <string>
#include <utility>

#include "qvreg/c/QvCComponent.h"
#include "qvreg/c/QvCSettings.h"
#include "qvreg/component/QvModelContents.h"
#include "qvreg/component/QvModelMessage.h"
#include "qvreg/component/QvModelText.h"
#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/settings/QvSettingsMessage.h"

using QvCCheck::NotNegative;
using QvCCheck::NotNull;
using QvCCheck::Valid;
using QvCommon::QvStatus;

namespace {

/// Makes bytes for the host of what `fill(bytes)`, which returns a report, leaves in them.
template <typename Fill>
QvCReport MakeBytes(qvreg_bytes** place, const char* name, Fill&& fill) {
  // Before anything is computed.
  NotNull(place, name);
  QvCBytes bytes;
  const QvCReport report = fill(bytes);
  if (!report.IsError()) QvCMake(place, name, std::move(bytes));
  return report;
}

/// Makes bytes of the built model of a component: what `write(component, bytes)` makes of it.
template <typename Write>
QvCReport MakeModel(const qvreg_component* component, qvreg_bytes** place, const char* name,
                    Write&& write) {
  QvCRun& run = *Valid(component).fRun;
  const QvCInUse use = run.Use();
  return MakeBytes(place, name, [&](QvCBytes& written) {
    const QvCReport status = run.Status();
    return status.IsError() ? status : QvCReport(write(run.Component(), written));
  });
}

/// Makes a component of the contents that `read(contents)` reads from a host's `kind` of model.
template <typename Read>
QvCReport Restore(qvreg_component** component, const std::string& kind, Read&& read) {
  NotNull(component, "component");
  QvModelContents contents;
  QvStatus status = read(contents);
  std::unique_ptr<IQvRegComponent> restored;
  if (!status.IsError()) {
    QvRegFactory factory;
    restored.reset(factory.RestoreComponent(contents));
    status = factory.GetStatus();
  }
  if (status.GetCode() == QVREG_UNREADABLE_MESSAGE) {
    return {QVREG_UNREADABLE_MESSAGE,
            "The " + kind + (kind == "text" ? " is" : " are") +
                " no model, damaged, or of a version of the library that this one cannot read; "
                "write the model again."};
  }
  const QvCReport report(status);
  if (!report.IsError()) {
    QvCMake(component, "component", std::make_shared<QvCRun>(std::move(restored)));
  }
  return report;
}

}  // namespace

QvCReport QvCWorker::Run(const QvCBytes& request, int part, QvCSource& source, QvCBytes& answer) {
  const QvCInUse use = Use();
  const QvCInUse sourceUse = source.Use();
  QvCThrowingIter records(source, 1, 0);
  return QvCReport(fWorker.Run(request, part, records, answer));
}

QvCReport QvCWorker::Merge(const QvCBytes& request, const QvCBytes& first, const QvCBytes& second,
                           QvCBytes& merged) {
  const QvCInUse use = Use();
  return QvCReport(fWorker.Merge(request, first, second, merged));
}

int32_t qvreg_bytes_create(const uint8_t* data, size_t size, qvreg_bytes** bytes,
                           qvreg_error* error) {
  return QvCCall(error, [&] {
    if (size > 0) NotNull(data, "data");
    QvCMake(bytes, "bytes", size > 0 ? QvCBytes(data, data + size) : QvCBytes());
  });
}

void qvreg_bytes_destroy(qvreg_bytes* bytes) { QvCDestroy(bytes); }

int32_t qvreg_bytes_get_data(const qvreg_bytes* bytes, const uint8_t** data, size_t* size,
                             qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCBytes& from = *Valid(bytes).fBytes;
    NotNull(data, "data");
    NotNull(size, "size") = from.size();
    *data = from.data();
  });
}

int32_t qvreg_settings_write(const qvreg_settings* settings, qvreg_bytes** bytes,
                             qvreg_error* error) {
  return QvCCall(error, [&] {
    QvRegSettings& from = Valid(settings).fSettings.Get();
    return MakeBytes(bytes, "bytes", [&](QvCBytes& written) {
      const QvStatus status = from.IsValidSettings();
      return QvCReport(status.IsError() ? status : QvSettingsMessage::Write(from, written));
    });
  });
}

int32_t qvreg_settings_read(const qvreg_bytes* bytes, qvreg_settings** settings,
                            qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCBytes& from = *Valid(bytes).fBytes;
    NotNull(settings, "settings");
    std::unique_ptr<QvRegSettings> read;
    const QvCReport report(QvSettingsMessage::Read(from, read));
    if (report.Code() == QVREG_UNREADABLE_MESSAGE) {
      return QvCReport(QVREG_UNREADABLE_MESSAGE,
                       "The bytes are no settings, damaged, or of another version; write the "
                       "settings again, with this version of the library.");
    }
    if (!report.IsError()) QvCMake(settings, "settings", QvCSettings(std::move(read)));
    return report;
  });
}

int32_t qvreg_component_write(const qvreg_component* component, qvreg_bytes** model,
                              qvreg_error* error) {
  return QvCCall(error, [&] {
    return MakeModel(component, model, "model", [](IQvRegComponent& from, QvCBytes& written) {
      return from.WriteModel(written);
    });
  });
}

int32_t qvreg_component_restore(const qvreg_bytes* model, qvreg_component** component,
                                qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCBytes& from = *Valid(model).fBytes;
    return Restore(component, "bytes",
                   [&](QvModelContents& contents) { return QvModelMessage::Read(from, contents); });
  });
}

int32_t qvreg_component_write_text(const qvreg_component* component, qvreg_bytes** text,
                                   qvreg_error* error) {
  return QvCCall(error, [&] {
    return MakeModel(component, text, "text", [](IQvRegComponent& from, QvCBytes& written) {
      QvModelContents contents;
      std::string lines;
      QvStatus status = from.WriteModel(written);
      if (!status.IsError()) status = QvModelMessage::Read(written, contents);
      if (!status.IsError()) status = QvModelText::Write(contents, lines);
      written.assign(lines.begin(), lines.end());
      return status;
    });
  });
}

int32_t qvreg_component_restore_text(const qvreg_bytes* text, qvreg_component** component,
                                     qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCBytes& from = *Valid(text).fBytes;
    return Restore(component, "text", [&](QvModelContents& contents) {
      return QvModelText::Read(std::string(from.begin(), from.end()), contents);
    });
  });
}

int32_t qvreg_worker_create(qvreg_worker** worker, qvreg_error* error) {
  return QvCCall(error, [&] { QvCMake(worker, "worker"); });
}

void qvreg_worker_destroy(qvreg_worker* worker) { QvCDestroy(worker); }

int32_t qvreg_worker_run(qvreg_worker* worker, const qvreg_bytes* request, int32_t part,
                         qvreg_source* source, qvreg_bytes** answer, qvreg_error* error) {
  return QvCCall(error, [&] {
    const std::shared_ptr<QvCWorker> with = Valid(worker).fWorker;
    const std::shared_ptr<const QvCBytes> asked = Valid(request).fBytes;
    const std::shared_ptr<QvCSource> records = Valid(source).fSource;
    NotNegative(part, "part");
    return MakeBytes(answer, "answer",
                     [&](QvCBytes& bytes) { return with->Run(*asked, part, *records, bytes); });
  });
}

int32_t qvreg_worker_merge(qvreg_worker* worker, const qvreg_bytes* request,
                           const qvreg_bytes* first, const qvreg_bytes* second,
                           qvreg_bytes** merged, qvreg_error* error) {
  return QvCCall(error, [&] {
    QvCWorker& with = *Valid(worker).fWorker;
    const QvCBytes& asked = *Valid(request).fBytes;
    const QvCBytes& lower = *Valid(first).fBytes;
    const QvCBytes& higher = *Valid(second).fBytes;
    return MakeBytes(merged, "merged",
                     [&](QvCBytes& bytes) { return with.Merge(asked, lower, higher, bytes); });
  });
}

int32_t qvreg_worker_cancel(qvreg_worker* worker, qvreg_error* error) {
  return QvCCall(error, [&] { Valid(worker).fWorker->Cancel(); });
}

int32_t qvreg_settings_set_runner(qvreg_settings* settings, qvreg_runner_callback callback,
                                  void* user, qvreg_error* error) {
  return QvCCall(error, [&] {
    QvCSettings& to = Valid(settings).fSettings;
    to.SetRunner(callback == nullptr ? nullptr : QvCPlanCallback(callback, user));
  });
}

int32_t qvreg_settings_set_threads(qvreg_settings* settings, const qvreg_source* source,
                                   int32_t threads, int64_t memory_bytes, qvreg_error* error) {
  return QvCCall(error, [&] {
    QvCSettings& to = Valid(settings).fSettings;
    std::shared_ptr<const QvCRanges> ranges = Valid(source).fSource->Ranges();
    if (ranges == nullptr) {
      throw QvCRefusal(QVREG_BAD_ARGUMENT,
                       "Threads cannot share a source of callbacks, whose records come one after "
                       "the other; pass one of columns or of a record file, or set a runner.");
    }
    NotNegative(threads, "threads");
    NotNegative(memory_bytes, "memory_bytes");
    to.SetRunner(QvCPlanThreads(std::move(ranges), threads, memory_bytes));
  });
}
