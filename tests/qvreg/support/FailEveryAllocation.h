#pragma once

#include <string>

#include <gtest/gtest.h>

#include "tests/qvreg/support/AllocationHooks.h"

namespace qvtest {

/// Repeats a run once for each of its allocations, which then fails. A run must not throw or leak;
/// it ends without a component, with status 305, or with the right result.
///
/// `run()` answers an object with `hasThrown`, `hasComponent` and `code`, the first status that was
/// not success; `expectRightResult(outcome)` checks one that met none.
template <typename Run, typename Check>
void FailEveryAllocation(AllocationFault::Extent extent, Run&& run, Check&& expectRightResult) {
  const long long before = AllocationCount();
  auto outcome = run();
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
    if (outcome.code == 0) {
      expectRightResult(outcome);
    } else {
      EXPECT_EQ(outcome.code, 305);
    }
  }
}

}  // namespace qvtest
