// The parameters that a component makes of its effects.
#include <cstddef>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/glm/QvGLMComponent.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::FittedModel;
using qvtest::LinearSettings;
using qvtest::MakeRecord;
using qvtest::MakeRecords;
using qvtest::VectorRecordIter;
using Ints = std::vector<int>;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kB = 2;
constexpr int kX = 3;

/// Three of the four cells of A and B.
std::vector<QvCommon::Record> ThreeCells() {
  return MakeRecords({{1, 0, 0, 1}, {2, 0, 1, 2}, {3, 1, 1, 3}, {4, 1, 1, 5}});
}

std::vector<QvRegrParameter> ParametersOf(LinearSettings& settings,
                                          std::vector<QvCommon::Record> records) {
  QvGLMComponent component(settings.Get());
  VectorRecordIter data(std::move(records));
  std::vector<QvRegrParameter> parameters;
  EXPECT_TRUE(component.CreateParameters(data, parameters).IsOK());
  return parameters;
}

Ints EffectIndices(const std::vector<QvRegrParameter>& parameters) {
  Ints indices;
  for (const QvRegrParameter& parameter : parameters) indices.push_back(parameter.GetEffectIndex());
  return indices;
}

TEST(QvGLMParameters, TheInterceptIsEffectZero) {
  LinearSettings settings(kY, {{kA, 2}, {kB, 2}}, {kX});
  settings.Effect({kA}).Effect({}, {kX});
  const std::vector<QvRegrParameter> parameters = ParametersOf(settings, ThreeCells());
  EXPECT_EQ(EffectIndices(parameters), (Ints{0, 1, 1, 2}));
  EXPECT_TRUE(parameters[0].IsIntercept());
}

TEST(QvGLMParameters, WithoutInterceptEffectsCountFromZero) {
  LinearSettings settings(kY, {{kA, 2}, {kB, 2}}, {kX});
  settings.Effect({}, {kX}).Effect({kA}).NoIntercept();
  const std::vector<QvRegrParameter> parameters = ParametersOf(settings, ThreeCells());
  EXPECT_EQ(EffectIndices(parameters), (Ints{0, 1, 1}));
  EXPECT_FALSE(parameters[0].IsIntercept());
}

TEST(QvGLMParameters, ACrossingHasAParameterForEveryCombinationSeen) {
  LinearSettings settings(kY, {{kA, 2}, {kB, 2}}, {});
  settings.Effect({kA, kB});
  const std::vector<QvRegrParameter> parameters = ParametersOf(settings, ThreeCells());
  ASSERT_EQ(parameters.size(), 4U);
  for (std::size_t k = 1; k < 4; ++k) EXPECT_EQ(parameters[k].GetFactors(), (Ints{kA, kB}));
  EXPECT_EQ(parameters[1].GetCategories(), (Ints{0, 0}));
  EXPECT_EQ(parameters[2].GetCategories(), (Ints{0, 1}));
  EXPECT_EQ(parameters[3].GetCategories(), (Ints{1, 1}));
}

TEST(QvGLMParameters, TheOrderInWhichAnEffectsFactorsAreAddedDoesNotMatter) {
  LinearSettings settings(kY, {{kA, 2}, {kB, 2}}, {});
  settings.Effect({kB, kA});
  const std::vector<QvRegrParameter> parameters = ParametersOf(settings, ThreeCells());
  ASSERT_EQ(parameters.size(), 4U);
  EXPECT_EQ(parameters[2].ContainsFactor(kA, -1), 0);
  EXPECT_EQ(parameters[2].ContainsFactor(kB, -1), 1);
}

TEST(QvGLMParameters, CategoriesFollowTheFactorsIntoNestingOrder) {
  // B within A: B has level 0 and stands first in a parameter, A level 1; the tables keep A first.
  LinearSettings settings(kY, {{kA, 2}, {kB, 3}}, {});
  settings.NestedEffect({kA, kB});
  const std::vector<QvRegrParameter> parameters =
      ParametersOf(settings, MakeRecords({{1, 0, 2}, {2, 1, 0}, {3, 1, 1}}));
  ASSERT_EQ(parameters.size(), 4U);
  for (std::size_t k = 1; k < 4; ++k) {
    EXPECT_EQ(parameters[k].GetFactors(), (Ints{kB, kA}));
    EXPECT_EQ(parameters[k].GetFactorNestLevels(), (Ints{0, 1}));
  }
  EXPECT_EQ(parameters[1].GetCategories(), (Ints{2, 0}));
  EXPECT_EQ(parameters[2].GetCategories(), (Ints{0, 1}));
  EXPECT_EQ(parameters[3].GetCategories(), (Ints{1, 1}));
}

