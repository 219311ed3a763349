#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatusCodes.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvtest {

/// The executable's operator new and delete count what they hand out and take back, on all threads.

/// How many blocks were asked for so far, failed requests included.
[[nodiscard]] long long AllocationCount();
/// How many blocks are in use now.
[[nodiscard]] long long LiveAllocations();

/// Makes an allocation fail, from construction to destruction. One at a time.
class AllocationFault {
 public:
  enum class Extent {
    kOnce,      ///< The n-th allocation fails, later ones succeed.
    kEverAfter  ///< The n-th and all later ones fail.
  };

  /// `n` counts from 1, starting at this moment.
  AllocationFault(long long n, Extent extent);
  AllocationFault(const AllocationFault&) = delete;
  AllocationFault& operator=(const AllocationFault&) = delete;
  ~AllocationFault();

  /// True once an allocation was made to fail.
  [[nodiscard]] bool HasStruck() const;
};

/// Reads the allocation counter as the library asks for records. Its own notes are reserved before.
class AllocationCountingIter : public VectorRecordIter {
 public:
  struct Pass {
    long long atStart = 0;
    long long afterFirstRecord = 0;
    long long afterFirstBlock = 0;
    long long atEnd = 0;
  };

  /// `block` is how many records a block holds; no more than `mostPasses` passes may be made.
  AllocationCountingIter(std::vector<QvCommon::Record> records, std::size_t block,
                         std::size_t mostPasses)
      : VectorRecordIter(std::move(records)), block_(block), passes_(mostPasses) {}

  [[nodiscard]] bool HasMore() const override {
    const bool hasMore = VectorRecordIter::HasMore();
    if (!hasMore) passes_.at(Current()).atEnd = AllocationCount();
    return hasMore;
  }
  const QvCommon::Record* Next() override {
    Pass& pass = passes_.at(Current());
    if (Position() == 1) pass.afterFirstRecord = AllocationCount();
    if (Position() == block_) pass.afterFirstBlock = AllocationCount();
    return VectorRecordIter::Next();
  }
  int NewPass() override {
    const int reason = VectorRecordIter::NewPass();
    passes_.at(Current()).atStart = AllocationCount();
    return reason;
  }

  /// Counted from 0.
  [[nodiscard]] const Pass& PassAt(int pass) const {
    return passes_.at(static_cast<std::size_t>(pass));
  }

 private:
  [[nodiscard]] std::size_t Current() const { return static_cast<std::size_t>(Passes() - 1); }

  std::size_t block_;
  mutable std::vector<Pass> passes_;
};

}  // namespace qvtest
