#include "qvreg/design/QvFactorCounts.h"

#include <limits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::CapturedDisplay;
using qvtest::HoldsInOrder;
using qvtest::MakeRecord;
using Counts = QvFactorCounts::Counts;

constexpr int kNone = -1;

/// Two factors, variables 0 (3 categories) and 1 (2 categories), and whatever the test names.
QvFactorCounts TwoFactors(int weightVar = kNone, int dependentVar = kNone,
                          int nDependentCategories = 0, int offsetVar = kNone,
                          double offsetValue = 0.0,
                          QvConst::QvOffsetType offsetType = QvConst::QvOffsetNone) {
  return QvFactorCounts({0, 1}, {3, 2}, weightVar, dependentVar, nDependentCategories, 0, offsetVar,
                        offsetValue, offsetType);
}

TEST(QvFactorCounts, StartsWithZeroCountsForEveryCategory) {
  const QvFactorCounts counts = TwoFactors();
  EXPECT_EQ(counts.GetNFactors(), 2);
  EXPECT_EQ(*counts.GetCountsPtr(0), Counts(3));
  EXPECT_EQ(*counts.GetCountsPtr(1), Counts(2));
  EXPECT_EQ(counts.GetNActiveCategories(0), 0);
}

TEST(QvFactorCounts, CountsCodesBelowTheNumberOfCategoriesAndRefusesThatNumber) {
  QvFactorCounts counts({0}, {3}, kNone, kNone, 0, 0, kNone, 0.0, QvConst::QvOffsetNone);
  EXPECT_TRUE(counts.Update(MakeRecord({0})));
  EXPECT_TRUE(counts.Update(MakeRecord({1})));
  EXPECT_TRUE(counts.Update(MakeRecord({2})));
  EXPECT_FALSE(counts.Update(MakeRecord({3})));
  EXPECT_EQ(*counts.GetCountsPtr(0), (Counts{{1, 1}, {1, 1}, {1, 1}}));
}

TEST(QvFactorCounts, AddsTheWeightAndOneToThePairOfEachCategory) {
  QvFactorCounts counts = TwoFactors(2);
  EXPECT_TRUE(counts.Update(MakeRecord({1, 0, 2.5})));
  EXPECT_EQ(*counts.GetCountsPtr(0), (Counts{{0, 0}, {2.5, 1}, {0, 0}}));
  EXPECT_EQ(*counts.GetCountsPtr(1), (Counts{{2.5, 1}, {0, 0}}));
}

TEST(QvFactorCounts, CategoriesSeenWithZeroWeightOnlyAreNotActive) {
  QvFactorCounts counts = TwoFactors(2);
  EXPECT_TRUE(counts.Update(MakeRecord({0, 0, 0.0})));
  EXPECT_TRUE(counts.Update(MakeRecord({1, 0, 0.0})));
  EXPECT_EQ(counts.GetNActiveCategories(0), 0);
  EXPECT_EQ((*counts.GetCountsPtr(0))[1], QvFactorCounts::CountPair(0.0, 1.0));
}

TEST(QvFactorCounts, ActiveCategoriesAreThoseWithAPositiveWeight) {
  QvFactorCounts counts = TwoFactors(2);
  counts.Update(MakeRecord({0, 0, 1.0}));
  counts.Update(MakeRecord({2, 0, 4.0}));
  counts.Update(MakeRecord({2, 1, 0.0}));
  EXPECT_EQ(counts.GetNActiveCategories(0), 2);
  EXPECT_EQ(counts.GetNActiveCategories(1), 1);
}

TEST(QvFactorCounts, WithoutDependentUpdateTouchesNoDependentCounts) {
  QvFactorCounts counts = TwoFactors();
  EXPECT_TRUE(counts.Update(MakeRecord({0, 1})));
  EXPECT_EQ(counts.GetDependCountsPtr(), nullptr);
  EXPECT_EQ(counts.GetDepCountsWithOffsetPtr(), nullptr);
}

TEST(QvFactorCounts, ADependentWithoutCategoriesIsNotCounted) {
  QvFactorCounts counts = TwoFactors(kNone, 2, 0);
  EXPECT_EQ(counts.GetDependCountsPtr(), nullptr);
  EXPECT_TRUE(counts.Update(MakeRecord({0, 1, 17.25})));
}

