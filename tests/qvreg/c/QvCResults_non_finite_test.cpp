// What the C interface tells of values that are not finite, and of weights beyond every double.
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/c/CHost.h"
#include "tests/qvreg/c/ExpectSameResults.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvtest {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

constexpr int kY = 0;
constexpr int kX = 1;
constexpr int kZ = 2;
constexpr int kFrequency = 3;
constexpr int kRegression = 4;

/// y, x, z and two weights, one of the values replaced.
std::vector<QvCommon::Record> Records(int variable, double value) {
  std::vector<QvCommon::Record> records = MakeRecords({{1, 0.2, 0.0, 1, 1},
                                                       {0, 1.3, 1.0, 1, 1},
                                                       {1, 2.4, 0.5, 1, 1},
                                                       {0, 3.1, 2.0, 1, 1},
                                                       {1, 4.4, 0.0, 1, 1},
                                                       {0, 5.3, 1.5, 1, 1}});
  records[3][variable] = value;
  return records;
}

std::vector<std::int32_t> NonFiniteOf(const CFit& fit) {
  return ListOf<std::int32_t>(
      [&](auto... rest) { return qvreg_results_get_non_finite(fit.results.get(), rest...); });
}

std::int32_t IsDependentFinite(const CFit& fit) {
  std::int32_t answer = -1;
  Require([&](qvreg_error* e) {
    return qvreg_results_is_dependent_finite(fit.results.get(), &answer, e);
  });
  return answer;
}

TEST(CNonFinite, NamesTheColumnsOfALinearModel) {
  LinearSettings settings(kY, {}, {kX, kZ});
  settings.Effect({}, {kX}).Effect({}, {kZ});
  const std::vector<QvCommon::Record> records = Records(kX, std::nan(""));
  const CFit fit = CFitOf(settings.Get(), records);
  EXPECT_EQ(NonFiniteOf(fit), (std::vector<std::int32_t>{0, 1, 0}));
  EXPECT_EQ(IsDependentFinite(fit), 1);
  const FittedModel expected(settings.Get(), records);
  ExpectSameResults(fit.results, expected.Stats());
}

TEST(CNonFinite, NamesTheColumnsOfALogisticModel) {
  LogisticSettings settings(kY, 2, {}, {kX, kZ});
  settings.Effect({}, {kX}).Effect({}, {kZ});
  const std::vector<QvCommon::Record> records = Records(kX, kInfinity);
  const CFit fit = CFitOf(settings.Get(), records);
  EXPECT_EQ(NonFiniteOf(fit), (std::vector<std::int32_t>{0, 1, 0}));
  EXPECT_EQ(IsDependentFinite(fit), 1);
  const FittedModel expected(settings.Get(), records);
  ExpectSameResults(fit.results, expected.Stats());
}

TEST(CNonFinite, TellsOfADependentThatIsNotFinite) {
  LinearSettings settings(kY, {}, {kX, kZ});
  settings.Effect({}, {kX});
  const CFit fit = CFitOf(settings.Get(), Records(kY, kInfinity));
  EXPECT_EQ(NonFiniteOf(fit), (std::vector<std::int32_t>{0, 0}));
  EXPECT_EQ(IsDependentFinite(fit), 0);
  double rSquare = 0.0;
  Require([&](qvreg_error* e) {
    return qvreg_results_get_fit_stat(fit.results.get(), QVREG_FIT_R_SQUARE, &rSquare, e);
  });
  EXPECT_EQ(rSquare, QVREG_MISSING_VALUE);
}

TEST(CNonFinite, HasInfiniteDegreesOfFreedomForWeightsBeyondEveryDouble) {
  LinearSettings settings(kY, {}, {kX});
  settings.Effect({}, {kX}).FrequencyWeight(kFrequency).RegressionWeight(kRegression);
  std::vector<QvCommon::Record> records = Records(kX, 3.1);
  for (QvCommon::Record& record : records) record[kFrequency] = record[kRegression] = 1e160;
  const CFit fit = CFitOf(settings.Get(), records);
  auto summary = Sized<qvreg_summary>();
  Require(
      [&](qvreg_error* e) { return qvreg_results_get_summary(fit.results.get(), &summary, e); });
  EXPECT_EQ(summary.total_frequency_weight, 6e160);
  EXPECT_EQ(summary.total_regression_weight, kInfinity);
  EXPECT_EQ(summary.degrees_of_freedom, kInfinity);
  EXPECT_EQ(NonFiniteOf(fit), (std::vector<std::int32_t>{0, 0})) << "the fit has them in range";
}

TEST(CNonFinite, KeepsDegreesOfFreedomThatAreImposed) {
  LinearSettings settings(kY, {}, {kX});
  settings.Effect({}, {kX}).FrequencyWeight(kFrequency).RegressionWeight(kRegression);
  settings.Get().SetDF(4.0);
  std::vector<QvCommon::Record> records = Records(kX, 3.1);
  for (QvCommon::Record& record : records) record[kFrequency] = record[kRegression] = 1e160;
  const FittedModel model(settings.Get(), records);
  EXPECT_EQ(model.Stats().GetTotalRegrWeight(), kInfinity);
  EXPECT_EQ(model.Stats().GetNDegFreedom(), 4.0);
}

}  // namespace
}  // namespace qvtest
