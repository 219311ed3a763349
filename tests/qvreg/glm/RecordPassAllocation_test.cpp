// The passes over the data allocate nothing per record: after the first record of a pass, only a
// level combination that was never seen before costs memory, once.
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/glm/QvGLMComponent.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::AllocationCountingIter;
using qvtest::LinearSettings;
using qvtest::MakeRecord;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kB = 2;
constexpr int kX = 3;
constexpr int kWeight = 4;
constexpr int kPasses = 3;
/// The records of a block hold every level combination.
constexpr std::size_t kBlock = 6;

std::vector<QvCommon::Record> Blocks(std::size_t nBlocks) {
  std::vector<QvCommon::Record> records;
  for (std::size_t i = 0; i < nBlocks * kBlock; ++i) {
    const auto number = static_cast<double>(i % 97);
    records.push_back(MakeRecord({number * number, static_cast<double>(i % 2),
                                  static_cast<double>(i / 2 % 3), number, 1.0 + number}));
  }
  return records;
}

std::vector<QvCommon::Record> OneCombination(std::size_t n) {
  std::vector<QvCommon::Record> records;
  for (std::size_t i = 0; i < n; ++i) {
    const auto number = static_cast<double>(i);
    records.push_back(MakeRecord({number * number, 1, 2, number, 1.0 + number}));
  }
  return records;
}

/// Of records in blocks.
class CountingIter : public AllocationCountingIter {
 public:
  explicit CountingIter(std::vector<QvCommon::Record> records)
      : AllocationCountingIter(std::move(records), kBlock, kPasses) {}
};

class RecordPassAllocation : public ::testing::TestWithParam<bool> {
 protected:
  RecordPassAllocation() {
    settings_.Effect({kA}).Effect({kB}).Effect({kA, kB}).Effect({}, {kX}).Effect({kB}, {kX, kX});
    settings_.FrequencyWeight(kWeight);
    if (GetParam()) settings_.Refined();
  }

  CountingIter Build(std::vector<QvCommon::Record> records) {
    CountingIter data(std::move(records));
    QvGLMComponent component(settings_.Get());
    EXPECT_TRUE(component.BuildModel(data).IsOK());
    EXPECT_EQ(data.Passes(), kPasses);
    return data;
  }

  LinearSettings settings_{kY, {{kA, 2}, {kB, 3}}, {kX}};
};

TEST_P(RecordPassAllocation, NothingIsAllocatedBehindTheFirstRecordOfAPass) {
  const CountingIter data = Build(OneCombination(200));
  for (int pass = 0; pass < kPasses; ++pass) {
    SCOPED_TRACE("pass " + std::to_string(pass));
    EXPECT_GT(data.PassAt(pass).afterFirstRecord, 0);
    EXPECT_EQ(data.PassAt(pass).atEnd, data.PassAt(pass).afterFirstRecord);
  }
}

TEST_P(RecordPassAllocation, OnlyNewLevelCombinationsAllocateInTheFirstPass) {
  const CountingIter data = Build(Blocks(100));
  EXPECT_GT(data.PassAt(0).afterFirstBlock, data.PassAt(0).atStart);
  EXPECT_EQ(data.PassAt(0).atEnd, data.PassAt(0).afterFirstBlock);
}

TEST_P(RecordPassAllocation, TheLaterPassesAllocateNothingBehindTheirFirstRecord) {
  const CountingIter data = Build(Blocks(100));
  for (int pass = 1; pass < kPasses; ++pass) {
    SCOPED_TRACE("pass " + std::to_string(pass));
    EXPECT_EQ(data.PassAt(pass).atEnd, data.PassAt(pass).afterFirstRecord);
  }
}

TEST_P(RecordPassAllocation, TenTimesTheRecordsCostTheSameAllocations) {
  const CountingIter few = Build(Blocks(10));
  const CountingIter many = Build(Blocks(100));
  for (int pass = 0; pass < kPasses; ++pass) {
    SCOPED_TRACE("pass " + std::to_string(pass));
    EXPECT_EQ(many.PassAt(pass).atEnd - many.PassAt(pass).atStart,
              few.PassAt(pass).atEnd - few.PassAt(pass).atStart);
  }
}

INSTANTIATE_TEST_SUITE_P(PlainAndRefined, RecordPassAllocation, ::testing::Bool());

}  // namespace
