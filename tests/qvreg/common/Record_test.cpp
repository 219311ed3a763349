#include "qvreg/common/Record.h"

#include <utility>

#include <gtest/gtest.h>

#include "tests/qvreg/support/AllocationHooks.h"

namespace QvCommon {
namespace {

TEST(Record, StartsWithZeros) {
  const Record record(3);
  EXPECT_EQ(record.Size(), 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(record[i], 0.0);
}

TEST(Record, MayBeEmpty) {
  EXPECT_EQ(Record(0).Size(), 0);
  EXPECT_EQ(Record(-4).Size(), 0);
}

TEST(Record, GetAllShowsTheValuesInOrder) {
  Record record(3);
  record[0] = 1.5;
  record[2] = -2.0;
  const Record& readOnly = record;
  EXPECT_EQ(readOnly.GetAll()[0], 1.5);
  EXPECT_EQ(readOnly.GetAll()[1], 0.0);
  EXPECT_EQ(readOnly.GetAll()[2], -2.0);
}

TEST(Record, GetAllWritesInPlace) {
  Record record(2);
  record.GetAll()[1] = 8.0;
  EXPECT_EQ(record[1], 8.0);
}

TEST(Record, CopiesAreIndependent) {
  Record original(1);
  original[0] = 1.0;
  const Record copy(original);
  Record assigned(5);
  assigned = original;
  original[0] = 2.0;
  EXPECT_EQ(copy[0], 1.0);
  EXPECT_EQ(assigned.Size(), 1);
  EXPECT_EQ(assigned[0], 1.0);
}

TEST(Record, AssignedToItselfStaysTheSame) {
  Record record(2);
  record[1] = 3.0;
  const Record& same = record;
  record = same;
  EXPECT_EQ(record.Size(), 2);
  EXPECT_EQ(record[1], 3.0);
}

TEST(Record, MovesKeepTheValues) {
  Record original(2);
  original[1] = 3.0;
  const Record moved = std::move(original);
  EXPECT_EQ(moved.Size(), 2);
  EXPECT_EQ(moved[1], 3.0);
}

TEST(Record, IsEmptyWhenItsAllocationFails) {
  const qvtest::AllocationFault fault(1, qvtest::AllocationFault::Extent::kOnce);
  EXPECT_EQ(Record(3).Size(), 0);
  EXPECT_TRUE(fault.HasStruck());
}

TEST(Record, ACopyIsEmptyWhenItsAllocationFails) {
  const Record original(3);
  Record target(1);
  {
    const qvtest::AllocationFault fault(1, qvtest::AllocationFault::Extent::kOnce);
    const Record copy(original);
    EXPECT_EQ(copy.Size(), 0);
  }
  const qvtest::AllocationFault fault(1, qvtest::AllocationFault::Extent::kOnce);
  target = original;
  EXPECT_EQ(target.Size(), 0);
}

}  // namespace
}  // namespace QvCommon
