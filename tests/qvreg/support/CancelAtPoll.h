#pragma once

#include "qvreg/data/QvQueryCancel.h"

namespace qvtest {

/// A host's cancel query that says yes exactly once: at the n-th question of either kind, counted
/// from 1; never for n = 0.
class CancelAtPoll final : public QvQueryCancel {
 public:
  explicit CancelAtPoll(int poll) : poll_(poll) {}

  bool QueryCancel() override { return Answer(); }
  bool QueryWillCancel() override { return Answer(); }

  /// How often it was asked.
  [[nodiscard]] int Polls() const { return polls_; }

 private:
  bool Answer() { return ++polls_ == poll_; }

  int poll_;
  int polls_ = 0;
};

}  // namespace qvtest
