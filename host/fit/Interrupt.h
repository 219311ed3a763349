#pragma once

#include "qvreg/data/QvQueryCancel.h"

namespace qvhost {

/// Notices Ctrl-C (SIGINT) while it lives, instead of letting it end the process, and answers the
/// library's question whether to stop. A SIGINT that was ignored when it was made stays ignored.
///
/// At most one at a time. Requested() may be asked from any thread; the rest belongs to one.
class Interrupt : public QvQueryCancel {
 public:
  Interrupt();
  ~Interrupt() override;
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;

  /// True once Ctrl-C was pressed; stays true.
  [[nodiscard]] bool Requested() const noexcept;

  bool QueryCancel() override { return Requested(); }
  bool QueryWillCancel() override { return Requested(); }

 private:
  using Handler = void (*)(int);
  Handler previous_;
};

}  // namespace qvhost
