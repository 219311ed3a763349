// A run in which the n-th allocation fails ends with an error or with the right result, never with
// a crash, an exception or a leak; and the passes over the data allocate nothing per record.
#include <cmath>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/logistic/QvLogComponent.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/FailEveryAllocation.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvStatus;
using qvtest::AllocationCount;
using qvtest::AllocationCountingIter;
using qvtest::AllocationFault;
using qvtest::LiveAllocations;
using qvtest::LogisticSettings;
using qvtest::MakeRecord;
using qvtest::RunOutcome;
using qvtest::VectorRecordIter;
using Doubles = std::vector<double>;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kX = 2;
constexpr int kFrequency = 3;

/// A saturated table: y counts of A 0 are 1, 2, 3, of A 1 they are 4, 2, 2. x is 0.
std::vector<QvCommon::Record> TableRecords() {
  const Doubles counts{1, 2, 3, 4, 2, 2};
  std::vector<QvCommon::Record> records;
  for (std::size_t cell = 0; cell < counts.size(); ++cell) {
    const auto y = static_cast<double>(cell % 3);
    records.push_back(MakeRecord({y, static_cast<double>(cell / 3), 0, counts[cell]}));
  }
  return records;
}

/// With the tabulator, or without.
class LogisticAllocationFailure : public ::testing::TestWithParam<bool> {
 protected:
  LogisticAllocationFailure() {
    settings_.Effect({kA}).Effect({}, {kX}).FrequencyWeight(kFrequency).InMemory(GetParam());
    // The reference was not observed: the warning's list must survive too.
    settings_.Reference(3);
  }

  RunOutcome Run() {
    return qvtest::RunComponent(
        settings_.Get(), data_, fresh_, [](const IQvRegOutputStats& stats, RunOutcome& outcome) {
          outcome.estimate = stats.GetParamEstimates().at(0);
          outcome.fit = stats.GetModelFitStat(QvConst::QvFitMcFaddenRSquare);
        });
  }

  static void ExpectRightResult(const RunOutcome& outcome) {
    EXPECT_TRUE(outcome.isBuilt);
    EXPECT_EQ(outcome.predicted, 0.0);
    EXPECT_NEAR(outcome.estimate, std::log(4.0 / 2.0), 1e-7);
    // 1 - L1 / L0 with L0 = 5 log 5/14 + 4 log 4/14 + 5 log 5/14 and L1 the cells' own.
    EXPECT_NEAR(outcome.fit, 0.060171129939, 1e-9);
  }

  void FailEveryAllocation(AllocationFault::Extent extent) {
    qvtest::FailEveryAllocation(
        extent, [this] { return Run(); }, ExpectRightResult);
  }

  LogisticSettings settings_{kY, 4, {{kA, 2}}, {kX}};
  VectorRecordIter data_{TableRecords()};
  const QvCommon::Record fresh_ = MakeRecord({0, 1, 0, 1});
};

TEST_P(LogisticAllocationFailure, ARunWithEnoughMemoryIsRightAndLeaksNothing) {
  Run();
  const long long live = LiveAllocations();
  const RunOutcome outcome = Run();
  EXPECT_EQ(LiveAllocations(), live);
  EXPECT_EQ(outcome.code, 0);
  ExpectRightResult(outcome);
}

TEST_P(LogisticAllocationFailure, ASingleFailureEndsInAnErrorOrARightResult) {
  FailEveryAllocation(AllocationFault::Extent::kOnce);
}

TEST_P(LogisticAllocationFailure, MemoryThatRunsOutForGoodEndsInAnErrorOrARightResult) {
  FailEveryAllocation(AllocationFault::Extent::kEverAfter);
}

