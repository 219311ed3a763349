#pragma once

#include <atomic>
#include <memory>
#include <utility>
#include <vector>

#include "qvreg/common/Record.h"
#include "tests/qvreg/support/VectorParts.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvtest {

/// Counts how often the passes of its parts are started; refuses one of them.
class CountingParts : public VectorParts {
 public:
  using VectorParts::VectorParts;
  [[nodiscard]] std::unique_ptr<QvCommon::MultiPassRecordIter> OpenPart(int part) override {
    class Iter : public VectorRecordIter {
     public:
      Iter(std::vector<QvCommon::Record> records, CountingParts& parts)
          : VectorRecordIter(std::move(records)), parts_(parts) {}
      int NewPass() override {
        if (++parts_.starts_ == parts_.refused_) return QvCommon::kIterReadError;
        return VectorRecordIter::NewPass();
      }

     private:
      CountingParts& parts_;
    };
    return std::make_unique<Iter>(Part(part), *this);
  }

  std::atomic<int> starts_ = 0;
  int refused_ = -1;
};

/// Parts whose records never end: they start again.
class EndlessParts : public VectorParts {
 public:
  using VectorParts::VectorParts;
  [[nodiscard]] std::unique_ptr<QvCommon::MultiPassRecordIter> OpenPart(int part) override {
    class Iter : public VectorRecordIter {
     public:
      using VectorRecordIter::VectorRecordIter;
      const QvCommon::Record* Next() override {
        const QvCommon::Record* record = VectorRecordIter::Next();
        if (!HasMore()) NewPass();
        return record;
      }
    };
    return std::make_unique<Iter>(Part(part));
  }
};

}  // namespace qvtest
