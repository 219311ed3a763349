#include <vector>

#include <gtest/gtest.h>

#include "qvreg/glm/QvGLMOutputStats.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::FittedModel;
using qvtest::LinearSettings;
using qvtest::LogisticFit;
using qvtest::LogisticSettings;
using qvtest::MakeRecords;
using Doubles = std::vector<double>;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kX = 2;
constexpr int kZ = 3;  ///< 1 - 3 x.

const std::vector<Doubles> kRows = {{0, 0, 1, -2},  {1, 1, 2, -5},  {2, 2, 4, -11}, {0, 0, 7, -20},
                                    {1, 1, 5, -14}, {2, 2, 3, -8},  {1, 0, 2, -5},  {0, 2, 6, -17},
                                    {2, 1, 1, -2},  {1, 2, 9, -26}, {0, 1, 8, -23}, {2, 0, 4, -11}};

void ExpectNear(const Doubles& actual, const Doubles& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_NEAR(actual[i], expected[i], 1e-12);
}

// Parameters: 1, the three levels of a, x, z.
TEST(RedundantCombination, OfALevelIsTheInterceptLessTheOthers) {
  LinearSettings settings(kY, {{kA, 3}}, {kX, kZ});
  settings.Effect({kA}).Effect({}, {kX}).Effect({}, {kZ});
  FittedModel model(settings.Get(), MakeRecords(kRows));
  Doubles combination;
  ASSERT_TRUE(model.Stats().GetRedundantCombination(3, combination));
  ExpectNear(combination, {1, -1, -1, 0, 0, 0});
  EXPECT_EQ(combination[4], 0.0);
  ASSERT_TRUE(model.Stats().GetRedundantCombination(5, combination));
  ExpectNear(combination, {1, 0, 0, 0, -3, 0});
  EXPECT_EQ(combination[1], 0.0);
}

TEST(RedundantCombination, IsNoneForWhatIsKeptOrDoesNotExist) {
  LinearSettings settings(kY, {{kA, 3}}, {kX});
  settings.Effect({kA}).Effect({}, {kX});
  FittedModel model(settings.Get(), MakeRecords(kRows));
  Doubles combination;
  for (const int parameter : {-1, 0, 1, 2, 4, 5}) {
    EXPECT_FALSE(model.Stats().GetRedundantCombination(parameter, combination)) << parameter;
  }
}

TEST(RedundantCombination, OfALogisticModelIsInItsCategory) {
  LogisticSettings settings(kY, 3, {{kA, 3}}, {kX, kZ});
  settings.Effect({}, {kX}).Effect({}, {kZ});
  LogisticFit fit(settings.Get(), MakeRecords(kRows));
  Doubles combination;
  ASSERT_TRUE(fit.Stats().GetRedundantCombination(2, combination));
  ExpectNear(combination, {1, -3, 0, 0, 0, 0});
  ASSERT_TRUE(fit.Stats().GetRedundantCombination(5, combination));
  ExpectNear(combination, {0, 0, 0, 1, -3, 0});
  EXPECT_FALSE(fit.Stats().GetRedundantCombination(4, combination));
  EXPECT_FALSE(fit.Stats().GetRedundantCombination(6, combination));
}

// x is divided by 2^40, z by 2^-40: z / 2^-40 = -3 2^-80 2^80 x / 2^40 but for the intercept.
TEST(RedundantCombination, IsThatOfTheColumnsAsDivided) {
  std::vector<Doubles> rows = kRows;
  for (Doubles& row : rows) {
    row[kX] = row[kX] * 0x1p40;
    row[kZ] = row[kX] * 0x1p-80;
  }
  LinearSettings settings(kY, {{kA, 3}}, {kX, kZ});
  settings.Effect({}, {kX}).Effect({}, {kZ});
  FittedModel model(settings.Get(), MakeRecords(rows));
  Doubles combination;
  ASSERT_TRUE(model.Stats().GetRedundantCombination(2, combination));
  ExpectNear(combination, {0, 1, 0});
}

TEST(RootMeanSquareTotal, GivesRSquare) {
  LinearSettings settings(kY, {{kA, 3}}, {kX});
  settings.Effect({kA}).Effect({}, {kX});
  FittedModel model(settings.Get(), MakeRecords(kRows));
  const auto& stats = dynamic_cast<const QvGLMOutputStats&>(model.Stats());
  // Twelve values of the dependent, four of each of 0, 1 and 2: their variance is 2/3.
  const double total = stats.GetScaledRootMeanSquareTotal();
  EXPECT_NEAR(total * total, 2.0 / 3.0, 1e-15);
  const double ratio = stats.GetScaledRootMeanSquareError() / total;
  EXPECT_NEAR(stats.GetModelFitStat(QvConst::QvFitMultipleRSquare), 1.0 - ratio * ratio, 1e-15);
}

}  // namespace
