#pragma once

/// \file
/// Typed columns of a test, and what sources of them give.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/qvreg/c/CHost.h"

namespace qvtest {

/// The qvreg_value_type of a type of C++.
template <typename T>
[[nodiscard]] constexpr std::int32_t TypeOf() {
  if constexpr (std::is_same_v<T, double>) return QVREG_TYPE_FLOAT64;
  if constexpr (std::is_same_v<T, float>) return QVREG_TYPE_FLOAT32;
  constexpr int kSizeCode = sizeof(T) == 1 ? 0 : sizeof(T) == 2 ? 1 : sizeof(T) == 4 ? 2 : 3;
  return (std::is_signed_v<T> ? QVREG_TYPE_INT8 : QVREG_TYPE_UINT8) + kSizeCode;
}

/// A column of a vector's values side by side.
template <typename T>
[[nodiscard]] qvreg_typed_column TypedColumn(const std::vector<T>& values) {
  auto column = Sized<qvreg_typed_column>();
  column.values = values.data();
  column.stride = sizeof(T);
  column.type = TypeOf<T>();
  return column;
}

[[nodiscard]] inline CSource SourceOf(const std::vector<qvreg_typed_column>& columns,
                                      std::size_t nRecords) {
  return Made<CSource>([&](qvreg_source** source, qvreg_error* e) {
    return qvreg_source_create_typed_columns(columns.data(), columns.size(), nRecords, source, e);
  });
}

/// What a source gives until it ends or fails.
struct Reading {
  Reading(const CSource& source, std::size_t width) {
    for (;;) {
      std::vector<double> record(width);
      std::int32_t hasRecord = 0;
      error = ErrorOf([&](qvreg_error* e) {
        return qvreg_source_next(source.get(), record.data(), width, &hasRecord, e);
      });
      if (error.code != QVREG_OK || hasRecord == 0) return;
      rows.push_back(record);
    }
  }

  std::vector<std::vector<double>> rows;
  qvreg_error error = QVREG_ERROR_INIT;
};

/// The values of one column as they stand in records; what ends it early is an exception.
[[nodiscard]] inline std::vector<double> ReadColumn(const qvreg_typed_column& column,
                                                    std::size_t nRecords) {
  const Reading reading(SourceOf({column}, nRecords), 1);
  Require([&](qvreg_error* e) {
    *e = reading.error;
    return e->code;
  });
  std::vector<double> values;
  for (const auto& row : reading.rows) values.push_back(row[0]);
  return values;
}

/// Records as columns of several types, which hold the same numbers: whole ones as 32-bit, 16-bit
/// and 8-bit numbers in turn, wherever all of a variable are, or missing, as categories are. All
/// else are doubles, NaN for missing.
class CTypedRecords {
 public:
  explicit CTypedRecords(const std::vector<QvCommon::Record>& records);

  [[nodiscard]] const std::vector<qvreg_typed_column>& Columns() const { return columns_; }
  [[nodiscard]] std::size_t Count() const { return nRecords_; }
  [[nodiscard]] CSource Source() const { return SourceOf(columns_, nRecords_); }
  /// The columns of the records from `first` on.
  [[nodiscard]] std::vector<qvreg_typed_column> From(std::size_t first) const;

 private:
  std::size_t nRecords_;
  std::vector<std::vector<char>> values_;
  std::vector<qvreg_typed_column> columns_;
};

/// Columns of records as a host's blocks, and what a test lets go wrong. Outlives its sources.
class CBlockFeed {
 public:
  /// Blocks of so many records in turn, over and over.
  CBlockFeed(const CTypedRecords& records, std::vector<std::size_t> sizes)
      : records_(records), sizes_(std::move(sizes)) {}

  /// What the next callback returns at block `block`, from 0 on, of a pass in place of it; 1 to go
  /// on.
  std::function<std::int32_t(int pass, std::size_t block, qvreg_block& to)> onNext;

  [[nodiscard]] qvreg_block_callbacks Callbacks() {
    auto callbacks = Sized<qvreg_block_callbacks>();
    callbacks.n_columns = records_.Columns().size();
    callbacks.user = this;
    callbacks.next = &Next;
    callbacks.rewind = &Rewind;
    return callbacks;
  }
  [[nodiscard]] CSource Source() {
    const qvreg_block_callbacks callbacks = Callbacks();
    return Made<CSource>([&](qvreg_source** source, qvreg_error* error) {
      return qvreg_source_create_blocks(&callbacks, source, error);
    });
  }
  [[nodiscard]] int Passes() const { return passes_; }

 private:
  static std::int32_t Next(void* user, qvreg_block* block);
  static std::int32_t Rewind(void* user) {
    auto& feed = *static_cast<CBlockFeed*>(user);
    feed.first_ = feed.block_ = 0;
    ++feed.passes_;
    return 0;
  }

  const CTypedRecords& records_;
  std::vector<std::size_t> sizes_;
  std::vector<qvreg_typed_column> given_;
  std::size_t first_ = 0;
  std::size_t block_ = 0;
  int passes_ = 0;
};

}  // namespace qvtest
