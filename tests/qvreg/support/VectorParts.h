#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "qvreg/common/Record.h"
#include "qvreg/component/IQvPassRunner.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvtest {

/// Records that it owns, divided at given places. Tests derive from it to misbehave.
class VectorParts : public IQvRecordParts {
 public:
  using Records = std::vector<QvCommon::Record>;

  explicit VectorParts(std::vector<Records> parts) : parts_(std::move(parts)) {}
  /// Parts of sizes that differ by one at most.
  VectorParts(const Records& records, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      const auto at = [&](std::size_t k) {
        return records.begin() + static_cast<std::ptrdiff_t>(records.size() * k / count);
      };
      parts_.emplace_back(at(i), at(i + 1));
    }
  }

  [[nodiscard]] int GetPartCount() const override { return static_cast<int>(parts_.size()); }
  [[nodiscard]] std::unique_ptr<QvCommon::MultiPassRecordIter> OpenPart(int part) override {
    return std::make_unique<VectorRecordIter>(Part(part));
  }
  [[nodiscard]] const Records& Part(int part) const {
    return parts_[static_cast<std::size_t>(part)];
  }

 private:
  std::vector<Records> parts_;
};

/// An iterator that no run with a runner may touch.
class UntouchedIter : public QvCommon::MultiPassRecordIter {
 public:
  [[nodiscard]] bool HasMore() const override { return Touch(false); }
  const QvCommon::Record* Next() override { return Touch(nullptr); }
  [[nodiscard]] int GetFailReason() const override { return Touch(QvCommon::kIterNoRewind); }
  int NewPass() override { return Touch(QvCommon::kIterNoRewind); }
  [[nodiscard]] int Touches() const { return touches_; }

 private:
  template <typename Answer>
  Answer Touch(Answer answer) const {
    ++touches_;
    return answer;
  }

  mutable int touches_ = 0;
};

}  // namespace qvtest
