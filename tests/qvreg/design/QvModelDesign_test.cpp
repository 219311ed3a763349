#include "qvreg/design/QvModelDesign.h"

#include <algorithm>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/design/QvFactorTables.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::LinearSettings;
using qvtest::MakeRecord;
using Ints = std::vector<int>;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kB = 2;
constexpr int kX = 7;

/// B, A crossed with B, a squared covariate and a slope of it by A.
class QvModelDesignTest : public ::testing::Test {
 protected:
  QvModelDesignTest() {
    settings_.Effect({kB}).Effect({kA, kB}).Effect({}, {kX, kX}).Effect({kA}, {kX});
  }

  LinearSettings settings_{kY, {{kA, 2}, {kB, 3}}, {kX}};
};

TEST_F(QvModelDesignTest, PutsTheInterceptFirst) {
  const QvModelDesign design(settings_.Get());
  EXPECT_EQ(design.GetEffectFactors(), (std::vector<Ints>{{}, {kB}, {kA, kB}, {}, {kA}}));
  ASSERT_EQ(design.GetEffectParameters().size(), 5U);
  EXPECT_TRUE(design.GetEffectParameters()[0].GetFactors().empty());
  EXPECT_TRUE(design.GetEffectParameters()[0].GetCovariates().empty());
}

TEST_F(QvModelDesignTest, WithoutAnInterceptStartsWithTheFirstEffect) {
  settings_.NoIntercept();
  const QvModelDesign design(settings_.Get());
  EXPECT_EQ(design.GetEffectFactors(), (std::vector<Ints>{{kB}, {kA, kB}, {}, {kA}}));
  EXPECT_EQ(design.GetEffectParameters().size(), 4U);
}

TEST_F(QvModelDesignTest, NumbersTheEffectsAndTellsTheirCovariates) {
  const QvModelDesign design(settings_.Get());
  const std::vector<QvRegrParameter>& effects = design.GetEffectParameters();
  for (std::size_t e = 0; e < effects.size(); ++e) {
    EXPECT_EQ(effects[e].GetEffectIndex(), static_cast<int>(e));
  }
  EXPECT_EQ(effects[2].GetFactors(), (Ints{kA, kB}));
  EXPECT_EQ(effects[3].GetCovariates(), Ints{kX});
  EXPECT_EQ(effects[3].GetCovariateMultiplicities(), Ints{2});
  EXPECT_EQ(effects[4].GetFactors(), Ints{kA});
  EXPECT_EQ(effects[4].GetCovariateMultiplicities(), Ints{1});
}

TEST_F(QvModelDesignTest, ARecordReachesToTheLastFactorOrCovariate) {
  EXPECT_EQ(QvModelDesign(settings_.Get()).GetRecordSize(), kX + 1);
  EXPECT_EQ(QvModelDesign(LinearSettings(40, {}, {}).Get()).GetRecordSize(), 0)
      << "the dependent does not count";
}

TEST_F(QvModelDesignTest, KnowsItsVariables) {
  EXPECT_TRUE(QvModelDesign(settings_.Get()).AreVariablesKnown());
}

TEST(QvModelDesign, AnEffectOfAVariableThatTheSettingsDoNotNameIsNoticed) {
  const Ints strange{kA, kX};
  QvRegSettings withFactor;
  EXPECT_TRUE(withFactor.SetDependent(kY));
  QvModelEffect factor(1, 1, &strange);
  ASSERT_TRUE(factor.AddNewFactor(kA, false));
  ASSERT_TRUE(withFactor.AddModelEffect(factor));
  EXPECT_FALSE(QvModelDesign(withFactor).AreVariablesKnown());

  QvRegSettings withCovariate;
  EXPECT_TRUE(withCovariate.SetDependent(kY));
  QvModelEffect covariate(1, 1, &strange);
  ASSERT_GT(covariate.AddCovariate(kX), 0);
  ASSERT_TRUE(withCovariate.AddModelEffect(covariate));
  EXPECT_FALSE(QvModelDesign(withCovariate).AreVariablesKnown());
}

TEST(QvModelDesign, AFactorThatIsNoVariableIsNoticedThoughNoParameterHasIt) {
  const Ints none{-1};
  QvRegSettings settings;
  EXPECT_TRUE(settings.SetDependent(kY));
  QvModelEffect effect(1, 0, &none);
  ASSERT_TRUE(effect.AddNewFactor(-1, false));
  ASSERT_TRUE(settings.AddModelEffect(effect));
  const QvModelDesign design(settings);
  ASSERT_EQ(design.GetEffectFactors().back(), none);
  EXPECT_TRUE(design.GetEffectParameters().back().GetFactors().empty());
  EXPECT_FALSE(design.AreVariablesKnown());
}

TEST_F(QvModelDesignTest, CreatesAParameterPerLevelCombinationSeen) {
  const QvModelDesign design(settings_.Get());
  QvFactorTables tables({kA, kB}, {2, 3}, -1, -1, 0, 0, -1, 0.0, QvConst::QvOffsetNone);
  tables.SetModelEffectFactors(design.GetEffectFactors(), {kA, kB});
  tables.UpdateAll(MakeRecord({0, 1, 2}));
  tables.UpdateAll(MakeRecord({0, 0, 0}));
  tables.UpdateAll(MakeRecord({0, 1, 0}));
  tables.CreateParameterIndices();
  const auto parameters = CreateEffectParameters(tables, design.GetEffectParameters());

  // Intercept; B 0, 2; (A, B) (0, 0), (1, 0), (1, 2); x^2; A 0, 1 by x.
  ASSERT_EQ(parameters.size(), 9U);
  const std::vector<int> effects{0, 1, 1, 2, 2, 2, 3, 4, 4};
  for (std::size_t k = 0; k < parameters.size(); ++k) {
    EXPECT_EQ(parameters[k].GetEffectIndex(), effects[k]) << k;
  }
  EXPECT_EQ(parameters[2].GetCategories(), Ints{2});
  EXPECT_EQ(parameters[3].GetCategories(), (Ints{0, 0}));
  EXPECT_EQ(parameters[4].GetCategories(), (Ints{1, 0}));
  EXPECT_EQ(parameters[5].GetCategories(), (Ints{1, 2}));
  EXPECT_TRUE(parameters[6].GetCategories().empty());
  EXPECT_EQ(parameters[8].GetCategories(), Ints{1});
  EXPECT_EQ(parameters[8].GetCovariates(), Ints{kX});
}

TEST(QvTooManyParametersTest, TellsMoreThanAnIntHolds) {
  constexpr long long kMany = (1LL << 31) + 10;
  const QvCommon::QvStatus status = QvTooManyParameters(kMany, 46339);
  EXPECT_EQ(status.GetCode(), QvStatusCode::kTooManyParameters);
  long datum = 0;
  ASSERT_TRUE(status.GetDiscreteDatum(0, datum));
  EXPECT_EQ(datum, std::min<long long>(kMany, std::numeric_limits<long>::max()));
  ASSERT_TRUE(status.GetDiscreteDatum(1, datum));
  EXPECT_EQ(datum, 46339);
}

}  // namespace