TEST_P(LogisticAllocationFailure, ASingleFailureInASeparatedFitEndsLikewise) {
  LogisticSettings settings(kY, 2, {}, {kX});
  settings.Effect({}, {kX}).InMemory(GetParam());
  VectorRecordIter data(
      qvtest::MakeRecords({{0, 0, 1}, {0, 0, 2}, {1, 0, 4}, {1, 0, 5}, {0, 0, 1}}));
  const auto read = [](const IQvRegOutputStats& stats, RunOutcome& outcome) {
    outcome.fit = dynamic_cast<const QvLogOutputStats&>(stats).GetOutcome();
  };
  qvtest::FailEveryAllocation(
      AllocationFault::Extent::kOnce,
      [&] { return qvtest::RunComponent(settings.Get(), data, fresh_, read); },
      [](const RunOutcome& outcome) { EXPECT_EQ(outcome.fit, kOptCompleteSeparation); });
}

TEST_P(LogisticAllocationFailure, AFailureOfGetOutputStatsIsNotKept) {
  QvLogComponent component(settings_.Get());
  ASSERT_TRUE(component.BuildModel(data_).IsOK());
  IQvRegOutputStats* stats = nullptr;
  QvStatus status;
  {
    const AllocationFault fault(1, AllocationFault::Extent::kEverAfter);
    status = component.GetOutputStats(stats);
  }
  EXPECT_EQ(status.GetCode(), 305);
  EXPECT_EQ(stats, nullptr);
  EXPECT_TRUE(component.IsModelBuilt());
  EXPECT_TRUE(component.GetOutputStats(stats).IsOK());
  EXPECT_NE(stats, nullptr);
}

TEST_P(LogisticAllocationFailure, StatisticsWithoutMemoryTellHowManyParametersTheyAreOf) {
  // Two equations, each with an intercept and the first level of A; all parameters are 8.
  constexpr long kEstimated = 4;
  const auto datumWithFault = [this](long long n) {
    const AllocationFault fault(n, AllocationFault::Extent::kOnce);
    QvRegFactory factory;
    const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings_.Get()));
    long datum = 0;
    const QvStatus status = component == nullptr ? QvStatus() : component->BuildModel(data_);
    const bool hasDatum = status.GetDiscreteDatum(0, datum);
    return hasDatum && status.GetCode() == QvStatusCode::kTooManyParameters ? datum : 0;
  };
  const long long before = AllocationCount();
  Run();
  const long long total = AllocationCount() - before;
  bool isTold = false;
  for (long long n = 1; n <= total && !isTold; ++n) isTold = datumWithFault(n) == kEstimated;
  EXPECT_TRUE(isTold);
}

TEST_P(LogisticAllocationFailure, ScoresAndExpansionsWithoutMemoryFailAndLeaveTheModel) {
  QvLogComponent component(settings_.Get());
  ASSERT_TRUE(component.BuildModel(data_).IsOK());
  IQvRegOutputStats* stats = nullptr;
  ASSERT_TRUE(component.GetOutputStats(stats).IsOK());
  const auto* logistic = dynamic_cast<const QvLogOutputStats*>(stats);
  ASSERT_NE(logistic, nullptr);
  double predicted = -9.0;
  Doubles values;
  Doubles row;
  std::vector<int> indices;
  QvStatus status;
  bool isExpanded = true;
  bool isListed = true;
  {
    const AllocationFault fault(1, AllocationFault::Extent::kEverAfter);
    status = component.Score(fresh_, predicted, values);
    isExpanded = logistic->ExpandRow(fresh_, row);
    isListed = logistic->ExpandRow(fresh_, indices, row);
  }
  EXPECT_TRUE(status == QvStatus(305, false));
  EXPECT_EQ(predicted, -9.0);
  EXPECT_FALSE(isExpanded);
  EXPECT_FALSE(isListed);
  EXPECT_TRUE(component.Score(fresh_, predicted, values).IsOK());
  EXPECT_TRUE(logistic->ExpandRow(fresh_, row));
}

