#include "qvreg/logistic/QvDependentCategories.h"

#include <vector>

#include <gtest/gtest.h>

#include "qvreg/settings/QvLogRegSettings.h"

namespace {

using QvCommon::QvStatus;
using Counts = QvFactorCounts::Counts;
using Ints = std::vector<int>;
using Doubles = std::vector<double>;

constexpr int kLast = QvLogRegSettings::kLastObserved;
constexpr int kFirst = QvLogRegSettings::kFirstObserved;

/// Five categories of which 1 and 3 were not observed.
const Counts kCounts{{2.5, 1}, {0, 0}, {4, 3}, {0, 2}, {1, 1}};

TEST(QvDependentCategories, StartWithoutACategory) {
  const QvDependentCategories categories;
  EXPECT_EQ(categories.GetCount(), 0);
  EXPECT_TRUE(categories.GetCodes().empty());
  EXPECT_EQ(categories.LocalIndexOf(0), -1);
}

TEST(QvDependentCategories, KeepThoseOfPositiveWeightWithTheLastAsReference) {
  QvDependentCategories categories;
  EXPECT_TRUE(categories.Choose(&kCounts, kLast).IsOK());
  EXPECT_EQ(categories.GetCount(), 3);
  EXPECT_EQ(categories.GetCodes(), (Ints{0, 2, 4}));
  EXPECT_EQ(categories.GetLocalIndices(), (Ints{0, -1, 1, -1, 2}));
  EXPECT_EQ(categories.GetWeightedCounts(), (Doubles{2.5, 4, 1}));
  EXPECT_EQ(categories.GetUnweightedCounts(), (Doubles{1, 3, 1}));
}

TEST(QvDependentCategories, MinusTwoMakesTheFirstObservedTheReference) {
  QvDependentCategories categories;
  EXPECT_TRUE(categories.Choose(&kCounts, kFirst).IsOK());
  EXPECT_EQ(categories.GetCodes(), (Ints{2, 4, 0}));
  EXPECT_EQ(categories.GetLocalIndices(), (Ints{2, -1, 0, -1, 1}));
  EXPECT_EQ(categories.GetWeightedCounts(), (Doubles{4, 1, 2.5}));
  EXPECT_EQ(categories.GetUnweightedCounts(), (Doubles{3, 1, 1}));
}

TEST(QvDependentCategories, MinusTwoTakesTheFirstOneObservedNotCategory0) {
  const Counts counts{{0, 0}, {1, 1}, {2, 2}};
  QvDependentCategories categories;
  EXPECT_TRUE(categories.Choose(&counts, kFirst).IsOK());
  EXPECT_EQ(categories.GetCodes(), (Ints{2, 1}));
}

TEST(QvDependentCategories, ACategoryInTheMiddleMovesToTheEndAndTheOthersKeepTheirOrder) {
  QvDependentCategories categories;
  EXPECT_TRUE(categories.Choose(&kCounts, 2).IsOK());
  EXPECT_EQ(categories.GetCodes(), (Ints{0, 4, 2}));
  EXPECT_EQ(categories.GetWeightedCounts(), (Doubles{2.5, 1, 4}));
}

TEST(QvDependentCategories, AReferenceThatWasNotObservedGivesWarning319AndTheLast) {
  for (const int reference : {1, 3, 77}) {
    QvDependentCategories categories;
    EXPECT_TRUE(categories.Choose(&kCounts, reference) == QvStatus(319, true)) << reference;
    EXPECT_EQ(categories.GetCodes(), (Ints{0, 2, 4}));
  }
}

TEST(QvDependentCategories, AReferenceBelowMinusTwoIsTheLastWithoutAWarning) {
  QvDependentCategories categories;
  EXPECT_TRUE(categories.Choose(&kCounts, -3).IsOK());
  EXPECT_EQ(categories.GetCodes(), (Ints{0, 2, 4}));
}

TEST(QvDependentCategories, FewerThanTwoOfPositiveWeightGive318AndChangeNothing) {
  QvDependentCategories categories;
  ASSERT_TRUE(categories.Choose(&kCounts, kLast).IsOK());
  const Counts one{{0, 3}, {2, 2}, {0, 0}};
  const Counts none;
  for (const Counts* counts : {&one, &none, static_cast<const Counts*>(nullptr)}) {
    EXPECT_TRUE(categories.Choose(counts, kLast) == QvStatus(318, false));
    EXPECT_EQ(categories.GetCodes(), (Ints{0, 2, 4}));
  }
}

TEST(QvDependentCategories, ChosenAgainReplaceThoseBefore) {
  QvDependentCategories categories;
  ASSERT_TRUE(categories.Choose(&kCounts, kLast).IsOK());
  ASSERT_TRUE(categories.Choose(&kCounts, kFirst).IsOK());
  EXPECT_EQ(categories.GetCodes(), (Ints{2, 4, 0}));
  EXPECT_EQ(categories.GetWeightedCounts(), (Doubles{4, 1, 2.5}));
  EXPECT_EQ(categories.GetUnweightedCounts(), (Doubles{3, 1, 1}));
}

TEST(QvDependentCategories, TranslateBetweenCodeAndLocalIndex) {
  QvDependentCategories categories;
  categories.Choose(&kCounts, 0);
  for (int local = 0; local < categories.GetCount(); ++local) {
    EXPECT_EQ(categories.LocalIndexOf(categories.CodeOf(local)), local);
  }
  for (const int code : {-1, 1, 3, 5, 1000}) EXPECT_EQ(categories.LocalIndexOf(code), -1) << code;
}

TEST(QvDependentCategories, PreferWeightThenRecordsThenTheSmallerCode) {
  const Counts counts{{2, 9}, {3, 1}, {3, 2}, {3, 2}};
  QvDependentCategories categories;
  categories.Choose(&counts, 2);  // local order 0, 1, 3, 2
  EXPECT_TRUE(categories.IsPreferred(1, 0)) << "more weight, fewer records";
  EXPECT_FALSE(categories.IsPreferred(0, 1));
  EXPECT_TRUE(categories.IsPreferred(2, 1)) << "same weight, more records";
  EXPECT_FALSE(categories.IsPreferred(1, 2));
  EXPECT_TRUE(categories.IsPreferred(3, 2)) << "code 2 stands behind code 3";
  EXPECT_FALSE(categories.IsPreferred(2, 3));
  EXPECT_FALSE(categories.IsPreferred(2, 2));
}

}  // namespace
