#pragma once

#include <string>

#include "qvreg/c/QvCRefusal.h"

/// Marks a component or a source as in use, for the length of a call that may call the host back.
/// Throws the refusal when it is in use already: by the call that the callback was made from.
class QvCInUse {
 public:
  /// `what` names it in the message. REQUIRES: the mark outlives this object.
  QvCInUse(bool& mark, const char* what) : fMark(mark) {
    if (mark) {
      throw QvCRefusal(QVREG_BAD_ARGUMENT,
                       std::string("The ") + what +
                           " is in use by the call that made this callback; on its handles a "
                           "callback may only cancel.");
    }
    mark = true;
  }
  QvCInUse(const QvCInUse&) = delete;
  QvCInUse& operator=(const QvCInUse&) = delete;
  ~QvCInUse() { fMark = false; }

 private:
  bool& fMark;
};
