#include "qvreg/settings/QvRegrParameter.h"

#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/settings/QvModelEffect.h"
#include "tests/qvreg/settings/ModelEffects.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/CapturedOutput.h"

namespace {

using qvtest::effects::kA;
using qvtest::effects::kB;
using qvtest::effects::kC;
using qvtest::effects::kVariables;
using qvtest::effects::kX;
using qvtest::effects::kY;
using Ints = std::vector<int>;
using Labels = std::vector<std::string>;

QvRegrParameter SomeParameter() {
  QvRegrParameter parameter;
  EXPECT_TRUE(parameter.AddFactor(5, 2, 0));
  EXPECT_GT(parameter.AddCovariate(4, 1), 0);
  parameter.SetEffectIndex(3);
  parameter.SetTargetCategory(1);
  return parameter;
}

TEST(QvRegrParameter, ByDefaultIsAnInterceptWithoutEffectOrTarget) {
  const QvRegrParameter parameter;
  EXPECT_TRUE(parameter.IsIntercept());
  EXPECT_EQ(parameter.GetNFactors(), 0);
  EXPECT_EQ(parameter.GetNCovariates(), 0);
  EXPECT_EQ(parameter.GetNCovariateMult(), 0);
  EXPECT_EQ(parameter.GetEffectIndex(), -1);
  EXPECT_EQ(parameter.GetTargetCategory(), -1);
}

TEST(QvRegrParameter, FactorsStandInTheOrderOfTheirNestingLevels) {
  QvRegrParameter parameter;
  EXPECT_TRUE(parameter.AddFactor(5, 2, 0));
  EXPECT_TRUE(parameter.AddFactor(7, 1, 1));
  EXPECT_TRUE(parameter.AddFactor(9, 0, 0));
  EXPECT_EQ(parameter.GetFactors(), (Ints{5, 9, 7}));
  EXPECT_EQ(parameter.GetCategories(), (Ints{2, 0, 1}));
  EXPECT_EQ(parameter.GetFactorNestLevels(), (Ints{0, 0, 1}));
  EXPECT_EQ(parameter.GetNFactors(), 3);
}

TEST(QvRegrParameter, AFactorAlreadyPresentIsRefused) {
  QvRegrParameter parameter;
  EXPECT_TRUE(parameter.AddFactor(5, 2, 0));
  const QvRegrParameter before = parameter;
  EXPECT_FALSE(parameter.AddFactor(5, 1, 1));
  EXPECT_TRUE(parameter == before);
}

TEST(QvRegrParameter, ANegativeFactorOrLevelIsRefused) {
  QvRegrParameter parameter;
  EXPECT_FALSE(parameter.AddFactor(-1, 0, 0));
  EXPECT_FALSE(parameter.AddFactor(3, 0, -1));
  EXPECT_TRUE(parameter.IsIntercept());
  EXPECT_TRUE(parameter.AddFactor(0, 0, 0));
}

TEST(QvRegrParameter, CategoriesAreNotChecked) {
  QvRegrParameter parameter;
  EXPECT_TRUE(parameter.AddFactor(3, -4, 0));
  EXPECT_EQ(parameter.GetCategories(), (Ints{-4}));
}

TEST(QvRegrParameter, ContainsFactorAnswersTheCategoryOrTheValueForNone) {
  QvRegrParameter parameter;
  EXPECT_TRUE(parameter.AddFactor(5, 2, 0));
  EXPECT_TRUE(parameter.AddFactor(6, -1, 0));
  EXPECT_EQ(parameter.ContainsFactor(5, -1), 2);
  EXPECT_EQ(parameter.ContainsFactor(6, 99), -1);
  EXPECT_EQ(parameter.ContainsFactor(8, -1), -1);
  EXPECT_EQ(parameter.ContainsFactor(8, 99), 99);
}

TEST(QvRegrParameter, ACovariateAddedAgainGainsMultiplicity) {
  QvRegrParameter parameter;
  EXPECT_EQ(parameter.AddCovariate(4, 1), 1);
  EXPECT_EQ(parameter.AddCovariate(4, 2), 3);
  EXPECT_EQ(parameter.GetCovariates(), (Ints{4}));
  EXPECT_EQ(parameter.GetCovariateMultiplicities(), (Ints{3}));
  EXPECT_EQ(parameter.GetCovariateMult(4), 3);
  EXPECT_EQ(parameter.GetNCovariates(), 1);
}

TEST(QvRegrParameter, ACovariateWithoutMultiplicityIsRefused) {
  QvRegrParameter parameter;
  EXPECT_EQ(parameter.AddCovariate(4, 0), 0);
  EXPECT_EQ(parameter.AddCovariate(4, -1), 0);
  EXPECT_EQ(parameter.AddCovariate(-1, 1), 0);
  EXPECT_TRUE(parameter.IsIntercept());
}

TEST(QvRegrParameter, CovariatesStandInTheOrderAdded) {
  QvRegrParameter parameter;
  EXPECT_GT(parameter.AddCovariate(9, 2), 0);
  EXPECT_GT(parameter.AddCovariate(3, 1), 0);
  EXPECT_EQ(parameter.GetCovariates(), (Ints{9, 3}));
  EXPECT_EQ(parameter.GetCovariateMultiplicities(), (Ints{2, 1}));
  EXPECT_EQ(parameter.GetNCovariateMult(), 3);
  EXPECT_EQ(parameter.GetCovariateMult(5), 0);
}

TEST(QvRegrParameter, WithAFactorOrACovariateIsNoIntercept) {
  QvRegrParameter byFactor;
  EXPECT_TRUE(byFactor.AddFactor(0, 0, 0));
  QvRegrParameter byCovariate;
  EXPECT_GT(byCovariate.AddCovariate(0, 1), 0);
  EXPECT_FALSE(byFactor.IsIntercept());
  EXPECT_FALSE(byCovariate.IsIntercept());
}

TEST(QvRegrParameter, CategoriesAreWrittenInPlace) {
  QvRegrParameter parameter;
  EXPECT_TRUE(parameter.AddFactor(5, 0, 0));
  parameter.GetCategories()[0] = 3;
  EXPECT_EQ(parameter.ContainsFactor(5, -1), 3);
}

TEST(QvRegrParameter, ANegativeEffectIndexIsIgnored) {
  QvRegrParameter parameter;
  parameter.SetEffectIndex(-3);
  EXPECT_EQ(parameter.GetEffectIndex(), -1);
  parameter.SetEffectIndex(0);
  EXPECT_EQ(parameter.GetEffectIndex(), 0);
  parameter.SetEffectIndex(-3);
  EXPECT_EQ(parameter.GetEffectIndex(), 0);
}

TEST(QvRegrParameter, AnyTargetCategoryIsStored) {
  QvRegrParameter parameter;
  parameter.SetTargetCategory(4);
  EXPECT_EQ(parameter.GetTargetCategory(), 4);
  parameter.SetTargetCategory(-2);
  EXPECT_EQ(parameter.GetTargetCategory(), -2);
}

TEST(QvRegrParameter, SetupFromEffectTakesFactorsByLevelAndCovariates) {
  QvModelEffect effect(3, 2, &kVariables);
  EXPECT_TRUE(effect.AddNewFactor(kA, false));
  EXPECT_TRUE(effect.AddNewFactor(kC, false));
  EXPECT_TRUE(effect.AddNewFactor(kB, true));  // Levels: A 1, B 0, C 1.
  EXPECT_GT(effect.AddCovariate(kY), 0);
  EXPECT_GT(effect.AddCovariate(kX), 0);
  EXPECT_GT(effect.AddCovariate(kY), 0);
  QvRegrParameter parameter;
  EXPECT_TRUE(parameter.SetupFromEffect(effect, 2, 6));
  EXPECT_EQ(parameter.GetFactors(), (Ints{kB, kA, kC}));
  EXPECT_EQ(parameter.GetFactorNestLevels(), (Ints{0, 1, 1}));
  EXPECT_EQ(parameter.GetCategories(), (Ints{6, 6, 6}));
  EXPECT_EQ(parameter.GetCovariates(), (Ints{kX, kY}));
  EXPECT_EQ(parameter.GetCovariateMultiplicities(), (Ints{1, 2}));
  EXPECT_EQ(parameter.GetEffectIndex(), 2);
}

TEST(QvRegrParameter, SetupFromEffectReplacesEverythingButTheTarget) {
  QvModelEffect effect(3, 2, &kVariables);
  EXPECT_GT(effect.AddCovariate(kX), 0);
  QvRegrParameter parameter = SomeParameter();
  EXPECT_TRUE(parameter.SetupFromEffect(effect, 0, 0));
  EXPECT_EQ(parameter.GetNFactors(), 0);
  EXPECT_TRUE(parameter.GetCategories().empty());
  EXPECT_TRUE(parameter.GetFactorNestLevels().empty());
  EXPECT_EQ(parameter.GetCovariates(), (Ints{kX}));
  EXPECT_EQ(parameter.GetEffectIndex(), 0);
  EXPECT_EQ(parameter.GetTargetCategory(), 1);
}

TEST(QvRegrParameter, SetupFromEffectRefusesTheIntercept) {
  QvRegrParameter parameter = SomeParameter();
  EXPECT_FALSE(parameter.SetupFromEffect(QvModelEffect(3, 2, &kVariables), 0, 0));
  EXPECT_TRUE(parameter == SomeParameter());
}

TEST(QvRegrParameter, SetupFromEffectRefusesANegativeIndex) {
  QvModelEffect effect(3, 2, &kVariables);
  EXPECT_TRUE(effect.AddNewFactor(kA, false));
  QvRegrParameter parameter = SomeParameter();
  EXPECT_FALSE(parameter.SetupFromEffect(effect, -1, 0));
  EXPECT_TRUE(parameter == SomeParameter());
}

TEST(QvRegrParameter, EqualityComparesEveryField) {
  const QvRegrParameter parameter = SomeParameter();
  EXPECT_TRUE(parameter == SomeParameter());

  QvRegrParameter other = parameter;
  other.GetCategories()[0] = 0;
  EXPECT_FALSE(parameter == other);
  other = parameter;
  EXPECT_TRUE(other.AddFactor(8, 0, 0));
  EXPECT_FALSE(parameter == other);
  other = parameter;
  EXPECT_GT(other.AddCovariate(4, 1), 0);
  EXPECT_FALSE(parameter == other);
  other = parameter;
  EXPECT_GT(other.AddCovariate(8, 1), 0);
  EXPECT_FALSE(parameter == other);
  other = parameter;
  other.SetEffectIndex(4);
  EXPECT_FALSE(parameter == other);
  other = parameter;
  other.SetTargetCategory(0);
  EXPECT_FALSE(parameter == other);

  QvRegrParameter atLevelOne;
  EXPECT_TRUE(atLevelOne.AddFactor(5, 2, 1));
  QvRegrParameter atLevelZero;
  EXPECT_TRUE(atLevelZero.AddFactor(5, 2, 0));
  EXPECT_FALSE(atLevelOne == atLevelZero);
}

TEST(QvRegrParameter, CopiesAreIndependent) {
  QvRegrParameter original = SomeParameter();
  const QvRegrParameter copy(original);
  QvRegrParameter assigned;
  assigned = original;
  EXPECT_TRUE(original.AddFactor(8, 1, 1));
  EXPECT_GT(original.AddCovariate(4, 1), 0);
  EXPECT_TRUE(copy == SomeParameter());
  EXPECT_TRUE(assigned == SomeParameter());
}

TEST(QvRegrParameter, DisplayPrintsFactorsAndCovariates) {
  const std::string output = qvtest::OutputOf([] { SomeParameter().Display(); });
  EXPECT_EQ(qvtest::LineLabels(output),
            (Labels{"Begin QvRegrParameter object display.", "The factors", "Categories",
                    "Factor nesting levels", "Covariates", "Covariate multiplicities",
                    "Index of the effect", "Target category", "End QvRegrParameter object display.",
                    ""}));
  EXPECT_NE(output.find("Index of the effect: 3\n"), std::string::npos);
  EXPECT_NE(output.find("Target category: 1\n"), std::string::npos);
}

TEST(QvRegrParameter, DisplayNamesWhatIsAbsent) {
  EXPECT_EQ(qvtest::OutputOf([] { QvRegrParameter().Display(); }),
            "Begin QvRegrParameter object display.\n"
            "No factors are present.\n"
            "No covariates are present.\n"
            "Index of the effect: -1\n"
            "End QvRegrParameter object display.\n\n");
}

TEST(QvRegrParameter, DisplayPrintsTargetCategoryZeroAndHidesNegativeOnes) {
  QvRegrParameter parameter;
  parameter.SetTargetCategory(0);
  EXPECT_NE(qvtest::OutputOf([&] { parameter.Display(); }).find("Target category: 0\n"),
            std::string::npos);
  parameter.SetTargetCategory(-2);
  EXPECT_EQ(qvtest::OutputOf([&] { parameter.Display(); }).find("Target category"),
            std::string::npos);
}

TEST(QvRegrParameter, DisplayPrintsEveryValueUnderItsLabel) {
  QvRegrParameter parameter;
  ASSERT_TRUE(parameter.AddFactor(11, 21, 1));
  ASSERT_TRUE(parameter.AddFactor(12, 22, 2));
  ASSERT_EQ(parameter.AddCovariate(13, 5), 5);
  ASSERT_EQ(parameter.AddCovariate(14, 6), 6);
  parameter.SetEffectIndex(7);
  parameter.SetTargetCategory(8);
  EXPECT_EQ(qvtest::OutputOf([&] { parameter.Display(); }),
            "Begin QvRegrParameter object display.\n"
            "The factors: 11 12\n"
            "Categories: 21 22\n"
            "Factor nesting levels: 1 2\n"
            "Covariates: 13 14\n"
            "Covariate multiplicities: 5 6\n"
            "Index of the effect: 7\n"
            "Target category: 8\n"
            "End QvRegrParameter object display.\n\n");
}

TEST(QvRegrParameter, AddFactorWithoutMemoryLeavesAllListsAsTheyWere) {
  for (const long long n : {1, 2, 3}) {
    QvRegrParameter parameter = SomeParameter();
    const QvRegrParameter before = parameter;
    {
      const qvtest::AllocationFault fault(n, qvtest::AllocationFault::Extent::kOnce);
      EXPECT_THROW(static_cast<void>(parameter.AddFactor(8, 1, 0)), std::bad_alloc) << n;
    }
    EXPECT_TRUE(parameter == before) << n;
    EXPECT_TRUE(parameter.AddFactor(8, 1, 0));
    EXPECT_EQ(parameter.GetFactors(), (Ints{5, 8}));
    EXPECT_EQ(parameter.GetCategories(), (Ints{2, 1}));
    EXPECT_EQ(parameter.GetFactorNestLevels(), (Ints{0, 0}));
  }
}

TEST(QvRegrParameter, AddCovariateWithoutMemoryLeavesBothListsAsTheyWere) {
  for (const long long n : {1, 2}) {
    QvRegrParameter parameter = SomeParameter();
    const QvRegrParameter before = parameter;
    {
      const qvtest::AllocationFault fault(n, qvtest::AllocationFault::Extent::kOnce);
      EXPECT_THROW(static_cast<void>(parameter.AddCovariate(8, 2)), std::bad_alloc) << n;
    }
    EXPECT_TRUE(parameter == before) << n;
  }
}

TEST(QvRegrParameter, SetupFromEffectWithoutMemoryChangesNothing) {
  QvModelEffect effect(3, 2, &kVariables);
  ASSERT_TRUE(effect.AddNewFactor(kA, false));
  ASSERT_EQ(effect.AddCovariate(kX), 1);
  bool hasStruck = true;
  for (long long n = 1; hasStruck; ++n) {
    QvRegrParameter parameter = SomeParameter();
    {
      const qvtest::AllocationFault fault(n, qvtest::AllocationFault::Extent::kOnce);
      try {
        static_cast<void>(parameter.SetupFromEffect(effect, 1, 0));
      } catch (const std::bad_alloc&) {
      }
      hasStruck = fault.HasStruck();
    }
    EXPECT_EQ(parameter == SomeParameter(), hasStruck) << n;
  }
}

constexpr double kMissing = QvMV::gMissingValue;

TEST(QvRegrParameterStats, StartsWithMissingValues) {
  const QvRegrParameterStats stats;
  EXPECT_EQ(stats.fParameterIndex, -1);
  EXPECT_EQ(stats.fEstimate, kMissing);
  EXPECT_TRUE(stats.fbRedundant);
  for (const double statistic : stats.fStatistics) EXPECT_EQ(statistic, kMissing);
  EXPECT_EQ(stats.fCount, 0.0);
  EXPECT_EQ(stats.fStatistic, kMissing);
  EXPECT_EQ(stats.fDesignEffect, kMissing);
  EXPECT_EQ(stats.fEffectIndex, -1);
  EXPECT_EQ(stats.fLastStatistic, kMissing);
}

TEST(QvRegrParameterStats, TheRootOfAMissingDesignEffectIsMissing) {
  EXPECT_EQ(QvRegrParameterStats().GetSqrtDeff(), kMissing);
}

TEST(QvRegrParameterStats, TheRootOfADesignEffectIsItsSquareRoot) {
  QvRegrParameterStats stats;
  stats.fDesignEffect = 4.0;
  EXPECT_EQ(stats.GetSqrtDeff(), 2.0);
  stats.fDesignEffect = 0.0;
  EXPECT_EQ(stats.GetSqrtDeff(), 0.0);
}

TEST(QvRegrParameterStats, TheRootOfANegativeDesignEffectIsMissing) {
  QvRegrParameterStats stats;
  stats.fDesignEffect = -1.0;
  EXPECT_EQ(stats.GetSqrtDeff(), kMissing);
}

TEST(QvRegrParameterStats, AssignmentCopiesEveryField) {
  QvRegrParameterStats original;
  original.fParameterIndex = 3;
  original.fEstimate = 0.5;
  original.fbRedundant = false;
  original.fStatistics[2] = 7.0;
  original.fEffectIndex = 1;
  QvRegrParameterStats copy;
  copy = original;
  EXPECT_EQ(copy.fParameterIndex, 3);
  EXPECT_EQ(copy.fEstimate, 0.5);
  EXPECT_FALSE(copy.fbRedundant);
  EXPECT_EQ(copy.fStatistics[2], 7.0);
  EXPECT_EQ(copy.fEffectIndex, 1);
}

}  // namespace
