// The grid over which means are taken, through what is fitted.

#include "host/fit/ReferenceGrid.h"

#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/fit/Fitting.h"

namespace qvhost {
namespace {

constexpr int kBadInput = 2;

constexpr const char* kRows =
    "SELECT i * 0.5 + (i * 7) % 5 AS y, ['a', 'b', 'c'][1 + i % 3] AS g, "
    "['a1', 'a2', 'b1', 'b2', 'b3', 'c1'][1 + CASE i % 3 WHEN 0 THEN (i // 3) % 2 "
    "WHEN 1 THEN 2 + (i // 3) % 3 ELSE 5 END] AS h, "
    "i % 2 AS two, 1.0 + i AS x, 1 + i % 4 AS n, date '2020-01-01' + CAST(i * i AS INTEGER) AS d, "
    "i % 5 = 0 AS flag, 2000 + i % 3 AS year FROM range(60) t(i)";

FitOptions MeansOf(const std::string& formula, const std::vector<std::string>& means,
                   const std::vector<std::string>& contrasts = {}) {
  FitOptions options = OptionsFor(kRows, formula);
  options.means = means;
  options.contrasts = contrasts;
  return options;
}

const GridResult::Covariate& OnlyCovariate(const FitResult& fit) {
  EXPECT_EQ(fit.means->grid.covariates.size(), 1U);
  return fit.means->grid.covariates.front();
}

TEST(ReferenceGrid, HasColumnsOfExpressionsAtTheirMeans) {
  const FitResult fit = Fit(MeansOf("y ~ g + log(x) + I(x^2) + scale(x)", {"g"}));
  EXPECT_EQ(OnlyCovariate(fit).name, "x");
  EXPECT_EQ(OnlyCovariate(fit).values, std::vector<double>{30.5});
  EXPECT_EQ(fit.means->grid.rows, 3);
  const double at =
      Predict(fit, {{"g", "b"}}, {{"log(x)", std::log(30.5)}, {"x", 30.5}, {"scale(x)", 0.0}});
  EXPECT_NEAR(fit.means->tables[0].rows[1].estimate.estimate.value(), at, 1e-11);
}

TEST(ReferenceGrid, CountsARecordAsItsFrequencyWeightSays) {
  FitOptions options = MeansOf("y ~ g + x", {"g"});
  options.binding.freqWeight = "n";
  double sum = 0.0;
  double weights = 0.0;
  for (int i = 0; i < 60; ++i) {
    sum += (1.0 + i) * (1 + i % 4);
    weights += 1 + i % 4;
  }
  EXPECT_NEAR(OnlyCovariate(Fit(options)).values.front(), sum / weights, 1e-13);
  options.binding.freqWeight.clear();
  options.binding.regressionWeight = "n";
  EXPECT_EQ(OnlyCovariate(Fit(options)).values.front(), 30.5);
}

TEST(ReferenceGrid, HasBothValuesOfANumberThatHasTwo) {
  const FitResult fit = Fit(MeansOf("y ~ g + two + I(two * x)", {"g", "two"}));
  EXPECT_EQ(fit.means->grid.rows, 6);
  EXPECT_EQ(fit.means->grid.covariates[0].values, (std::vector<double>{0.0, 1.0}));
  EXPECT_EQ(fit.means->tables[1].rows[1].levels, std::vector<std::string>{"1"});
}

TEST(ReferenceGrid, AnExpressionOfADateIsAtItsOwnMean) {
  const FitResult fit = Fit(MeansOf("y ~ g + I(d - date '2020-01-01')", {"g"},
                                    {"I(d - date '2020-01-01')=7 - I(d - date '2020-01-01')=5"}));
  double sum = 0.0;
  for (int i = 0; i < 60; ++i) sum += i * i;
  EXPECT_NEAR(OnlyCovariate(fit).values.front(), sum / 60.0, 1e-11);
  EXPECT_NEAR(fit.means->contrasts[0].estimate.estimate.value(),
              2.0 * fit.parameters.back().estimate.value(), 1e-13);
}

TEST(ReferenceGrid, AFactorThatIsAColumnIsThatOfTheCovariates) {
  const FitResult fit = Fit(MeansOf("y ~ C(year) + I(year * x) + flag", {"year"}));
  EXPECT_EQ(fit.means->grid.rows, 6);
  EXPECT_EQ(OnlyCovariate(fit).name, "x");
  const double no =
      Predict(fit, {{"year", "2001"}, {"flag", "false"}}, {{"I(year * x)", 2001 * 30.5}});
  const double yes =
      Predict(fit, {{"year", "2001"}, {"flag", "true"}}, {{"I(year * x)", 2001 * 30.5}});
  EXPECT_NEAR(fit.means->tables[0].rows[1].estimate.estimate.value(), (no + yes) / 2.0, 1e-10);
}

TEST(ReferenceGrid, ALevelThatOccursWithOneOfAnotherFactorIsWithinIt) {
  // Written as crossed: the table tells that each h occurs with one g. Of h in b there are three.
  const FitResult fit = Fit(MeansOf("y ~ g + h + flag", {"g", "h", "flag"}));
  ASSERT_EQ(fit.means->grid.nested.size(), 1U);
  EXPECT_EQ(fit.means->grid.nested[0].factor, "h");
  EXPECT_EQ(fit.means->grid.nested[0].within, std::vector<std::string>{"g"});
  const std::vector<MeanTable>& tables = fit.means->tables;
  EXPECT_EQ(tables[1].factors, (std::vector<std::string>{"h", "g"}));
  EXPECT_EQ(tables[1].rows.size(), 6U);
  // A mean over all weighs each g the same, whatever the number of h in it.
  const auto mean = [](const MeanTable& table, std::size_t row) {
    return table.rows[row].estimate.estimate.value();
  };
  const double overG = (mean(tables[0], 0) + mean(tables[0], 1) + mean(tables[0], 2)) / 3.0;
  EXPECT_NEAR((mean(tables[2], 0) + mean(tables[2], 1)) / 2.0, overG, 1e-11);
  EXPECT_NEAR(mean(tables[0], 1),
              (mean(tables[1], 2) + mean(tables[1], 3) + mean(tables[1], 4)) / 3.0, 1e-11);
}

TEST(ReferenceGrid, RefusesWhatHasNoValueThere) {
  const Failure failure = FailureOf(MeansOf("y ~ g + I(1.0 / (x - 30.5))", {"g"}));
  EXPECT_EQ(failure.code, kBadInput);
  EXPECT_EQ(failure.message,
            "'I(1.0 / (x - 30.5))' has no value where x is 30.5, which is where --means and "
            "--contrast take means; give a contrast another value, or take it out of the model.");
}

TEST(ReferenceGrid, WithoutARecordTheFitSaysWhy) {
  FitOptions options = OptionsFor(
      "SELECT CAST(NULL AS DOUBLE) AS y, 'a' AS g, 1.0 AS x FROM range(5)", "y ~ g + log(x)");
  options.means = {"g"};
  options.contrasts = {"g=b"};
  EXPECT_EQ(FailureOf(options).message.substr(0, 36), "None of the 5 records can be used. I");
}

TEST(ReferenceGrid, RefusesMoreRowsThanAMillion) {
  const std::string sql =
      "SELECT i % 7 AS y, i % 1001 AS a, (i * 31) % 1009 AS b, i AS x FROM range(5000) t(i)";
  FitOptions options = OptionsFor(sql, "y ~ C(a) + C(b) + x");
  options.means = {"a"};
  const Failure failure = FailureOf(options);
  EXPECT_EQ(failure.code, kBadInput);
  EXPECT_EQ(failure.message,
            "The grid for --means and --contrast, all combinations of the levels of the factors, "
            "would have 1010009 rows; 1000000 are the most. Take a factor of many levels out of "
            "the model, or group its levels.");
}

}  // namespace
}  // namespace qvhost
