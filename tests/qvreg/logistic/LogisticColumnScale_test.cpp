// Columns of extreme size in a logistic model: the fit of the same numbers in usual units, times
// powers of two.
#include <cmath>
#include <cstddef>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/component/ProgressListener.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::LogisticFit;
using qvtest::LogisticSettings;
using qvtest::MakeRecord;
using qvtest::MakeRecords;
using Doubles = std::vector<double>;
using Rows = std::vector<Doubles>;

constexpr int kY = 0;
constexpr int kX = 1;
constexpr int kZ = 2;
constexpr int kLevel = 3;
constexpr int kWeight = 4;

/// y of 3 categories, x, z, level, weight; no combination of x and z tells the categories apart.
Rows PlainRows() {
  Rows rows;
  for (int i = 0; i < 60; ++i) {
    const double x = 0.25 + 0.5 * ((i * 7) % 13);
    const double z = 0.125 + 0.25 * ((i * 5) % 11);
    const double y = (i * i + i / 4) % 3;
    rows.push_back({y, x, z, static_cast<double>(i % 2), 1.0 + i % 4});
  }
  return rows;
}

Rows Multiplied(Rows rows, int x, int z) {
  for (Doubles& row : rows) {
    row[kX] = std::ldexp(row[kX], x);
    row[kZ] = std::ldexp(row[kZ], z);
  }
  return rows;
}

/// Keeps the estimates of the latest report.
class LatestEstimates final : public ProgressListener {
 public:
  void ReportProgress(ProgressReport* report) override {
    estimates = *dynamic_cast<ProgressReportVect*>(report)->VectorMeasure("paramEstim");
  }
  Doubles estimates;
};

/// The powers of two of x and z; with the tabulator, or without.
class LogisticColumnScale : public ::testing::TestWithParam<std::tuple<std::pair<int, int>, bool>> {
 protected:
  LogisticColumnScale() {
    settings_.Effect({kLevel})
        .Effect({}, {kX})
        .Effect({kLevel}, {kZ})
        .Effect({}, {kX, kZ})
        .FrequencyWeight(kWeight)
        .InMemory(std::get<1>(GetParam()));
  }
  static std::pair<int, int> Powers() { return std::get<0>(GetParam()); }
  /// Of one category's equation: the intercept, two levels, x, two slopes of z, the product.
  static std::vector<int> BlockPowers() {
    const auto [x, z] = Powers();
    return {0, 0, 0, x, z, z, x + z};
  }
  static LogisticFit Fit(LogisticSettings& settings, int x, int z) {
    return LogisticFit(settings.Get(), MakeRecords(Multiplied(PlainRows(), x, z)));
  }

  LogisticSettings settings_{kY, 3, {{kLevel, 2}}, {kX, kZ}};
};

TEST_P(LogisticColumnScale, ChangesNoBitOfTheFit) {
  const auto [x, z] = Powers();
  const LogisticFit usual = Fit(settings_, 0, 0);
  const LogisticFit extreme = Fit(settings_, x, z);
  const QvLogOutputStats& stats = extreme.Stats();
  ASSERT_EQ(usual.Stats().GetOutcome(), kOptParamConverged);
  EXPECT_EQ(stats.GetOutcome(), kOptParamConverged);
  EXPECT_EQ(stats.GetIterations(), usual.Stats().GetIterations());
  EXPECT_EQ(stats.GetFinalLL(), usual.Stats().GetFinalLL());
  EXPECT_EQ(stats.GetRedundancyIndicators().Count(), 12);
  const std::vector<int> powers = BlockPowers();
  for (int k = 0; k < 14; ++k) {
    const auto place = static_cast<std::size_t>(k);
    const int power = powers[place % powers.size()];
    const double estimate = usual.Stats().GetParamEstimates()[place];
    const double variance = usual.Stats().GetCovarianceMatrix()->GetElem(k, k);
    EXPECT_EQ(stats.GetParamEstimates()[place], std::ldexp(estimate, -power)) << k;
    EXPECT_EQ(stats.GetParamStats()[place].fEstimate, std::ldexp(estimate, -power)) << k;
    EXPECT_EQ(stats.GetCovarianceMatrix()->GetElem(k, k), std::ldexp(variance, -2 * power)) << k;
    const int exponent = stats.GetParameterExponents()[place];
    EXPECT_EQ(stats.GetScaledEstimates()[place], std::ldexp(estimate, exponent - power)) << k;
    EXPECT_EQ(stats.GetScaledCovarianceMatrix()->GetElem(k, k),
              std::ldexp(variance, 2 * (exponent - power)))
        << k;
  }
}

