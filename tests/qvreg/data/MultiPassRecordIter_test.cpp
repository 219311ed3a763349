#include "qvreg/data/MultiPassRecordIter.h"

#include <memory>
#include <type_traits>

#include <gtest/gtest.h>

#include "tests/qvreg/support/VirtualSlot.h"

namespace QvCommon {
namespace {

// Hosts answer them by number.
static_assert(kIterOk == 0 && kIterEndOfData == 1 && kIterReadError == 3 && kIterNoRewind == 4);
static_assert(std::is_abstract_v<RecordIterator> && std::is_abstract_v<MultiPassRecordIter> &&
              std::is_base_of_v<RecordIterator, MultiPassRecordIter>);

/// The smallest host iterator: one record, which tells when it is destroyed.
class OneRecord : public MultiPassRecordIter {
 public:
  explicit OneRecord(bool& destroyed) : destroyed_(destroyed) {}
  OneRecord(const OneRecord&) = delete;
  OneRecord& operator=(const OneRecord&) = delete;
  ~OneRecord() override { destroyed_ = true; }

  [[nodiscard]] bool HasMore() const override { return !read_; }
  const Record* Next() override {
    read_ = true;
    return &record_;
  }
  [[nodiscard]] int GetFailReason() const override { return read_ ? kIterEndOfData : kIterOk; }
  int NewPass() override {
    read_ = false;
    return kIterOk;
  }

 private:
  bool& destroyed_;
  bool read_ = false;
  Record record_{1};
};

TEST(MultiPassRecordIter, AHostsIteratorIsUsedAndDestroyedThroughTheBase) {
  bool destroyed = false;
  {
    const std::unique_ptr<RecordIterator> iter = std::make_unique<OneRecord>(destroyed);
    EXPECT_TRUE(iter->HasMore());
    EXPECT_NE(iter->Next(), nullptr);
    EXPECT_FALSE(iter->HasMore());
    EXPECT_EQ(iter->GetFailReason(), kIterEndOfData);
  }
  EXPECT_TRUE(destroyed);
}

TEST(MultiPassRecordIter, VirtualOperationsStandInTheirOrder) {
  if (!qvtest::kKnowsVirtualSlots) GTEST_SKIP() << "the compiler's tables are not known";
  std::size_t slot = qvtest::kSlotAfterDestructor;
  EXPECT_EQ(qvtest::VirtualSlot(&RecordIterator::HasMore), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&RecordIterator::Next), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&RecordIterator::GetFailReason), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&MultiPassRecordIter::NewPass), slot++);
}

}  // namespace
}  // namespace QvCommon