TEST(QvGLMParameters, CategoriesFollowThreeNestingLevels) {
  constexpr int kC = 3;
  LinearSettings settings(kY, {{kA, 2}, {kB, 4}, {kC, 6}}, {});
  settings.NestedEffect({kB, kC, kA}).NoIntercept();
  const std::vector<QvRegrParameter> parameters =
      ParametersOf(settings, MakeRecords({{1, 1, 3, 5}}));
  ASSERT_EQ(parameters.size(), 1U);
  EXPECT_EQ(parameters[0].GetFactors(), (Ints{kA, kC, kB}));
  EXPECT_EQ(parameters[0].GetCategories(), (Ints{1, 5, 3}));
}

TEST(QvGLMParameters, ANestedEffectPredictsItsCellMeans) {
  LinearSettings settings(kY, {{kA, 2}, {kB, 2}}, {});
  settings.Effect({kA}).NestedEffect({kA, kB});
  const auto records = MakeRecords({{1, 0, 0}, {3, 0, 0}, {7, 0, 1}, {4, 1, 0}, {9, 1, 1}});
  FittedModel model(settings.Get(), records);
  EXPECT_NEAR(model.Predict(records[0]), 2.0, 1e-12);
  EXPECT_NEAR(model.Predict(records[2]), 7.0, 1e-12);
  EXPECT_NEAR(model.Predict(records[3]), 4.0, 1e-12);
  EXPECT_NEAR(model.Predict(records[4]), 9.0, 1e-12);
}

TEST(QvGLMParameters, APowerIsACovariateWithItsMultiplicity) {
  LinearSettings settings(kY, {}, {1});
  settings.Effect({}, {1}).Effect({}, {1, 1}).Effect({}, {1, 1, 1});
  // y = 2 - x + 3 x^2 + x^3
  const auto records = MakeRecords({{2, 0}, {5, 1}, {20, 2}, {53, 3}, {5, -1}, {8, -2}});
  FittedModel model(settings.Get(), records);
  const std::vector<QvRegrParameter>& parameters = model.Stats().GetParameters();
  ASSERT_EQ(parameters.size(), 4U);
  EXPECT_EQ(parameters[1].GetCovariateMult(1), 1);
  EXPECT_EQ(parameters[2].GetCovariateMult(1), 2);
  EXPECT_EQ(parameters[3].GetCovariateMult(1), 3);
  const std::vector<double>& estimates = model.Stats().GetParamEstimates();
  EXPECT_NEAR(estimates[0], 2.0, 1e-11);
  EXPECT_NEAR(estimates[1], -1.0, 1e-11);
  EXPECT_NEAR(estimates[2], 3.0, 1e-11);
  EXPECT_NEAR(estimates[3], 1.0, 1e-11);
  EXPECT_NEAR(model.Predict(MakeRecord({0, 10})), 1292.0, 1e-8);
}

TEST(QvGLMParameters, AFactorByCovariateEffectHasASlopePerLevel) {
  LinearSettings settings(kY, {{1, 2}}, {2});
  settings.Effect({1}).Effect({1}, {2}).NoIntercept();
  const auto records = MakeRecords({{1, 0, 0}, {3, 0, 1}, {5, 1, 0}, {2, 1, 1}, {-1, 1, 2}});
  FittedModel model(settings.Get(), records);
  const std::vector<double>& estimates = model.Stats().GetParamEstimates();
  ASSERT_EQ(estimates.size(), 4U);
  EXPECT_NEAR(estimates[0], 1.0, 1e-12);
  EXPECT_NEAR(estimates[1], 5.0, 1e-12);
  EXPECT_NEAR(estimates[2], 2.0, 1e-12);
  EXPECT_NEAR(estimates[3], -3.0, 1e-12);
}

TEST(QvGLMParameters, AnEmptyEffectBesideTheInterceptIsRedundant) {
  LinearSettings settings(kY, {}, {1});
  settings.Effect({}).Effect({}, {1});
  FittedModel model(settings.Get(), MakeRecords({{1, 0}, {3, 1}, {5, 2}}));
  const QvCommon::QvBitSet& kept = model.Stats().GetRedundancyIndicators();
  EXPECT_EQ(EffectIndices(model.Stats().GetParameters()), (Ints{0, 1, 2}));
  EXPECT_TRUE(kept.IsIn(0));
  EXPECT_FALSE(kept.IsIn(1));
  EXPECT_TRUE(kept.IsIn(2));
}

TEST(QvGLMParameters, TheStatisticsReportTheParametersThatWereCreated) {
  LinearSettings settings(kY, {{kA, 2}, {kB, 2}}, {kX});
  settings.Effect({kA, kB}).Effect({kA}, {kX});
  QvGLMComponent component(settings.Get());
  VectorRecordIter data(ThreeCells());
  std::vector<QvRegrParameter> created(1);
  ASSERT_TRUE(component.CreateParameters(data, created).IsOK());
  ASSERT_TRUE(component.BuildModel(data).IsOK());
  IQvRegOutputStats* stats = nullptr;
  ASSERT_TRUE(component.GetOutputStats(stats).IsOK());
  EXPECT_EQ(stats->GetParameters(), created);
}

}  // namespace
