#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "bench/Arguments.h"
#include "qvreg/qvreg.h"

namespace qvbench {

/// How many records of `size` values the file holds.
[[nodiscard]] inline long long CountRecords(const std::string& path, int size) {
  const auto bytes = static_cast<long long>(std::filesystem::file_size(path));
  return bytes / (size * static_cast<long long>(sizeof(double)));
}

/// The records of a range of a file, lent in blocks. Owns the file.
class BlockFile : public QvCommon::MultiPassRecordIter, public QvCommon::IQvRecordBlocks {
 public:
  BlockFile(File file, int size, long long begin, long long end)
      : file_(std::move(file)),
        size_(static_cast<std::size_t>(size)),
        begin_(begin),
        end_(end),
        next_(begin),
        record_(size),
        block_(std::max(kBytes / sizeof(double) / size_, std::size_t{1}) * size_) {
    // Read to where they stay.
    std::setvbuf(file_.get(), nullptr, _IONBF, 0);
  }

  [[nodiscard]] bool HasMore() const override { return next_ < end_; }
  const QvCommon::Record* Next() override {
    const QvCommon::QvRecordBlock one = Read(1);
    if (one.fCount == 0) return nullptr;
    std::copy_n(one.fpValues, size_, record_.GetAll());
    return &record_;
  }
  QvCommon::QvRecordBlock NextBlock() override { return Read(block_.size() / size_); }
  [[nodiscard]] int GetFailReason() const override {
    return HasMore() ? QvCommon::kIterOk : QvCommon::kIterEndOfData;
  }
  int NewPass() override {
    next_ = begin_;
    const long long offset = begin_ * static_cast<long long>(size_ * sizeof(double));
    if (fseeko(file_.get(), offset, SEEK_SET) != 0) return QvCommon::kIterNoRewind;
    return GetFailReason();
  }

 private:
  static constexpr std::size_t kBytes = std::size_t{1} << 17;

  QvCommon::QvRecordBlock Read(std::size_t most) {
    const std::size_t wanted = std::min(most, static_cast<std::size_t>(end_ - next_));
    const std::size_t count =
        std::fread(block_.data(), size_ * sizeof(double), wanted, file_.get());
    next_ += static_cast<long long>(count);
    return {block_.data(), count, static_cast<std::ptrdiff_t>(size_), record_.Size()};
  }

  File file_;
  std::size_t size_;
  long long begin_;
  long long end_;
  long long next_;
  QvCommon::Record record_;
  std::vector<double> block_;
};

}  // namespace qvbench
