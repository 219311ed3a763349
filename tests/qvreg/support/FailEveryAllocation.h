#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/settings/QvRegSettings.h"
#include "tests/qvreg/support/AllocationHooks.h"

namespace qvtest {

/// What a run came to; holds no memory of its own.
struct RunOutcome {
  bool hasThrown = false;
  bool hasComponent = false;
  /// The first status of the run that was not success.
  long code = QvStatusCode::kOK;
  bool isBuilt = false;
  double predicted = -9.0;
  /// What the test reads of the results: an estimate, and a measure of the fit.
  double estimate = 0.0;
  double fit = -9.0;
};

/// Makes the settings' component and calls every operation, whether or not those before failed:
/// builds the model from `data`, scores `fresh` and has `read(stats, outcome)` read the results.
template <typename Read>
RunOutcome RunComponent(QvRegSettings& settings, QvCommon::MultiPassRecordIter& data,
                        const QvCommon::Record& fresh, Read&& read) {
  RunOutcome outcome;
  const auto note = [&outcome](const QvCommon::QvStatus& status) {
    if (outcome.code == QvStatusCode::kOK) outcome.code = status.GetCode();
  };
  try {
    QvRegFactory factory;
    const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings));
    outcome.hasComponent = component != nullptr;
    if (component == nullptr) return outcome;
    std::vector<QvRegrParameter> parameters;
    IQvRegOutputStats* stats = nullptr;
    std::vector<double> values;
    note(component->CreateParameters(data, parameters));
    note(component->BuildModel(data));
    note(component->GetOutputStats(stats));
    note(component->Score(fresh, outcome.predicted, values));
    component->GetWarnings();
    outcome.isBuilt = component->IsModelBuilt();
    if (stats != nullptr) read(*stats, outcome);
  } catch (...) {
    outcome.hasThrown = true;
  }
  return outcome;
}

/// Repeats a run once for each of its allocations, which then fails. A run must not throw or leak;
/// it ends without a component, with kTooManyParameters, or with the right result, which
/// `expectRightResult(outcome)` checks.
template <typename Run, typename Check>
void FailEveryAllocation(AllocationFault::Extent extent, Run&& run, Check&& expectRightResult) {
  const long long before = AllocationCount();
  RunOutcome outcome = run();
  const long long total = AllocationCount() - before;
  ASSERT_GT(total, 100);
  for (long long n = 1; n <= total; ++n) {
    SCOPED_TRACE("allocation " + std::to_string(n) + " of " + std::to_string(total));
    const long long live = LiveAllocations();
    bool hasStruck = false;
    {
      const AllocationFault fault(n, extent);
      outcome = run();
      hasStruck = fault.HasStruck();
    }
    EXPECT_EQ(LiveAllocations(), live);
    EXPECT_TRUE(hasStruck);
    EXPECT_FALSE(outcome.hasThrown);
    if (!outcome.hasComponent) continue;
    if (outcome.code == QvStatusCode::kOK) {
      expectRightResult(outcome);
    } else {
      EXPECT_EQ(outcome.code, QvStatusCode::kTooManyParameters);
    }
  }
}

}  // namespace qvtest