TEST(QvFactorCounts, ADependentOfOneCategoryIsCounted) {
  QvFactorCounts counts = TwoFactors(kNone, 2, 1);
  ASSERT_NE(counts.GetDependCountsPtr(), nullptr);
  EXPECT_TRUE(counts.Update(MakeRecord({0, 1, 0})));
  EXPECT_FALSE(counts.Update(MakeRecord({0, 1, 1})));
  EXPECT_EQ(*counts.GetDependCountsPtr(), (Counts{{1, 1}}));
}

TEST(QvFactorCounts, AFactorWithoutCategoriesHasNoCounts) {
  for (const int nCategories : {0, -1}) {
    QvFactorCounts counts({0}, {nCategories}, kNone, kNone, 0, 0, kNone, 0.0,
                          QvConst::QvOffsetNone);
    EXPECT_EQ(*counts.GetCountsPtr(0), Counts());
    EXPECT_FALSE(counts.Update(MakeRecord({0})));
  }
}

TEST(QvFactorCounts, CategoriesWithoutADependentAreNotCounted) {
  QvFactorCounts counts = TwoFactors(kNone, -1, 3);
  EXPECT_EQ(counts.GetDependCountsPtr(), nullptr);
  EXPECT_EQ(counts.GetDepCountsWithOffsetPtr(), nullptr);
  EXPECT_TRUE(counts.Update(MakeRecord({2, 1})));
  EXPECT_EQ((*counts.GetCountsPtr(0))[2].second, 1.0);
}

TEST(QvFactorCounts, TheOtherFactorsOfARefusedRecordAreCounted) {
  QvFactorCounts counts({0, 1, 2}, {3, 2, 2}, kNone, 3, 2, 0, kNone, 0.0, QvConst::QvOffsetNone);
  EXPECT_FALSE(counts.Update(MakeRecord({1, 2, 1, 0})));
  EXPECT_EQ((*counts.GetCountsPtr(0))[1], QvFactorCounts::CountPair(1.0, 1.0));
  EXPECT_EQ(*counts.GetCountsPtr(1), Counts(2));
  EXPECT_EQ((*counts.GetCountsPtr(2))[1], QvFactorCounts::CountPair(1.0, 1.0));
  EXPECT_EQ(*counts.GetDependCountsPtr(), Counts(2)) << "a refused record has no dependent";
}

TEST(QvFactorCounts, RoundsCodesByAddingOneHalf) {
  QvFactorCounts counts = TwoFactors();
  EXPECT_TRUE(counts.Update(MakeRecord({1.6, -0.4})));
  EXPECT_EQ((*counts.GetCountsPtr(0))[2].second, 1.0);
  EXPECT_EQ((*counts.GetCountsPtr(1))[0].second, 1.0);
}

TEST(QvFactorCounts, FirstCodeShiftsTheCategories) {
  QvFactorCounts counts({0}, {2}, kNone, kNone, 0, 1, kNone, 0.0, QvConst::QvOffsetNone);
  EXPECT_FALSE(counts.Update(MakeRecord({0})));
  EXPECT_TRUE(counts.Update(MakeRecord({1})));
  EXPECT_TRUE(counts.Update(MakeRecord({2})));
  EXPECT_FALSE(counts.Update(MakeRecord({3})));
  EXPECT_EQ(*counts.GetCountsPtr(0), (Counts{{1, 1}, {1, 1}}));
}

TEST(QvFactorCounts, CountsTheDependentAndItsFixedOffset) {
  QvFactorCounts counts = TwoFactors(2, 3, 2, kNone, 1.5, QvConst::QvOffsetFixed);
  EXPECT_TRUE(counts.Update(MakeRecord({0, 0, 2.0, 1})));
  EXPECT_TRUE(counts.Update(MakeRecord({0, 0, 3.0, 1})));
  EXPECT_EQ(*counts.GetDependCountsPtr(), (Counts{{0, 0}, {5, 2}}));
  // First 1.5 x 2 + 1.5 x 3, second 2 + 3.
  EXPECT_EQ(*counts.GetDepCountsWithOffsetPtr(), (Counts{{0, 0}, {7.5, 5}}));
}

TEST(QvFactorCounts, TakesTheOffsetFromItsVariable) {
  QvFactorCounts counts = TwoFactors(2, 3, 2, 4, 100.0, QvConst::QvOffsetVariable);
  EXPECT_TRUE(counts.Update(MakeRecord({0, 0, 2.0, 0, 0.25})));
  EXPECT_EQ((*counts.GetDepCountsWithOffsetPtr())[0], QvFactorCounts::CountPair(0.5, 2.0));
}

