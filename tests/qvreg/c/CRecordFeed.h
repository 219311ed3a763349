#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "qvreg/common/Record.h"
#include "tests/qvreg/c/CHandles.h"

namespace qvtest {

/// Records of a test as a host's callbacks, and what a test lets go wrong. Outlives its sources.
class CRecordFeed {
 public:
  explicit CRecordFeed(std::vector<QvCommon::Record> records) : records_(std::move(records)) {}

  /// What happens before record `position`, from 0 on, of pass `pass`, from 1 on: 1 to go on,
  /// another number to return, or an exception.
  std::function<std::int32_t(int pass, std::size_t position)> onNext;
  /// What the rewind of a pass returns.
  std::function<std::int32_t(int pass)> onRewind;

  [[nodiscard]] qvreg_record_callbacks Callbacks() {
    auto callbacks = Sized<qvreg_record_callbacks>();
    callbacks.record_size = Width();
    callbacks.user = this;
    callbacks.next = &Next;
    callbacks.rewind = &Rewind;
    return callbacks;
  }
  [[nodiscard]] CSource Source() {
    const qvreg_record_callbacks callbacks = Callbacks();
    return Made<CSource>([&](qvreg_source** source, qvreg_error* error) {
      return qvreg_source_create_callbacks(&callbacks, source, error);
    });
  }

  [[nodiscard]] std::size_t Width() const {
    return records_.empty() ? 1 : static_cast<std::size_t>(records_.front().Size());
  }
  [[nodiscard]] int Passes() const { return passes_; }
  [[nodiscard]] const std::vector<QvCommon::Record>& Records() const { return records_; }

 private:
  static std::int32_t Next(void* user, double* record, std::size_t size) {
    auto& feed = *static_cast<CRecordFeed*>(user);
    if (feed.onNext) {
      const std::int32_t told = feed.onNext(feed.passes_, feed.position_);
      if (told != QVREG_NEXT_RECORD) return told;
    }
    if (feed.position_ == feed.records_.size()) return QVREG_NEXT_END;
    const QvCommon::Record& from = feed.records_[feed.position_++];
    for (std::size_t i = 0; i < size; ++i) record[i] = from[static_cast<int>(i)];
    return QVREG_NEXT_RECORD;
  }
  static std::int32_t Rewind(void* user) {
    auto& feed = *static_cast<CRecordFeed*>(user);
    feed.position_ = 0;
    ++feed.passes_;
    return feed.onRewind ? feed.onRewind(feed.passes_) : 0;
  }

  std::vector<QvCommon::Record> records_;
  std::size_t position_ = 0;
  int passes_ = 0;
};

}  // namespace qvtest
