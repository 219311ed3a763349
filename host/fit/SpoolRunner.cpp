#include "host/fit/SpoolRunner.h"

#include <algorithm>
#include <span>
#include <utility>

#include "host/Error.h"

namespace qvhost {

namespace {

/// Read at once; a few pages of a disk.
constexpr std::size_t kBytesAtOnce = std::size_t{1} << 18;

}  // namespace

SpoolRecords::SpoolRecords(const CodedTable& table, Progress progress)
    : SpoolRecords(table, 0, table.RecordCount(), std::move(progress)) {}

SpoolRecords::SpoolRecords(const CodedTable& table, std::int64_t begin, std::int64_t end,
                           Progress progress)
    : table_(table),
      size_(static_cast<std::size_t>(table.RecordSize())),
      begin_(begin),
      end_(end),
      progress_(std::move(progress)),
      record_(table.RecordSize()),
      next_(begin) {
  const auto count = static_cast<std::size_t>(end - begin);
  const std::size_t atOnce = std::max<std::size_t>(kBytesAtOnce / sizeof(double) / size_, 1);
  block_.resize(std::min(count, atOnce) * size_);
}

int SpoolRecords::NewPass() {
  next_ = begin_;
  position_ = used_ = 0;
  return GetFailReason();
}

void SpoolRecords::ReadBlock() {
  const auto left = static_cast<std::size_t>(end_ - next_) * size_;
  position_ = 0;
  used_ = std::min(block_.size(), left);
  table_.ReadRecords(next_, std::span(block_).first(used_));
  if (progress_) progress_(next_ - begin_ + static_cast<long long>(used_ / size_));
}

const QvCommon::Record* SpoolRecords::Next() {
  if (!HasMore()) return nullptr;
  if (position_ == used_) ReadBlock();
  std::copy_n(block_.begin() + static_cast<std::ptrdiff_t>(position_), size_, record_.GetAll());
  position_ += size_;
  ++next_;
  return &record_;
}

QvCommon::QvRecordBlock SpoolRecords::NextBlock() {
  if (!HasMore()) return {};
  if (position_ == used_) ReadBlock();
  const double* values = block_.data() + position_;
  const std::size_t count = (used_ - position_) / size_;
  position_ = used_;
  next_ += static_cast<std::int64_t>(count);
  return {values, count, static_cast<std::ptrdiff_t>(size_), static_cast<int>(size_)};
}

const QvCommon::Record* SpoolRecords::Fetch(const Interrupt& interrupt) {
  if (interrupt.Requested()) throw Cancelled();
  return Next();
}

std::unique_ptr<QvCommon::MultiPassRecordIter> SpoolRunner::Parts::OpenPart(int part) {
  const auto at = [&](int k) { return table_.RecordCount() * k / count_; };
  const auto count = [this, before = 0LL](long long records) mutable {
    delivered_.fetch_add(records - std::exchange(before, records), std::memory_order_relaxed);
  };
  return std::make_unique<SpoolRecords>(table_, at(part), at(part + 1), count);
}

SpoolRunner::SpoolRunner(const CodedTable& table, const QvRegSettings& settings, int threads,
                         Progress progress)
    : parts_(table, QvPartCount(table.RecordCount(), settings)),
      threads_(parts_, threads),
      progress_(std::move(progress)) {}

void SpoolRunner::Report() const {
  if (progress_) progress_(pass_, parts_.delivered_.load(std::memory_order_relaxed));
}

QvCommon::QvStatus SpoolRunner::Run(const std::vector<unsigned char>& request, QvCancelInfo& cancel,
                                    std::vector<unsigned char>& answer) {
  ++pass_;
  parts_.delivered_ = 0;
  Report();
  return threads_.Run(request, cancel, answer);
}

}  // namespace qvhost
