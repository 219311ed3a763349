#include "qvreg/component/IQvRegOutputStats.h"

#include <cstddef>
#include <type_traits>

#include <gtest/gtest.h>

#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "tests/qvreg/support/VirtualSlot.h"

namespace {

using qvtest::kSlotAfterDestructor;
using qvtest::VirtualSlot;

static_assert(std::is_copy_constructible_v<QvGLMOutputStats> &&
              std::is_copy_assignable_v<QvGLMOutputStats> &&
              std::is_copy_constructible_v<QvLogOutputStats> &&
              std::is_copy_assignable_v<QvLogOutputStats> &&
              std::has_virtual_destructor_v<IQvRegOutputStats>);

TEST(IQvRegOutputStats, DeclaresItsOperationsInSlotOrder) {
  std::size_t slot = kSlotAfterDestructor;
  EXPECT_EQ(VirtualSlot(&IQvRegOutputStats::GetModelType), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegOutputStats::GetFactorCounts), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegOutputStats::GetMeanValues), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegOutputStats::GetParamEstimates), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegOutputStats::GetParameters), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegOutputStats::GetTotalFreqWeight), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegOutputStats::GetTotalRegrWeight), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegOutputStats::GetNDegFreedom), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegOutputStats::GetModelFitStat), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegOutputStats::GetCovarianceMatrix), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegOutputStats::GetParamStats), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegOutputStats::GetRedundancyIndicators), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegOutputStats::GetRecordValidator), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegOutputStats::ExpandRow), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegOutputStats::Cancel), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegOutputStats::Display), slot++);
  EXPECT_EQ(VirtualSlot(&IQvRegOutputStats::GetRedundantCombination), slot++);
}

}  // namespace
