#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>

#include <sys/mman.h>

#include "bench/Arguments.h"
#include "qvreg/qvreg.h"

namespace qvbench {

/// All records of a file that is mapped into memory, lent as one block: what stays mapped from pass
/// to pass is not copied.
class MappedFile : public QvCommon::MultiPassRecordIter, public QvCommon::IQvRecordBlocks {
 public:
  /// `count` records of `size` values each. A file that cannot be mapped has no pass.
  MappedFile(const File& file, int size, long long count)
      : size_(static_cast<std::size_t>(size)),
        count_(static_cast<std::size_t>(count)),
        values_(Map(file, count_ * size_), Unmap{count_ * size_}),
        next_(count_),
        record_(size) {}

  [[nodiscard]] bool HasMore() const override { return next_ < count_; }
  const QvCommon::Record* Next() override {
    std::copy_n(At(next_++), size_, record_.GetAll());
    return &record_;
  }
  QvCommon::QvRecordBlock NextBlock() override {
    const double* values = At(next_);
    const std::size_t left = count_ - next_;
    next_ = count_;
    return {values, left, static_cast<std::ptrdiff_t>(size_), record_.Size()};
  }
  [[nodiscard]] int GetFailReason() const override {
    return HasMore() ? QvCommon::kIterOk : QvCommon::kIterEndOfData;
  }
  int NewPass() override {
    if (values_ == nullptr) return QvCommon::kIterNoRewind;
    next_ = 0;
    return GetFailReason();
  }

 private:
  struct Unmap {
    std::size_t count;
    void operator()(double* values) const { munmap(values, count * sizeof(double)); }
  };

  static double* Map(const File& file, std::size_t count) {
    void* const values =
        mmap(nullptr, count * sizeof(double), PROT_READ, MAP_SHARED, fileno(file.get()), 0);
    return values == MAP_FAILED ? nullptr : static_cast<double*>(values);
  }
  [[nodiscard]] const double* At(std::size_t record) const {
    return values_.get() + record * size_;
  }

  std::size_t size_;
  std::size_t count_;
  std::unique_ptr<double[], Unmap> values_;
  std::size_t next_;
  QvCommon::Record record_;
};

}  // namespace qvbench
