#pragma once

#include "qvreg/c/QvCHostCall.h"
#include "qvreg/c/QvCProgress.h"
#include "qvreg/c/qvreg_c_settings.h"
#include "qvreg/component/ProgressListener.h"

/// Hands the reports of an estimation to a host's callback.
///
/// It has no source: from one, GCC 12 exports for Windows the type information of every class that
/// it meets there.
class QvCProgressListener : public ProgressListener {
 public:
  /// `user` is the host's, as long as the callback is.
  QvCProgressListener(qvreg_progress_callback callback, void* user)
      : fCallback(callback), fUser(user) {}

  void ReportProgress(ProgressReport* report) override {
    if (report == nullptr) return;
    const qvreg_progress progress = QvCProgressOf(*report);
    QvCHostCall("progress", [&] { fCallback(fUser, &progress); });
  }

  [[nodiscard]] qvreg_progress_callback Callback() const { return fCallback; }
  [[nodiscard]] void* User() const { return fUser; }

 private:
  qvreg_progress_callback fCallback;
  void* fUser;
};
