// Weights enter as shares of the total frequency weight, so that neither their size nor that of
// their products costs range: weights, covariates and the dependent times powers of two give the
// same numbers times powers of two, to the last bit.
#include <cmath>
#include <cstddef>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvSymMatrix.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelOnTables.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::FittedModel;
using qvtest::LinearSettings;
using qvtest::MakeRecords;
using qvtest::ModelOnTables;
using Doubles = std::vector<double>;
using Rows = std::vector<Doubles>;

constexpr int kY = 0;
constexpr int kX = 1;
constexpr int kFrequency = 2;
constexpr int kRegression = 3;
constexpr int kLevel = 4;

/// y, x, frequency and regression weight, a level. The total frequency weight is 13.75.
const Rows kRows{{1.1, 0.2, 1, 1, 0},  {3.2, 1.3, 2, 0.5, 1}, {2.3, 2.4, 1, 2, 2},
                 {6.4, 3.1, 3, 1, 0},  {5.9, 4.4, 5, 0.3, 1}, {7.7, 5.3, 0.75, 1.9, 2},
                 {7.1, 6.2, 1, 0.1, 1}};

/// The exponents of the powers of two that multiply the columns.
struct Powers {
  const char* what;
  int frequency;
  int regression;  ///< Even: the root mean square error has half of it.
  int x;
  int y;
};

void PrintTo(const Powers& powers, std::ostream* out) { *out << powers.what; }

Rows Multiplied(const Powers& powers) {
  Rows rows = kRows;
  for (Doubles& row : rows) {
    row[kY] = std::ldexp(row[kY], powers.y);
    row[kX] = std::ldexp(row[kX], powers.x);
    row[kFrequency] = std::ldexp(row[kFrequency], powers.frequency);
    row[kRegression] = std::ldexp(row[kRegression], powers.regression);
  }
  return rows;
}

struct Fit {
  Doubles estimates;
  Doubles variances;
  Doubles means;
  double rmse;
  double rSquare;
};

Fit FitRows(LinearSettings& settings, const Rows& rows) {
  FittedModel model(settings.Get(), MakeRecords(rows));
  const IQvRegOutputStats& stats = model.Stats();
  Doubles variances;
  for (int k = 0; k < stats.GetCovarianceMatrix()->GetOrder(); ++k) {
    variances.push_back(stats.GetCovarianceMatrix()->GetElem(k, k));
  }
  return {stats.GetParamEstimates(), variances, stats.GetMeanValues(),
          stats.GetModelFitStat(QvConst::QvFitRootMeanSquareError),
          stats.GetModelFitStat(QvConst::QvFitMultipleRSquare)};
}

class WeightRange : public ::testing::TestWithParam<Powers> {
 protected:
  /// Fits the intercept, a factor where wanted, and x last.
  void ExpectSameFit(bool hasFactor, bool refine) {
    SCOPED_TRACE((hasFactor ? "factor, " : "") + std::string(refine ? "refined" : "plain"));
    LinearSettings settings(kY, {{kLevel, 3}}, {kX});
    if (hasFactor) settings.Effect({kLevel});
    settings.Effect({}, {kX}).FrequencyWeight(kFrequency).RegressionWeight(kRegression);
    if (refine) settings.Refined();
    const Powers& powers = GetParam();
    const Fit plain = FitRows(settings, kRows);
    const Fit fit = FitRows(settings, Multiplied(powers));
    ASSERT_GT(plain.rSquare, 0.5);
    ASSERT_EQ(fit.estimates.size(), plain.estimates.size());
    const std::size_t last = plain.estimates.size() - 1;
    for (std::size_t k = 0; k <= last; ++k) {
      const int x = k == last ? powers.x : 0;
      EXPECT_EQ(fit.estimates[k], std::ldexp(plain.estimates[k], powers.y - x)) << k;
      const int weight = powers.frequency + powers.regression;
      EXPECT_EQ(fit.variances[k], std::ldexp(plain.variances[k], -weight - 2 * x)) << k;
    }
    EXPECT_EQ(fit.rmse, std::ldexp(plain.rmse, powers.y + powers.regression / 2));
    EXPECT_EQ(fit.rSquare, plain.rSquare);
    EXPECT_EQ(fit.means[0], std::ldexp(plain.means[0], powers.x));
    EXPECT_EQ(fit.means[1], std::ldexp(plain.means[1], powers.y));
  }
};

