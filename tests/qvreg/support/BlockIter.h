#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/data/IQvRecordBlocks.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvtest {

/// Lends records that it owns in blocks of at most `rows`. A block is spoiled where its time is
/// over, there are `gap` NaN between its records, and none is lent before the last one was ended.
/// Tests derive from it to misbehave.
class BlockIter : public VectorRecordIter, public QvCommon::IQvRecordBlocks {
 public:
  BlockIter(std::vector<QvCommon::Record> records, std::size_t rows, std::size_t gap = 3)
      : VectorRecordIter(std::move(records)), rows_(rows), gap_(gap) {
    if (!Records().empty()) size_ = Records().front().Size();
    block_.resize(rows_ * Stride(), kNaN);
  }

  const QvCommon::Record* Next() override {
    ++nexts_;
    Spoil();
    return VectorRecordIter::Next();
  }
  int NewPass() override {
    Spoil();
    return VectorRecordIter::NewPass();
  }
  QvCommon::QvRecordBlock NextBlock() override {
    Spoil();
    std::size_t count = 0;
    for (; count < rows_ && VectorRecordIter::HasMore(); ++count) {
      const QvCommon::Record& record = *VectorRecordIter::Next();
      std::copy_n(record.GetAll(), record.Size(), &block_[count * Stride()]);
    }
    isLent_ = count > 0;
    return {block_.data(), count, static_cast<std::ptrdiff_t>(Stride()), size_};
  }
  void EndBlock(std::size_t nRead) noexcept override {
    EXPECT_TRUE(std::exchange(isLent_, false));
    ended_.push_back(nRead);
  }

  /// How often a single record was asked for.
  [[nodiscard]] int Nexts() const { return nexts_; }
  /// Of every block that was ended, how many of its records were read.
  [[nodiscard]] const std::vector<std::size_t>& Ended() const { return ended_; }

 private:
  static constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

  [[nodiscard]] std::size_t Stride() const { return static_cast<std::size_t>(size_) + gap_; }
  void Spoil() {
    EXPECT_FALSE(isLent_) << "the block was not ended";
    std::fill(block_.begin(), block_.end(), kNaN);
  }

  std::size_t rows_;
  std::size_t gap_;
  int size_ = 0;
  std::vector<double> block_;
  bool isLent_ = false;
  int nexts_ = 0;
  std::vector<std::size_t> ended_;
};

}  // namespace qvtest
