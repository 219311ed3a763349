#pragma once

#include "qvreg/c/QvCHostCall.h"
#include "qvreg/c/qvreg_c_settings.h"
#include "qvreg/data/QvCancelInfo.h"

/// Asks a host's callback whether a run goes on.
class QvCQueryCancel : public QvQueryCancel {
 public:
  /// `user` is the host's, as long as the callback is.
  QvCQueryCancel(qvreg_cancel_callback callback, void* user) : fCallback(callback), fUser(user) {}

  bool QueryCancel() override { return Ask(); }
  bool QueryWillCancel() override { return Ask(); }

  [[nodiscard]] qvreg_cancel_callback Callback() const { return fCallback; }
  [[nodiscard]] void* User() const { return fUser; }

 private:
  [[nodiscard]] bool Ask() const {
    return QvCHostCall("cancel", [this] { return fCallback(fUser); }) != 0;
  }

  qvreg_cancel_callback fCallback;
  void* fUser;
};