TEST_P(WeightRange, LeavesTheFitAsItIs) {
  for (const bool hasFactor : {false, true}) {
    for (const bool refine : {false, true}) ExpectSameFit(hasFactor, refine);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Weights, WeightRange,
    ::testing::Values(Powers{"large frequencies, large x", 664, 0, 200, 0},
                      Powers{"small frequencies, small x", -664, 0, -200, 0},
                      Powers{"small frequencies, small y", -963, 0, 0, -100},
                      Powers{"large frequencies, large y", 1018, 0, 0, 17},
                      Powers{"both weights large", 532, 532, 0, 0},
                      Powers{"both weights small", -532, -532, 0, 0},
                      Powers{"large frequencies, small regression weights", 1000, -900, 0, 0},
                      Powers{"small regression weights, large residuals", 0, -900, 0, 600},
                      Powers{"frequencies below the normal numbers", -1066, 0, 200, 0}));

TEST(WeightRangeOfRecords, ThousandRecordsOfLargeValuesKeepTheirColumn) {
  // x = i 2^500 up to 3e153: the largest square is 1e307, and the sum of squares no double.
  Rows rows;
  for (int i = 1; i <= 1000; ++i) rows.push_back({1.0 + 2.0 * i, std::ldexp(i, 500)});
  LinearSettings settings(kY, {}, {kX});
  settings.Effect({}, {kX}).Refined();
  const Fit fit = FitRows(settings, rows);
  EXPECT_NEAR(fit.estimates[0], 1.0, 1e-12);
  EXPECT_NEAR(std::ldexp(fit.estimates[1], 500), 2.0, 1e-14);
}

TEST(WeightRangeOfRecords, AMeanIsOfWeightsOfAnySize) {
  // Weights 2^-1500, 2^1200 and 3 times that: the mean is (4 + 3 x 8) / 4.
  LinearSettings settings(kY, {}, {});
  settings.FrequencyWeight(1).RegressionWeight(2);
  const Fit fit = FitRows(settings, {{1e9, 0x1p-700, 0x1p-800},
                                     {4, 0x1p+500, 0x1p+700},
                                     {8, 0x1.8p+501, 0x1p+700},
                                     {3, 0x1p-700, 1}});
  EXPECT_EQ(fit.means[0], 7.0);
  EXPECT_EQ(fit.estimates[0], 7.0);
}

/// The matrix before the sweep, for frequency weights that add up to `total`, a multiple of 1/8 of
/// it each: sums of w x x' of FitsWithBothWeights' four records.
void ExpectMeanCrossProducts(double total, double factor) {
  LinearSettings settings(kY, {}, {kX});
  settings.Effect({}, {kX}).FrequencyWeight(2).RegressionWeight(3);
  ModelOnTables run(settings.Get(), {{1, 0, total * 0.25, 1},
                                     {3, 1, total * 0.125, 2},
                                     {4, 2, total * 0.375, 2},
                                     {2, 1, total * 0.25, 1}});
  ASSERT_EQ(run.tables.GetTotalWeight(), total);
  run.AddRecords();
  const QvCommon::QvSymMatrix& matrix = run.model.GetMatrix();
  const Doubles expected{12, 16, 28, 36, 58, 124};
  std::size_t next = 0;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j <= i; ++j) {
      EXPECT_EQ(matrix.GetElem(i, j), factor * expected[next++] / 8) << i << ", " << j;
    }
  }
}

TEST(WeightRangeOfRecords, TheMatrixHoldsMeanCrossProductsForAnyTotal) {
  for (const double total : {1.0, 8.0, 0x1p+1020, 0x1p-1000}) {
    SCOPED_TRACE(total);
    ExpectMeanCrossProducts(total, 1.0);
  }
  // Over the power of two below the total until all are added.
  ExpectMeanCrossProducts(24.0, 1.5);
  ExpectMeanCrossProducts(0x1.8p+1010, 1.5);
}

TEST(WeightRangeOfRecords, WholeWeightsCountAsRecordsDo) {
  // 3 of weight 1000 and 7 of weight 1: the mean is exact only when no weight is rounded.
  LinearSettings settings(kY, {}, {});
  settings.FrequencyWeight(1);
  ModelOnTables run(settings.Get(), {{1, 1000}, {2, 1000}, {3, 1000}, {4, 7}});
  run.AddRecords();
  EXPECT_EQ(run.model.GetMatrix().GetElem(0, 0), 3007.0 / 2048);
  EXPECT_EQ(run.model.GetMatrix().GetElem(1, 0), 6028.0 / 2048);
  EXPECT_EQ(run.model.GetMatrix().GetElem(1, 1), 14112.0 / 2048);
}

TEST(WeightRangeOfRecords, ATotalThatIsNotFiniteFitsNothing) {
  const double most = std::numeric_limits<double>::max();
  LinearSettings settings(kY, {}, {});
  settings.FrequencyWeight(1);
  ModelOnTables run(settings.Get(), {{1, most}, {2, most}});
  EXPECT_EQ(run.Fit().GetCode(), 308);
  EXPECT_EQ(run.model.GetWeightedRecordCount(), 0);
}

}  // namespace