TEST(QvFactorCounts, WithoutOffsetOnlyTheWeightsAreSummed) {
  QvFactorCounts counts = TwoFactors(2, 3, 2, 4, 100.0, QvConst::QvOffsetNone);
  EXPECT_TRUE(counts.Update(MakeRecord({0, 0, 2.0, 0, 0.25})));
  EXPECT_EQ((*counts.GetDepCountsWithOffsetPtr())[0], QvFactorCounts::CountPair(0.0, 2.0));
}

TEST(QvFactorCounts, ADependentOutOfRangeIsRefusedAfterTheFactors) {
  QvFactorCounts counts = TwoFactors(kNone, 2, 2);
  EXPECT_FALSE(counts.Update(MakeRecord({0, 0, 2})));
  EXPECT_EQ((*counts.GetCountsPtr(0))[0].second, 1.0);
  EXPECT_EQ(*counts.GetDependCountsPtr(), Counts(2));
  EXPECT_EQ(*counts.GetDepCountsWithOffsetPtr(), Counts(2));
}

TEST(QvFactorCounts, AnswersMinusOneOrNullForAFactorThatIsNotThere) {
  const QvFactorCounts counts = TwoFactors();
  for (const int factor : {-1, 2}) {
    EXPECT_EQ(counts.GetNCategories(factor), -1);
    EXPECT_EQ(counts.GetCountsPtr(factor), nullptr);
    EXPECT_EQ(counts.GetNActiveCategories(factor), -1);
  }
  EXPECT_EQ(counts.GetNCategories(0), 3);
  EXPECT_EQ(counts.GetNCategories(1), 2);
}

TEST(QvFactorCounts, TellsWhichRecordsItWouldCount) {
  const QvFactorCounts counts = TwoFactors();
  EXPECT_TRUE(counts.IsInRange(MakeRecord({2, 1})));
  EXPECT_FALSE(counts.IsInRange(MakeRecord({3, 1})));
  EXPECT_FALSE(counts.IsInRange(MakeRecord({2, 2})));
  EXPECT_EQ(*counts.GetCountsPtr(0), Counts(3)) << "asking counts nothing";
}

TEST(QvFactorCounts, TellsWhichDependentsItWouldCount) {
  const QvFactorCounts counts = TwoFactors(kNone, 2, 2);
  EXPECT_TRUE(counts.IsInRange(MakeRecord({2, 1, 1})));
  EXPECT_FALSE(counts.IsInRange(MakeRecord({2, 1, 2})));
  EXPECT_FALSE(counts.IsInRange(MakeRecord({2, 1, -2})));
  EXPECT_FALSE(counts.IsInRange(MakeRecord({3, 1, 1})));
  EXPECT_EQ(*counts.GetDependCountsPtr(), Counts(2)) << "asking counts nothing";
}

TEST(QvFactorCounts, ADependentThatIsNotCountedHasNoRange) {
  const QvFactorCounts counts = TwoFactors();
  EXPECT_TRUE(counts.IsInRange(MakeRecord({2, 1, 1000})));
}

TEST(QvFactorCounts, CopiesAreIndependent) {
  QvFactorCounts original = TwoFactors(kNone, 2, 2);
  original.Update(MakeRecord({1, 1, 0}));
  const QvFactorCounts copy(original);
  QvFactorCounts assigned = TwoFactors();
  assigned = original;
  original.Update(MakeRecord({1, 1, 0}));

  for (const QvFactorCounts* counts : {&copy, static_cast<const QvFactorCounts*>(&assigned)}) {
    EXPECT_EQ(counts->GetNFactors(), 2);
    EXPECT_EQ((*counts->GetCountsPtr(0))[1].second, 1.0);
    EXPECT_EQ((*counts->GetDependCountsPtr())[0].second, 1.0);
    EXPECT_EQ((*counts->GetDepCountsWithOffsetPtr())[0].second, 1.0);
  }
  EXPECT_EQ((*original.GetCountsPtr(0))[1].second, 2.0);
}

TEST(QvFactorCounts, AMoveKeepsTheCounts) {
  QvFactorCounts original = TwoFactors();
  original.Update(MakeRecord({2, 0}));
  const QvFactorCounts moved(std::move(original));
  EXPECT_EQ((*moved.GetCountsPtr(0))[2].second, 1.0);
}