TEST_P(LogisticColumnScale, ScoresInTheHostsUnits) {
  const auto [x, z] = Powers();
  LogisticFit usual = Fit(settings_, 0, 0);
  LogisticFit extreme = Fit(settings_, x, z);
  const Rows rows = PlainRows();
  const Rows scaled = Multiplied(rows, x, z);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(extreme.Score(MakeRecord(scaled[i])).probabilities,
              usual.Score(MakeRecord(rows[i])).probabilities);
    EXPECT_EQ(extreme.Score(MakeRecord(scaled[i])).predicted,
              usual.Score(MakeRecord(rows[i])).predicted);
  }
  EXPECT_EQ(extreme.TableByCode(3), usual.TableByCode(3));
}

TEST_P(LogisticColumnScale, ExpandsToTheHostsUnits) {
  const auto [x, z] = Powers();
  const LogisticFit extreme = Fit(settings_, x, z);
  const Doubles record = Multiplied({{0, 1.5, 0.75, 1, 1}}, x, z)[0];
  Doubles row;
  ASSERT_TRUE(extreme.Stats().ExpandRow(MakeRecord(record), row));
  Doubles expected(14, 0.0);
  expected[0] = expected[2] = 1.0;
  expected[3] = record[kX];
  expected[5] = record[kZ];
  expected[6] = std::ldexp(1.125, x + z);
  EXPECT_EQ(row, expected);
  std::vector<int> indices;
  Doubles values;
  ASSERT_TRUE(extreme.Stats().ExpandRow(MakeRecord(record), indices, values));
  EXPECT_EQ(indices, (std::vector<int>{0, 2, 3, 5, 6}));
  EXPECT_EQ(values, (Doubles{1, 1, record[kX], record[kZ], expected[6]}));
}

TEST_P(LogisticColumnScale, ReportsTheHostsEstimates) {
  LatestEstimates listener;
  settings_.Get().SetProgressListener(&listener);
  const auto [x, z] = Powers();
  const LogisticFit extreme = Fit(settings_, x, z);
  Doubles kept;
  for (const QvRegrParameterStats& stats : extreme.Stats().GetParamStats()) {
    if (!stats.fbRedundant) kept.push_back(stats.fEstimate);
  }
  EXPECT_EQ(listener.estimates, kept);
}

INSTANTIATE_TEST_SUITE_P(
    Fits, LogisticColumnScale,
    ::testing::Combine(::testing::Values(std::pair{0, 0}, std::pair{30, -30}, std::pair{520, 0},
                                         std::pair{0, -560}, std::pair{660, 330},
                                         std::pair{-330, -660}, std::pair{1000, -1000}),
                       ::testing::Bool()));

/// x is 0 or `size`: the slope is the log odds ratio, by counts 30 10, 15 25.
LogisticFit TwoGroups(double size) {
  Rows rows;
  for (const auto& [y, x, count] :
       {std::tuple{0.0, 0.0, 30}, {1.0, 0.0, 10}, {0.0, size, 15}, {1.0, size, 25}}) {
    rows.insert(rows.end(), static_cast<std::size_t>(count), {y, x});
  }
  LogisticSettings settings(kY, 2, {}, {kX});
  settings.Effect({}, {kX}).Reference(0);
  return LogisticFit(settings.Get(), MakeRecords(rows));
}

TEST(LogisticColumnScaleExact, TheSlopeIsTheLogOddsRatio) {
  for (const double size : {1e155, 1e300, 5e-170, 5e-320}) {
    SCOPED_TRACE(size);
    const LogisticFit fit = TwoGroups(size);
    const QvLogOutputStats& stats = fit.Stats();
    const double unit = std::ldexp(size, -stats.GetParameterExponents()[1]);
    const double slope = std::log(30.0 * 25.0 / (10.0 * 15.0));
    const double variance = 1.0 / 30 + 1.0 / 10 + 1.0 / 15 + 1.0 / 25;
    EXPECT_NEAR(stats.GetScaledEstimates()[1] * unit, slope, 1e-13);
    EXPECT_NEAR(stats.GetScaledCovarianceMatrix()->GetElem(1, 1) * unit * unit, variance, 1e-12);
    EXPECT_NEAR(stats.GetParamEstimates()[0], std::log(1.0 / 3.0), 1e-13);
  }
}

/// A slope without an intercept converges to the same whatever its units.
TEST(LogisticColumnScaleExact, ASmallSlopeAloneConverges) {
  const Rows rows = PlainRows();
  Doubles slopes;
  for (const int power : {0, 40, -40}) {
    LogisticSettings settings(kY, 3, {}, {kX});
    settings.Effect({}, {kX}).NoIntercept();
    EXPECT_TRUE(settings.Get().SetParamEstConCriterion(1e-6));
    const LogisticFit fit(settings.Get(), MakeRecords(Multiplied(rows, power, 0)));
    EXPECT_GT(fit.Stats().GetIterations(), 2);
    slopes.push_back(std::ldexp(fit.Stats().GetParamEstimates()[0], power));
  }
  EXPECT_EQ(slopes[1], slopes[0]);
  EXPECT_EQ(slopes[2], slopes[0]);
}

}  // namespace