TEST_P(LogisticAllocationFailure, ScoringIntoAVectorWithRoomAllocatesNothing) {
  QvLogComponent component(settings_.Get());
  ASSERT_TRUE(component.BuildModel(data_).IsOK());
  double predicted = -9.0;
  Doubles values(3);
  const long long before = AllocationCount();
  for (int i = 0; i < 5; ++i) component.Score(fresh_, predicted, values);
  EXPECT_EQ(AllocationCount(), before);
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutTabulator, LogisticAllocationFailure, ::testing::Bool());

/// The records of a block hold every level of A and every y.
constexpr std::size_t kBlock = 6;
constexpr std::size_t kMostPasses = 200;

std::vector<QvCommon::Record> Blocks(std::size_t nBlocks) {
  std::vector<QvCommon::Record> records;
  for (std::size_t i = 0; i < nBlocks * kBlock; ++i) {
    records.push_back(
        MakeRecord({static_cast<double>(i % 3), static_cast<double>(i / 3 % 2),
                    static_cast<double>(i * 31 % 17), 1.0 + static_cast<double>(i % 4)}));
  }
  return records;
}

/// Of records in blocks.
class CountingIter : public AllocationCountingIter {
 public:
  explicit CountingIter(std::vector<QvCommon::Record> records)
      : AllocationCountingIter(std::move(records), kBlock, kMostPasses) {}
};

class LogisticPassAllocation : public ::testing::Test {
 protected:
  LogisticPassAllocation() {
    settings_.Effect({kA}).Effect({}, {kX}).Effect({kA}, {kX, kX}).FrequencyWeight(kFrequency);
    EXPECT_TRUE(settings_.Get().SetMaxIterations(3));
  }

  /// A whole run; how many allocations it took.
  long long Build(CountingIter& data) {
    const long long before = AllocationCount();
    QvLogComponent component(settings_.Get());
    EXPECT_TRUE(component.BuildModel(data).IsOK());
    return AllocationCount() - before;
  }

  LogisticSettings settings_{kY, 3, {{kA, 2}}, {kX}};
};

TEST_F(LogisticPassAllocation, TheFirstPassAllocatesForNewLevelCombinationsOnly) {
  for (const bool inMemory : {false, true}) {
    settings_.InMemory(inMemory);
    CountingIter data(Blocks(50));
    Build(data);
    EXPECT_GT(data.PassAt(0).afterFirstBlock, data.PassAt(0).atStart);
    EXPECT_EQ(data.PassAt(0).atEnd, data.PassAt(0).afterFirstBlock);
  }
}

TEST_F(LogisticPassAllocation, TheLaterPassesAllocateNothingBehindTheirFirstRecord) {
  CountingIter data(Blocks(50));
  Build(data);
  ASSERT_GT(data.Passes(), 6);
  for (int pass = 1; pass < data.Passes(); ++pass) {
    SCOPED_TRACE("pass " + std::to_string(pass));
    const long long count = data.PassAt(pass).atEnd - data.PassAt(pass).afterFirstRecord;
    // The first one of the iterations makes room for the rows of two patterns and for their sums.
    EXPECT_LE(count, pass == 2 ? 30 : 0);
  }
}

TEST_F(LogisticPassAllocation, TenTimesTheRecordsCostTheSameAllocations) {
  CountingIter few(Blocks(20));
  CountingIter many(Blocks(200));
  const long long allocations = Build(few);
  const int passes = few.Passes();
  EXPECT_EQ(Build(many) - allocations, 0) << passes << " and " << many.Passes() << " passes";
}

TEST_F(LogisticPassAllocation, TheTabulatorAllocatesBlocksOfRowsAndTheWalksNothing) {
  settings_.InMemory();
  CountingIter few(Blocks(200));
  CountingIter many(Blocks(2000));
  const long long allocations = Build(few);
  // 12,000 rows of two patterns: two more blocks of 4096 rows at most, and a few smaller ones.
  const long long more = Build(many) - allocations;
  EXPECT_GE(more, 0);
  EXPECT_LE(more, 20);
  EXPECT_LE(many.PassAt(1).atEnd - many.PassAt(1).afterFirstRecord, 60) << "the storing pass";
}

}  // namespace
