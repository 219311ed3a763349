#include "host/fit/SpoolRunner.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "qvreg/common/Record.h"

namespace qvhost {

namespace {

/// Read at once; a few pages of a disk.
constexpr std::size_t kBytesAtOnce = std::size_t{1} << 18;

/// A range of a table's records.
class RangeIterator : public QvCommon::MultiPassRecordIter {
 public:
  RangeIterator(const CodedTable& table, std::int64_t begin, std::int64_t end,
                std::atomic<long long>& delivered)
      : table_(table),
        size_(static_cast<std::size_t>(table.RecordSize())),
        begin_(begin),
        end_(end),
        delivered_(delivered),
        record_(table.RecordSize()) {
    const auto count = static_cast<std::size_t>(end - begin);
    const std::size_t atOnce = std::max<std::size_t>(kBytesAtOnce / sizeof(double) / size_, 1);
    block_.resize(std::min(count, atOnce) * size_);
  }

  [[nodiscard]] bool HasMore() const override { return next_ < end_; }
  [[nodiscard]] int GetFailReason() const override {
    return HasMore() ? QvCommon::kIterOk : QvCommon::kIterEndOfData;
  }
  int NewPass() override {
    next_ = begin_;
    position_ = used_ = 0;
    return GetFailReason();
  }
  const QvCommon::Record* Next() override {
    if (!HasMore()) return nullptr;
    if (position_ == used_) ReadBlock();
    std::copy_n(block_.begin() + static_cast<std::ptrdiff_t>(position_), size_, record_.GetAll());
    position_ += size_;
    ++next_;
    return &record_;
  }

 private:
  void ReadBlock() {
    const auto left = static_cast<std::size_t>(end_ - next_) * size_;
    position_ = 0;
    used_ = std::min(block_.size(), left);
    table_.ReadRecords(next_, std::span(block_).first(used_));
    delivered_.fetch_add(static_cast<long long>(used_ / size_), std::memory_order_relaxed);
  }

  const CodedTable& table_;
  const std::size_t size_;
  const std::int64_t begin_;
  const std::int64_t end_;
  std::atomic<long long>& delivered_;
  QvCommon::Record record_;
  std::vector<double> block_;
  std::int64_t next_ = 0;
  std::size_t position_ = 0;  ///< In the block, of the next record.
  std::size_t used_ = 0;
};

}  // namespace

SpoolParts::SpoolParts(const CodedTable& table, long long parameters)
    : table_(table), count_(QvPartCount(table.RecordCount(), parameters)) {}

std::unique_ptr<QvCommon::MultiPassRecordIter> SpoolParts::OpenPart(int part) {
  const auto at = [&](int k) { return table_.RecordCount() * k / count_; };
  return std::make_unique<RangeIterator>(table_, at(part), at(part + 1), delivered_);
}

SpoolRunner::SpoolRunner(const CodedTable& table, long long parameters, int threads,
                         Progress progress)
    : parts_(table, parameters), threads_(parts_, threads), progress_(std::move(progress)) {}

void SpoolRunner::Report() const {
  if (progress_) progress_(pass_, parts_.Delivered());
}

QvCommon::QvStatus SpoolRunner::Run(const std::vector<unsigned char>& request, QvCancelInfo& cancel,
                                    std::vector<unsigned char>& answer) {
  ++pass_;
  parts_.StartCounting();
  Report();
  return threads_.Run(request, cancel, answer);
}

}  // namespace qvhost
