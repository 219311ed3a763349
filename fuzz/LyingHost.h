#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "qvreg/c/qvreg_c.h"

/// \file
/// A host's data and callbacks that do not keep what they promise.

namespace qvfuzz {

/// The order of variables of every record: y, a factor of 3 levels, x, a weight.
enum HostVariable { kY, kFactor, kX, kWeight, kHostWidth };

/// Values of that record `i`, of `kHostWidth`, that a model can be fitted to.
void FillRecord(std::size_t i, double* record);

/// Columns of any type, in memory of just the length that they say: what reads beyond it is found.
class HostColumns {
 public:
  HostColumns(FuzzedDataProvider& data, std::size_t nColumns, std::size_t nRecords);

  [[nodiscard]] const qvreg_typed_column* Get() const { return columns_.data(); }
  [[nodiscard]] std::size_t Size() const { return columns_.size(); }
  [[nodiscard]] std::size_t Records() const { return nRecords_; }

 private:
  void Add(FuzzedDataProvider& data);
  void AddMask(FuzzedDataProvider& data, qvreg_typed_column& column);
  [[nodiscard]] std::uint8_t* Memory(std::size_t size);

  std::size_t nRecords_;
  std::vector<std::unique_ptr<std::uint8_t[]>> memory_;
  std::vector<qvreg_typed_column> columns_;
};

/// Records from callbacks, which in every pass may end early or late, fail, throw, hand out others,
/// or do something of the host's in between. Outlives its sources.
class LyingFeed {
 public:
  /// `other` is called in the midst of a pass.
  LyingFeed(FuzzedDataProvider& data, std::function<void()> other);

  [[nodiscard]] qvreg_record_callbacks Records();
  [[nodiscard]] qvreg_block_callbacks Blocks();

 private:
  enum class Lie {
    kNone,
    kEarly,
    kLate,
    kFails,
    kThrows,
    kNaN,
    kInfinite,
    kOther,
    kOthers,
    kNoPass
  };

  static std::int32_t NextRecord(void* user, double* record, std::size_t size);
  static std::int32_t NextBlock(void* user, qvreg_block* block);
  static std::int32_t Rewind(void* user);
  /// Whether there is a record, and QVREG_NEXT_RECORD, _END or another number if not.
  [[nodiscard]] std::int32_t Ahead();

  FuzzedDataProvider& data_;
  std::function<void()> other_;
  std::size_t nRecords_;
  std::size_t position_ = 0;
  Lie lie_ = Lie::kNone;
  std::size_t place_ = 0;
  std::unique_ptr<HostColumns> block_;
};

}  // namespace qvfuzz