TEST(QvFactorCounts, DisplayPrintsEveryField) {
  QvFactorCounts counts = TwoFactors(2, 3, 2);
  counts.Update(MakeRecord({1, 0, 2.5, 1}));
  const std::string text = CapturedDisplay(counts);
  EXPECT_TRUE(HoldsInOrder(
      text,
      {"QvFactorCounts display start\n", "The number of factors: 2\n",
       "Index of the weight variable: 2\n", "Vector of factor indices: 0 1\n",
       "Vector of factor numbers of categories: 3 2\n", "Factor number (starting from 0): 0\n",
       ": 0 2.5 0\n", ": 0 1 0\n", "Factor number (starting from 0): 1\n",
       "Index of the dependent categorical variable: 3\n",
       "Number of categories for dependent variable: 2\n", ": 0 2.5\n", ": 0 1\n",
       "QvFactorCounts display end\n"}));
}

TEST(QvFactorCounts, DisplayPrintsEveryDigitOfACount) {
  QvFactorCounts counts = TwoFactors(2);
  counts.SetRecordCountVar(3);
  counts.Update(MakeRecord({0, 0, 12345678.5, 87654321}));
  EXPECT_TRUE(HoldsInOrder(CapturedDisplay(counts), {": 12345678.5 0 0\n", ": 87654321 0 0\n"}));
}

TEST(QvFactorCounts, DisplaySaysWhenTheDependentIsNotCounted) {
  EXPECT_TRUE(
      HoldsInOrder(CapturedDisplay(TwoFactors()),
                   {"Index of the dependent categorical variable: -1\n",
                    "Vector of case counts for categories of the dependent variable undefined\n",
                    "QvFactorCounts display end\n"}));
}

TEST(QvFactorCounts, AMissingCodeIsNotInRange) {
  const QvFactorCounts counts = TwoFactors(kNone, 2, 2);
  for (const double missing : {-1.0, -0.6, -1e300}) {
    EXPECT_FALSE(counts.IsInRange(MakeRecord({missing, 1, 1}))) << missing;
    EXPECT_FALSE(counts.IsInRange(MakeRecord({2, missing, 1}))) << missing;
    EXPECT_FALSE(counts.IsInRange(MakeRecord({2, 1, missing}))) << missing;
  }
  EXPECT_TRUE(counts.IsInRange(MakeRecord({0, 0, 0})));
}

/// Becomes a copy of the counts by `assign`, or by construction.
QvFactorCounts CopyOf(const QvFactorCounts& counts, bool assign) {
  if (!assign) return QvFactorCounts(counts);
  QvFactorCounts copy({0}, {9}, kNone, kNone, 0, 7, kNone, 0.0, QvConst::QvOffsetNone);
  copy = counts;
  return copy;
}

TEST(QvFactorCounts, ACopyCountsWithTheWeightVariable) {
  for (const bool assign : {false, true}) {
    QvFactorCounts copy = CopyOf(TwoFactors(2), assign);
    ASSERT_TRUE(copy.Update(MakeRecord({1, 0, 2.5})));
    EXPECT_EQ((*copy.GetCountsPtr(0))[1], QvFactorCounts::CountPair(2.5, 1.0));
  }
}

TEST(QvFactorCounts, ACopyCountsFromTheFirstCode) {
  const QvFactorCounts fromThree({0}, {2}, kNone, kNone, 0, 3, kNone, 0.0, QvConst::QvOffsetNone);
  for (const bool assign : {false, true}) {
    QvFactorCounts copy = CopyOf(fromThree, assign);
    EXPECT_TRUE(copy.Update(MakeRecord({3})));
    EXPECT_FALSE(copy.Update(MakeRecord({1})));
    EXPECT_EQ(*copy.GetCountsPtr(0), (Counts{{1, 1}, {0, 0}}));
  }
}

