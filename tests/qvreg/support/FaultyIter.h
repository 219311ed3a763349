#pragma once

#include <stdexcept>
#include <utility>
#include <vector>

#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvtest {

/// What is wrong with an iterator: at the start of a pass, or at the pass's second record.
enum class Fault {
  kNoRecord,  ///< The pass starts and has no record.
  kRefused,   ///< The pass is refused; the records are delivered all the same.
  kNull,      ///< A record is announced and not delivered.
  kShort,     ///< A record of two values.
  kThrow      ///< An exception of the host's.
};

/// Has a fault in one pass, counted from 1.
class FaultyIter : public VectorRecordIter {
 public:
  FaultyIter(std::vector<QvCommon::Record> records, Fault fault, int pass)
      : VectorRecordIter(std::move(records)), fault_(fault), pass_(pass) {}

  [[nodiscard]] bool HasMore() const override {
    if (fault_ == Fault::kNoRecord && Passes() == pass_) return false;
    return VectorRecordIter::HasMore();
  }
  int NewPass() override {
    const int reason = VectorRecordIter::NewPass();
    return fault_ == Fault::kRefused && Passes() == pass_ ? QvCommon::kIterNoRewind : reason;
  }
  const QvCommon::Record* Next() override {
    const bool isHere = Passes() == pass_ && Position() == 1;
    if (isHere && fault_ == Fault::kNull) return nullptr;
    if (isHere && fault_ == Fault::kShort) return &short_;
    if (isHere && fault_ == Fault::kThrow) throw std::runtime_error("the host's disk is gone");
    return VectorRecordIter::Next();
  }

 private:
  Fault fault_;
  int pass_;
  const QvCommon::Record short_{2};
};

}  // namespace qvtest
