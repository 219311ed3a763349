// Values of a logistic model that are not finite, or too large: columns concerned are named and
// left out, and a record far away has probabilities of 0 and 1.
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::FittedModel;
using qvtest::LogisticSettings;
using qvtest::MakeRecord;
using qvtest::MakeRecords;
using Doubles = std::vector<double>;
using Rows = std::vector<Doubles>;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kFarthest = 1.5e308;  // The missing value is a little farther.

constexpr int kY = 0;
constexpr int kX = 1;
constexpr int kZ = 2;
constexpr int kWeight = 3;
constexpr int kLevel = 4;
constexpr std::size_t kRecord = 5;  ///< The one that tests change.

/// Three categories, x, z, a weight and a level.
Rows PlainRows() {
  Rows rows;
  for (int i = 0; i < 60; ++i) {
    const double x = (i * 7 % 20) / 10.0 - 0.9;
    const double z = i * 11 % 13 - 5.5;
    const int y = (i * 5 % 7 + (x > 0 ? 1 : 0) + (z > 2 ? 1 : 0)) % 3;
    rows.push_back({static_cast<double>(y), x, z, 1.0 + i % 3, static_cast<double>(i % 6)});
  }
  return rows;
}

Rows With(int variable, double value) {
  Rows rows = PlainRows();
  rows[kRecord][static_cast<std::size_t>(variable)] = value;
  return rows;
}

class LogisticNonFinite : public ::testing::TestWithParam<bool> {
 protected:
  static FittedModel Fit(const std::vector<std::vector<int>>& effects, const Rows& rows) {
    LogisticSettings settings(kY, 3, {}, {kX, kZ});
    for (const std::vector<int>& effect : effects) settings.Effect({}, effect);
    settings.FrequencyWeight(kWeight).InMemory(GetParam());
    return FittedModel(settings.Get(), MakeRecords(rows));
  }
  static const QvLogOutputStats& StatsOf(const FittedModel& model) {
    return dynamic_cast<const QvLogOutputStats&>(model.Stats());
  }
  static std::vector<bool> NonFiniteOf(const FittedModel& model) {
    const QvCommon::QvBitSet& set = StatsOf(model).GetNonFiniteParameters();
    std::vector<bool> bits;
    for (int i = 0; i < set.Size(); ++i) bits.push_back(set.IsIn(i));
    return bits;
  }
};

INSTANTIATE_TEST_SUITE_P(Fits, LogisticNonFinite, ::testing::Bool(), [](const auto& fit) {
  return std::string(fit.param ? "InMemory" : "ByPasses");
});

TEST_P(LogisticNonFinite, FiniteDataNamesNothing) {
  EXPECT_EQ(NonFiniteOf(Fit({{kX}, {kZ}}, PlainRows())), std::vector<bool>(6, false));
}

TEST_P(LogisticNonFinite, AColumnThatIsNotFiniteIsLeftOut) {
  for (const double value : {kNaN, kInfinity, -kInfinity}) {
    const Rows rows = With(kZ, value);
    const FittedModel model = Fit({{kZ}, {kX}}, rows);
    const FittedModel without = Fit({{kX}}, rows);
    EXPECT_EQ(NonFiniteOf(model), (std::vector<bool>{false, true, false, false, true, false}));
    const Doubles& other = without.Stats().GetParamEstimates();
    EXPECT_EQ(model.Stats().GetParamEstimates(),
              (Doubles{other[0], 0, other[1], other[2], 0, other[3]}));
    EXPECT_EQ(StatsOf(model).GetFinalLL(), StatsOf(without).GetFinalLL());
    EXPECT_FALSE(model.Stats().GetRedundancyIndicators().IsIn(1));
    EXPECT_EQ(model.Stats().GetMeanValues()[1], QvMV::gMissingValue);
    EXPECT_GT(model.Stats().GetMeanValues()[0], -1.0);
  }
}