TEST(QvFactorCounts, ACopyTakesTheOffsetFromWhereTheOriginalDid) {
  const QvFactorCounts variable = TwoFactors(kNone, 2, 2, 3, 100.0, QvConst::QvOffsetVariable);
  const QvFactorCounts fixed = TwoFactors(kNone, 2, 2, 3, 100.0, QvConst::QvOffsetFixed);
  for (const bool assign : {false, true}) {
    QvFactorCounts ofVariable = CopyOf(variable, assign);
    QvFactorCounts ofFixed = CopyOf(fixed, assign);
    ASSERT_TRUE(ofVariable.Update(MakeRecord({0, 0, 1, 0.25})));
    ASSERT_TRUE(ofFixed.Update(MakeRecord({0, 0, 1, 0.25})));
    EXPECT_EQ((*ofVariable.GetDepCountsWithOffsetPtr())[1], QvFactorCounts::CountPair(0.25, 1.0));
    EXPECT_EQ((*ofFixed.GetDepCountsWithOffsetPtr())[1], QvFactorCounts::CountPair(100.0, 1.0));
  }
}

TEST(QvFactorCounts, AWeightMayBeTheFirstVariableOfARecord) {
  QvFactorCounts counts({1}, {2}, 0, kNone, 0, 0, kNone, 0.0, QvConst::QvOffsetNone);
  ASSERT_TRUE(counts.Update(MakeRecord({2.5, 1})));
  EXPECT_EQ((*counts.GetCountsPtr(0))[1], QvFactorCounts::CountPair(2.5, 1.0));
}

TEST(QvFactorCounts, DisplayWithoutMemoryThrowsNothing) {
  const QvFactorCounts counts = TwoFactors(2, 3, 2);
  EXPECT_NO_THROW(static_cast<void>(qvtest::OutputOf([&] {
    const qvtest::AllocationFault fault(1, qvtest::AllocationFault::Extent::kEverAfter);
    counts.Display();
  })));
}

TEST(QvFactorCountsCategory, AddsOneHalfAndTruncatesTowardZero) {
  EXPECT_EQ(QvFactorCounts::CategoryIndex(2.0, 0), 2);
  EXPECT_EQ(QvFactorCounts::CategoryIndex(1.6, 0), 2);
  EXPECT_EQ(QvFactorCounts::CategoryIndex(1.4, 0), 1);
  EXPECT_EQ(QvFactorCounts::CategoryIndex(-0.4, 0), 0);
  EXPECT_EQ(QvFactorCounts::CategoryIndex(-3.0, 0), -2);
}

TEST(QvFactorCountsCategory, IsCountedFromTheFirstCode) {
  EXPECT_EQ(QvFactorCounts::CategoryIndex(1.0, 1), 0);
  EXPECT_EQ(QvFactorCounts::CategoryIndex(7.0, 5), 2);
  EXPECT_EQ(QvFactorCounts::CategoryIndex(4.0, 5), -1);
}

TEST(QvFactorCountsCategory, OfAValueThatNoIntHoldsIsMinusOne) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(QvFactorCounts::CategoryIndex(1e300, 0), -1);
  EXPECT_EQ(QvFactorCounts::CategoryIndex(-1e300, 0), -1);
  EXPECT_EQ(QvFactorCounts::CategoryIndex(2147483648.0, 0), -1);
  EXPECT_EQ(QvFactorCounts::CategoryIndex(kInfinity, 0), -1);
  EXPECT_EQ(QvFactorCounts::CategoryIndex(-kInfinity, 0), -1);
  EXPECT_EQ(QvFactorCounts::CategoryIndex(std::numeric_limits<double>::quiet_NaN(), 0), -1);
}

TEST(QvFactorCountsCategory, NearTheEndsOfIntDoesNotOverflow) {
  constexpr int kMost = std::numeric_limits<int>::max();
  constexpr int kLeast = std::numeric_limits<int>::min();
  EXPECT_EQ(QvFactorCounts::CategoryIndex(2147483647.0, 0), kMost);
  EXPECT_EQ(QvFactorCounts::CategoryIndex(2147483647.0, kMost - 2), 2);
  EXPECT_EQ(QvFactorCounts::CategoryIndex(-2147483648.0, kLeast), 1)
      << "half is added before it is truncated";
  EXPECT_EQ(QvFactorCounts::CategoryIndex(-2147483649.0, kLeast), 0);
  // No int holds the difference.
  EXPECT_EQ(QvFactorCounts::CategoryIndex(2147483647.0, -1), -1);
  EXPECT_EQ(QvFactorCounts::CategoryIndex(2e9, -2000000000), -1);
  EXPECT_EQ(QvFactorCounts::CategoryIndex(-2e9, 2000000000), -1);
}

}  // namespace
