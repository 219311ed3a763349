// A run in which the n-th allocation fails, for every n that the run gets to, ends with an error
// or with the right result. It never crashes, throws or leaks.
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatus.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/settings/QvRegSettings.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/FailEveryAllocation.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvStatus;
using qvtest::AllocationFault;
using qvtest::LinearSettings;
using qvtest::LiveAllocations;
using qvtest::RunOutcome;
using qvtest::VectorRecordIter;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kB = 2;
constexpr int kX = 3;
constexpr int kFrequency = 4;
constexpr int kRegression = 5;

struct Case {
  bool intercept;
  bool refined;
};

void PrintTo(const Case& c, std::ostream* out) {
  *out << (c.intercept ? "intercept" : "no intercept") << (c.refined ? ", refined" : "");
}

/// y = 2 x + 10 a + 3 b + 4 a b exactly, in every cell of two factors of two levels each.
VectorRecordIter ExactData() {
  std::vector<std::vector<double>> rows;
  for (int i = 0; i < 12; ++i) {
    const int a = i % 2;
    const int b = (i / 2) % 2;
    const int x = (i * 5) % 7;
    const double y = 2 * x + 10 * a + 3 * b + 4 * a * b;
    rows.push_back({y, static_cast<double>(a), static_cast<double>(b), static_cast<double>(x),
                    1.0 + i % 3, 0.5 + i % 2});
  }
  return VectorRecordIter(qvtest::MakeRecords(rows));
}

class AllocationFailure : public ::testing::TestWithParam<Case> {
 protected:
  AllocationFailure() {
    settings_.Effect({kA}).Effect({kB}).Effect({kA, kB}).Effect({}, {kX});
    settings_.FrequencyWeight(kFrequency).RegressionWeight(kRegression);
    if (!GetParam().intercept) settings_.NoIntercept();
    if (GetParam().refined) settings_.Refined();
  }

  RunOutcome Run() {
    return qvtest::RunComponent(
        settings_.Get(), data_, fresh_, [](const IQvRegOutputStats& stats, RunOutcome& outcome) {
          outcome.estimate = stats.GetParamEstimates().back();
          outcome.fit = stats.GetModelFitStat(QvConst::QvFitMultipleRSquare);
        });
  }

  static void ExpectRightResult(const RunOutcome& outcome) {
    EXPECT_TRUE(outcome.isBuilt);
    EXPECT_NEAR(outcome.predicted, 67.0, 1e-10);  // 2 x 25 + 10 + 3 + 4
    EXPECT_NEAR(outcome.estimate, 2.0, 1e-10);
    EXPECT_NEAR(outcome.fit, 1.0, 1e-12);
  }

  void FailEveryAllocation(AllocationFault::Extent extent) {
    qvtest::FailEveryAllocation(
        extent, [this] { return Run(); }, ExpectRightResult);
  }

  LinearSettings settings_{kY, {{kA, 2}, {kB, 2}}, {kX}};
  VectorRecordIter data_ = ExactData();
  const QvCommon::Record fresh_ = qvtest::MakeRecord({0, 1, 1, 25});
};

TEST_P(AllocationFailure, ARunWithEnoughMemoryIsRightAndLeaksNothing) {
  const long long live = LiveAllocations();
  const RunOutcome outcome = Run();
  EXPECT_EQ(LiveAllocations(), live);
  EXPECT_EQ(outcome.code, 0);
  ExpectRightResult(outcome);
}

TEST_P(AllocationFailure, ASingleFailureEndsInAnErrorOrARightResult) {
  FailEveryAllocation(AllocationFault::Extent::kOnce);
}

TEST_P(AllocationFailure, MemoryThatRunsOutForGoodEndsInAnErrorOrARightResult) {
  FailEveryAllocation(AllocationFault::Extent::kEverAfter);
}

TEST_P(AllocationFailure, AFailureWithinTheBuildIsKept) {
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings_.Get()));
  ASSERT_NE(component, nullptr);
  {
    const AllocationFault fault(1, AllocationFault::Extent::kOnce);
    component->BuildModel(data_);
  }
  EXPECT_EQ(component->GetStatus().GetCode(), 305);
  EXPECT_EQ(component->BuildModel(data_).GetCode(), 305);
  EXPECT_FALSE(component->IsModelBuilt());
}

TEST_P(AllocationFailure, AFailureOfGetOutputStatsIsNotKept) {
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings_.Get()));
  ASSERT_NE(component, nullptr);
  ASSERT_TRUE(component->BuildModel(data_).IsOK());
  IQvRegOutputStats* stats = nullptr;
  QvStatus status;
  {
    const AllocationFault fault(1, AllocationFault::Extent::kEverAfter);
    status = component->GetOutputStats(stats);
  }
  EXPECT_EQ(status.GetCode(), 305);
  EXPECT_EQ(stats, nullptr);
  EXPECT_TRUE(component->IsModelBuilt());
  EXPECT_TRUE(component->GetOutputStats(stats).IsOK());
  EXPECT_NE(stats, nullptr);
}

TEST_P(AllocationFailure, ExpandRowWithoutMemoryAnswersFalse) {
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings_.Get()));
  ASSERT_NE(component, nullptr);
  ASSERT_TRUE(component->BuildModel(data_).IsOK());
  IQvRegOutputStats* stats = nullptr;
  ASSERT_TRUE(component->GetOutputStats(stats).IsOK());
  std::vector<double> row;
  bool isExpanded = true;
  {
    const AllocationFault fault(1, AllocationFault::Extent::kEverAfter);
    isExpanded = stats->ExpandRow(fresh_, row);
  }
  EXPECT_FALSE(isExpanded);
  EXPECT_TRUE(stats->ExpandRow(fresh_, row));
}

INSTANTIATE_TEST_SUITE_P(Models, AllocationFailure,
                         ::testing::Values(Case{true, false}, Case{true, true}, Case{false, false},
                                           Case{false, true}));

/// What a host does that does not look at the setters' answers: y, a factor of two categories and a
/// frequency weight.
void FillCarelessly(QvRegSettings& settings, int weightVar) {
  static_cast<void>(settings.SetDependent(kY));
  static_cast<void>(settings.AddFactor(kA, 2));
  static_cast<void>(settings.SetFrequencyWeightVar(weightVar));
}

TEST(SettingsAllocationFailure, SettingsThatASetterLeftIncompleteCrashNoRun) {
  constexpr int kFarWeight = 40;
  const QvCommon::Record full = qvtest::MakeRecord(std::vector<double>(kFarWeight + 1, 1.0));
  const QvCommon::Record tooShort = qvtest::MakeRecord({1.0});
  bool hasStruck = true;
  for (long long n = 1; hasStruck; ++n) {
    SCOPED_TRACE("allocation " + std::to_string(n));
    QvRegSettings settings;
    {
      const AllocationFault fault(n, AllocationFault::Extent::kOnce);
      FillCarelessly(settings, kFarWeight);
      hasStruck = fault.HasStruck();
    }
    QvRegFactory factory;
    const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings));
    if (component == nullptr) continue;
    VectorRecordIter data({full, full, tooShort});
    EXPECT_TRUE(component->BuildModel(data).IsError()) << "the last record is too short";
  }
}

}  // namespace