TEST_P(LogisticNonFinite, AWeightThatIsNotFiniteConcernsAllParameters) {
  LogisticSettings settings(kY, 3, {{kLevel, 6}}, {kX});
  settings.Effect({kLevel}).Effect({}, {kX}).RegressionWeight(kWeight).InMemory(GetParam());
  const FittedModel model(settings.Get(), MakeRecords(With(kWeight, kInfinity)));
  EXPECT_EQ(NonFiniteOf(model), std::vector<bool>(16, true));
  EXPECT_EQ(model.Stats().GetParamEstimates(), Doubles(16, 0.0));
  EXPECT_EQ(model.Stats().GetTotalRegrWeight(), kInfinity);
}

/// Slopes of x in the thousands.
class FarRecords : public ::testing::Test {
 protected:
  FarRecords() {
    Rows rows = PlainRows();
    for (Doubles& row : rows) row[kX] /= 100000;
    settings_.Effect({}, {kX}).Effect({}, {kZ}).Effect({}, {kLevel});
    model_ = std::make_unique<FittedModel>(settings_.Get(), MakeRecords(rows));
  }

  /// The probabilities of a record, and last the predicted category.
  Doubles Score(double x, double z = 0.5, double level = 1.0) {
    double predicted = 77.0;
    Doubles probabilities;
    EXPECT_TRUE(model_->Component()
                    .Score(MakeRecord({0, x, z, 1, level}), predicted, probabilities)
                    .IsOK());
    probabilities.push_back(predicted);
    return probabilities;
  }
  [[nodiscard]] double Slope(std::size_t block) const {
    return model_->Stats().GetParamEstimates()[4 * block + 1];
  }

  LogisticSettings settings_{kY, 3, {}, {kX, kZ, kLevel}};
  std::unique_ptr<FittedModel> model_;
};

TEST_F(FarRecords, HaveTheProbabilitiesOfThoseLessFar) {
  ASSERT_GT(std::abs(Slope(0)), 100.0) << "so that predictors leave the range of a double";
  ASSERT_GT(std::abs(Slope(1)), 100.0);
  for (const double sign : {-1.0, 1.0}) {
    const Doubles near = Score(sign * 1e300);
    EXPECT_EQ(near[0] + near[1] + near[2], 1.0);
    for (const double x : {1e306, 1e307, 1e308, kFarthest}) {
      EXPECT_EQ(Score(sign * x), near) << sign * x;
    }
  }
}

TEST_F(FarRecords, OfTwoInfinitePredictorsHaveTheLargerOne) {
  // Both slopes times x overflow to the same side for one of the two signs, or one alone for both.
  const double sign = Slope(0) > 0 ? 1.0 : -1.0;
  const bool isFirst = sign * Slope(0) > sign * Slope(1);
  EXPECT_EQ(Score(sign * kFarthest)[isFirst ? 0 : 1], 1.0);
}

TEST_F(FarRecords, WithTermsThatCancelAreNoAnswer) {
  // Infinite terms of both signs: a value of a column that has an estimate must be finite.
  const double missing = QvMV::gMissingValue;
  for (const double x : {kInfinity, -kInfinity, kNaN}) {
    EXPECT_EQ(Score(x), (Doubles{missing, missing, missing, -1}));
  }
}

TEST(FarRecordsOfRedundantColumns, AreOrdinary) {
  Rows rows = PlainRows();
  for (Doubles& row : rows) row[kZ] = 2 * row[kX];
  LogisticSettings settings(kY, 3, {}, {kX, kZ});
  settings.Effect({}, {kX}).Effect({}, {kZ});
  FittedModel model(settings.Get(), MakeRecords(rows));
  Doubles expected;
  Doubles found;
  double predicted = 0.0;
  EXPECT_TRUE(model.Component().Score(MakeRecord({0, 0.5, 1, 1, 0}), predicted, expected).IsOK());
  EXPECT_TRUE(
      model.Component().Score(MakeRecord({0, 0.5, kInfinity, 1, 0}), predicted, found).IsOK());
  EXPECT_EQ(found, expected);
}

}  // namespace
