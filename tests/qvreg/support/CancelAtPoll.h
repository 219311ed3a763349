#pragma once

#include <cstddef>
#include <thread>
#include <utility>
#include <vector>

#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/data/QvQueryCancel.h"
#include "tests/qvreg/support/VectorRecordIter.h"

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

/// Cancels a component, borrowed, from another thread when it hands out one record of one pass;
/// both are counted from 1.
class CancellingIter : public VectorRecordIter {
 public:
  CancellingIter(std::vector<QvCommon::Record> records, int pass, std::size_t record)
      : VectorRecordIter(std::move(records)), pass_(pass), record_(record) {}

  void CancelOn(IQvRegComponent& component) { component_ = &component; }
  const QvCommon::Record* Next() override {
    const QvCommon::Record* record = VectorRecordIter::Next();
    if (Passes() == pass_ && Position() == record_) {
      std::thread([this] { component_->Cancel(); }).join();
    }
    return record;
  }

 private:
  int pass_;
  std::size_t record_;
  IQvRegComponent* component_ = nullptr;
};

}  // namespace qvtest
