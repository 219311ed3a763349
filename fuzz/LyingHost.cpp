#include "fuzz/LyingHost.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

namespace qvfuzz {
namespace {

template <typename Struct>
Struct Sized(FuzzedDataProvider& data) {
  Struct structure{};
  structure.struct_size = sizeof(Struct);
  if (data.ConsumeIntegral<std::uint8_t>() == 255)
    structure.struct_size = data.ConsumeBool() ? 0 : 9;
  return structure;
}

}  // namespace

void FillRecord(std::size_t i, double* record) {
  record[kY] = static_cast<double>((i * 7 + i / 3) % 2);
  record[kFactor] = static_cast<double>(i % 3);
  record[kX] = static_cast<double>((i * 5) % 11) - 4.5;
  record[kWeight] = static_cast<double>(1 + i % 2);
}

HostColumns::HostColumns(FuzzedDataProvider& data, std::size_t nColumns, std::size_t nRecords)
    : nRecords_(nRecords) {
  for (std::size_t i = 0; i < nColumns; ++i) Add(data);
}

std::uint8_t* HostColumns::Memory(std::size_t size) {
  memory_.push_back(std::make_unique<std::uint8_t[]>(size));
  return memory_.back().get();
}

void HostColumns::Add(FuzzedDataProvider& data) {
  constexpr std::size_t kWidths[] = {8, 4, 1, 2, 4, 8, 1, 2, 4, 8, 1, 8};
  auto column = Sized<qvreg_typed_column>(data);
  if (!columns_.empty() && data.ConsumeIntegral<std::uint8_t>() < 250) {
    column.struct_size = columns_.front().struct_size;
  }
  const auto type = data.ConsumeIntegralInRange<std::size_t>(0, 11);
  column.type = static_cast<std::int32_t>(type);
  const std::size_t width = kWidths[type];
  // From record to record 0, the width, or an odd number of bytes more.
  const std::size_t step = width + 3 * data.ConsumeIntegralInRange<std::size_t>(0, 1);
  const bool isConstant = data.ConsumeIntegralInRange(0, 7) == 0;
  const std::size_t size = isConstant || nRecords_ == 0 ? width : (nRecords_ - 1) * step + width;
  std::uint8_t* values = Memory(size);
  const bool areCodes = data.ConsumeBool();
  for (std::size_t i = 0; i < size; ++i) {
    values[i] = areCodes ? (i % step == 0 ? static_cast<std::uint8_t>(i / step % 3) : 0)
                         : data.ConsumeIntegral<std::uint8_t>();
  }
  column.stride = isConstant ? 0 : static_cast<std::ptrdiff_t>(step);
  column.values = values;
  if (!isConstant && nRecords_ > 0 && data.ConsumeBool()) {
    column.values = values + (nRecords_ - 1) * step;
    column.stride = -column.stride;
  }
  AddMask(data, column);
  if (data.ConsumeIntegralInRange(0, 3) == 0) {
    column.map_size = data.ConsumeIntegralInRange<std::size_t>(0, 4);
    auto* map = reinterpret_cast<double*>(Memory(column.map_size * sizeof(double)));
    for (std::size_t i = 0; i < column.map_size; ++i) map[i] = static_cast<double>(i);
    column.map = map;
  }
  if (data.ConsumeIntegralInRange(0, 7) == 0) {
    column.has_missing_code = 1;
    column.missing_code = data.ConsumeIntegral<std::int64_t>();
  }
  column.nan = data.ConsumeIntegralInRange(0, 3);
  column.infinite = data.ConsumeIntegralInRange(0, 2);
  columns_.push_back(column);
}

void HostColumns::AddMask(FuzzedDataProvider& data, qvreg_typed_column& column) {
  column.mask_kind = data.ConsumeIntegralInRange(0, 3) == 0 ? data.ConsumeIntegralInRange(0, 3) : 0;
  const std::size_t n = std::max<std::size_t>(nRecords_, 1);
  if (column.mask_kind == QVREG_MASK_BYTES) {
    std::uint8_t* mask = Memory(n);
    mask[0] = data.ConsumeBool() ? 1 : 0;
    column.mask = mask;
    column.mask_stride = 1;
  }
  if (column.mask_kind == QVREG_MASK_VALID_BITS) {
    column.mask_offset = data.ConsumeIntegralInRange(0, 17);
    const std::size_t size = (n + static_cast<std::size_t>(column.mask_offset) + 7) / 8;
    std::uint8_t* mask = Memory(size);
    std::memset(mask, data.ConsumeIntegral<std::uint8_t>(), size);
    column.mask = mask;
  }
}

LyingFeed::LyingFeed(FuzzedDataProvider& data, std::function<void()> other)
    : data_(data),
      other_(std::move(other)),
      nRecords_(data.ConsumeIntegralInRange<std::size_t>(0, 40)) {}

qvreg_record_callbacks LyingFeed::Records() {
  auto callbacks = Sized<qvreg_record_callbacks>(data_);
  callbacks.record_size = kHostWidth;
  callbacks.user = this;
  callbacks.next = &NextRecord;
  if (data_.ConsumeIntegralInRange(0, 15) != 15) callbacks.rewind = &Rewind;
  return callbacks;
}

qvreg_block_callbacks LyingFeed::Blocks() {
  auto callbacks = Sized<qvreg_block_callbacks>(data_);
  callbacks.n_columns = kHostWidth;
  callbacks.user = this;
  callbacks.next = &NextBlock;
  if (data_.ConsumeIntegralInRange(0, 15) != 15) callbacks.rewind = &Rewind;
  return callbacks;
}

std::int32_t LyingFeed::Rewind(void* user) {
  auto& self = *static_cast<LyingFeed*>(user);
  self.position_ = 0;
  // Most passes are honest, and all are once the input is used up.
  const int drawn = self.data_.ConsumeIntegralInRange(0, 20);
  self.lie_ = drawn <= static_cast<int>(Lie::kNoPass) ? static_cast<Lie>(drawn) : Lie::kNone;
  self.place_ = self.data_.ConsumeIntegralInRange<std::size_t>(0, 40);
  return self.lie_ == Lie::kNoPass ? 5 : 0;
}

std::int32_t LyingFeed::Ahead() {
  const bool isPlace = position_ == place_;
  if (isPlace && lie_ == Lie::kEarly) return QVREG_NEXT_END;
  if (isPlace && lie_ == Lie::kFails) return data_.ConsumeBool() ? -7 : 2;
  if (isPlace && lie_ == Lie::kThrows) throw std::runtime_error("the host's own");
  if (isPlace && lie_ == Lie::kOther) other_();
  return position_ < nRecords_ + (lie_ == Lie::kLate ? place_ : 0) ? QVREG_NEXT_RECORD
                                                                   : QVREG_NEXT_END;
}

std::int32_t LyingFeed::NextRecord(void* user, double* record, std::size_t size) {
  auto& self = *static_cast<LyingFeed*>(user);
  if (size != kHostWidth) std::abort();
  const std::int32_t ahead = self.Ahead();
  if (ahead != QVREG_NEXT_RECORD) return ahead;
  FillRecord(self.position_ + (self.lie_ == Lie::kOthers ? 1 : 0), record);
  if (self.position_ == self.place_) {
    double& value = record[self.data_.ConsumeIntegralInRange<std::size_t>(0, kHostWidth - 1)];
    if (self.lie_ == Lie::kNaN) value = std::numeric_limits<double>::quiet_NaN();
    if (self.lie_ == Lie::kInfinite) value = -std::numeric_limits<double>::infinity();
  }
  ++self.position_;
  return QVREG_NEXT_RECORD;
}

std::int32_t LyingFeed::NextBlock(void* user, qvreg_block* block) {
  auto& self = *static_cast<LyingFeed*>(user);
  const std::int32_t ahead = self.Ahead();
  if (ahead != QVREG_NEXT_RECORD) return ahead;
  const auto rows = self.data_.ConsumeIntegralInRange<std::size_t>(0, 9);
  self.block_ = std::make_unique<HostColumns>(self.data_, kHostWidth, rows);
  block->n_records = rows;
  block->columns = self.block_->Get();
  if (self.lie_ == Lie::kNaN) block->columns = nullptr;
  // An empty block is one, too: the input decides how many, and ends them.
  self.position_ += std::max<std::size_t>(rows, 1);
  return QVREG_NEXT_RECORD;
}

}  // namespace qvfuzz
