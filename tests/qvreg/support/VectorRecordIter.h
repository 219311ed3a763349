#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "qvreg/common/Record.h"
#include "qvreg/data/MultiPassRecordIter.h"

namespace qvtest {

/// A record of the given values.
[[nodiscard]] inline QvCommon::Record MakeRecord(const std::vector<double>& values) {
  QvCommon::Record record(static_cast<int>(values.size()));
  for (std::size_t i = 0; i < values.size(); ++i) record[static_cast<int>(i)] = values[i];
  return record;
}

/// One record per row.
[[nodiscard]] inline std::vector<QvCommon::Record> MakeRecords(
    const std::vector<std::vector<double>>& rows) {
  std::vector<QvCommon::Record> records;
  records.reserve(rows.size());
  for (const std::vector<double>& row : rows) records.push_back(MakeRecord(row));
  return records;
}

/// Hands out records that it owns, pass after pass. Allocates nothing once constructed; tests
/// derive from it to misbehave.
class VectorRecordIter : public QvCommon::MultiPassRecordIter {
 public:
  explicit VectorRecordIter(std::vector<QvCommon::Record> records) : records_(std::move(records)) {}

  [[nodiscard]] bool HasMore() const override { return next_ < records_.size(); }
  const QvCommon::Record* Next() override { return HasMore() ? &records_[next_++] : nullptr; }
  [[nodiscard]] int GetFailReason() const override {
    return HasMore() ? QvCommon::kIterOk : QvCommon::kIterEndOfData;
  }
  int NewPass() override {
    next_ = 0;
    ++passes_;
    return GetFailReason();
  }

  [[nodiscard]] const std::vector<QvCommon::Record>& Records() const { return records_; }
  /// How many passes were started.
  [[nodiscard]] int Passes() const { return passes_; }
  /// How many records of this pass were handed out.
  [[nodiscard]] std::size_t Position() const { return next_; }

 private:
  std::vector<QvCommon::Record> records_;
  std::size_t next_ = 0;
  int passes_ = 0;
};

}  // namespace qvtest
