#include "tests/qvreg/c/CTyped.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace qvtest {
namespace {

bool IsSmallOrMissing(double value) {
  return value < -0.5 || (value == std::trunc(value) && value < 100.0);
}

/// The bytes of values as a type; categories that are missing as -1.
template <typename T>
std::vector<char> BytesOf(const std::vector<double>& values) {
  std::vector<char> bytes(values.size() * sizeof(T));
  for (std::size_t i = 0; i < values.size(); ++i) {
    double number = values[i];
    if (number == QVREG_MISSING_VALUE) number = std::numeric_limits<double>::quiet_NaN();
    const auto value = static_cast<T>(std::is_integral_v<T> && values[i] < -0.5 ? -1.0 : number);
    std::memcpy(bytes.data() + i * sizeof(T), &value, sizeof(T));
  }
  return bytes;
}

}  // namespace

CTypedRecords::CTypedRecords(const std::vector<QvCommon::Record>& records)
    : nRecords_(records.size()) {
  for (int variable = 0; variable < records.at(0).Size(); ++variable) {
    std::vector<double> values;
    values.reserve(records.size());
    for (const QvCommon::Record& record : records) values.push_back(record[variable]);
    auto column = Sized<qvreg_typed_column>();
    if (!std::all_of(values.begin(), values.end(), IsSmallOrMissing)) {
      values_.push_back(BytesOf<double>(values));
      column.type = QVREG_TYPE_FLOAT64;
      column.stride = sizeof(double);
      column.nan = QVREG_AS_MISSING;
    } else if (variable % 3 == 0) {
      values_.push_back(BytesOf<std::int8_t>(values));
      column.type = QVREG_TYPE_INT8;
      column.stride = sizeof(std::int8_t);
    } else if (variable % 3 == 1) {
      values_.push_back(BytesOf<std::int32_t>(values));
      column.type = QVREG_TYPE_INT32;
      column.stride = sizeof(std::int32_t);
    } else {
      values_.push_back(BytesOf<std::int16_t>(values));
      column.type = QVREG_TYPE_INT16;
      column.stride = sizeof(std::int16_t);
    }
    columns_.push_back(column);
  }
  for (std::size_t j = 0; j < columns_.size(); ++j) columns_[j].values = values_[j].data();
}

std::vector<qvreg_typed_column> CTypedRecords::From(std::size_t first) const {
  std::vector<qvreg_typed_column> columns = columns_;
  for (qvreg_typed_column& column : columns) {
    column.values = static_cast<const char*>(column.values) +
                    static_cast<std::ptrdiff_t>(first) * column.stride;
  }
  return columns;
}

std::int32_t CBlockFeed::Next(void* user, qvreg_block* block) {
  auto& feed = *static_cast<CBlockFeed*>(user);
  const std::size_t number = feed.block_++;
  // What was given before is not there any more.
  for (qvreg_typed_column& column : feed.given_) column.values = nullptr;
  const std::size_t left = feed.records_.Count() - feed.first_;
  const std::size_t count = std::min(left, feed.sizes_[number % feed.sizes_.size()]);
  feed.given_ = feed.records_.From(feed.first_);
  block->n_records = count;
  block->columns = feed.given_.data();
  feed.first_ += count;
  if (feed.onNext) {
    const std::int32_t told = feed.onNext(feed.passes_, number, *block);
    if (told != QVREG_NEXT_RECORD) return told;
  }
  return left == 0 ? QVREG_NEXT_END : QVREG_NEXT_RECORD;
}

}  // namespace qvtest
