#pragma once

#include "qvreg/c/qvreg_c_settings.h"
#include "qvreg/component/ProgressListener.h"

/// Hands the reports of an estimation to a host's callback.
class QvCProgressListener : public ProgressListener {
 public:
  /// `user` is the host's, as long as the callback is.
  QvCProgressListener(qvreg_progress_callback callback, void* user)
      : fCallback(callback), fUser(user) {}

  void ReportProgress(ProgressReport* report) override;

  [[nodiscard]] qvreg_progress_callback Callback() const { return fCallback; }
  [[nodiscard]] void* User() const { return fUser; }

 private:
  qvreg_progress_callback fCallback;
  void* fUser;
};
