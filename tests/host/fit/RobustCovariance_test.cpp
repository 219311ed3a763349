// Robust covariance matrices beside those of R and of formulas written out; tests/reference/robust
// tells how they were made.

#include "host/fit/RobustCovariance.h"

#include <cmath>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/fit/RunSettings.h"
#include "tests/host/fit/Everything.h"
#include "tests/host/fit/Fitting.h"

namespace qvhost {
namespace {

using Errors = std::map<std::string, double>;

constexpr int kRunFailed = 1;
constexpr int kBadInput = 2;

Errors Expected(const std::string& file, const std::string& model, CovarianceKind kind) {
  Errors errors;
  for (const auto& row :
       Connection().Rows("SELECT label, error FROM " + RobustReference(file) + " WHERE model = '" +
                         model + "' AND kind = '" + CovarianceName(kind) + "'")) {
    errors[row[0].value()] = std::stod(row[1].value());
  }
  return errors;
}

FitOptions With(FitOptions options, CovarianceKind kind, const std::string& cluster = "") {
  options.covariance = kind;
  options.binding.cluster = cluster;
  return options;
}

FitOptions Robust(const std::string& dependent, CovarianceKind kind) {
  return With(Everything(dependent), kind, kind == CovarianceKind::kCluster ? "cl" : "");
}

/// Every parameter that has an expected error has it, and no other one has any.
void ExpectErrors(const FitResult& fit, const Errors& expected, bool hasCategories,
                  double tolerance) {
  std::size_t found = 0;
  for (const ParameterResult& parameter : fit.parameters) {
    const std::string label =
        (hasCategories ? parameter.category.value() + ":" : "") + parameter.label;
    const auto error = expected.find(label);
    ASSERT_EQ(parameter.statistics.stdError.has_value(), error != expected.end()) << label;
    if (error == expected.end()) continue;
    ++found;
    EXPECT_NEAR(*parameter.statistics.stdError / error->second, 1.0, tolerance) << label;
    EXPECT_NEAR(*parameter.statistics.statistic * error->second / *parameter.estimate, 1.0,
                tolerance)
        << label;
  }
  EXPECT_EQ(found, expected.size());
  EXPECT_GT(found, 0U);
}

constexpr CovarianceKind kAll[] = {CovarianceKind::kHc0, CovarianceKind::kHc1, CovarianceKind::kHc2,
                                   CovarianceKind::kHc3, CovarianceKind::kCluster};

TEST(RobustCovariance, OfALinearModelIsThatOfR) {
  for (const CovarianceKind kind : kAll) {
    SCOPED_TRACE(CovarianceName(kind));
    ExpectErrors(Fit(Robust("y", kind)), Expected("errors.csv", "linear", kind), false, 1e-12);
  }
}

TEST(RobustCovariance, OfABinaryModelIsThatOfR) {
  for (const CovarianceKind kind : kAll) {
    SCOPED_TRACE(CovarianceName(kind));
    // R's iteration leaves the rest.
    ExpectErrors(Fit(Robust("yb", kind)), Expected("errors.csv", "binary", kind), false, 1e-9);
  }
}

TEST(RobustCovariance, OfThreeCategoriesIsThatOfTheFormula) {
  for (const CovarianceKind kind :
       {CovarianceKind::kHc0, CovarianceKind::kHc1, CovarianceKind::kCluster}) {
    SCOPED_TRACE(CovarianceName(kind));
    ExpectErrors(Fit(Robust("y3", kind)), Expected("three_errors.csv", "three", kind), true, 1e-11);
  }
}

TEST(RobustCovariance, TellsItsClusters) {
  const FitResult fit = Fit(Robust("y", CovarianceKind::kCluster));
  EXPECT_EQ(fit.covariance.clusters, 9);
  EXPECT_EQ(fit.covariance.column, "cl");
  EXPECT_FALSE(Fit(Robust("y", CovarianceKind::kHc1)).covariance.clusters);
}

TEST(RobustCovariance, LeavesAllElseAsItIs) {
  const FitResult plain = Fit(Everything("y3"));
  const FitResult robust = Fit(Robust("y3", CovarianceKind::kHc1));
  for (std::size_t i = 0; i < plain.parameters.size(); ++i) {
    EXPECT_EQ(plain.parameters[i].estimate, robust.parameters[i].estimate);
  }
  EXPECT_EQ(plain.logistic->logLikelihood, robust.logistic->logLikelihood);
}

// A factor of 30 levels, a covariate and clusters of any size; some records are not used.
constexpr const char* kMany =
    "SELECT i % 30 AS g, sin(i) AS x, sin(3 * i) + i % 7 AS y, i % 3 AS k, "
    "CASE WHEN i % 11 = 0 THEN NULL ELSE 1 + i % 4 END AS f, i * i % 1999 AS c "
    "FROM range(40000) t(i)";

FitOptions Many(CovarianceKind kind, const std::string& cluster = "") {
  FitOptions options = With(OptionsFor(kMany, "y ~ C(g) + x"), kind, cluster);
  options.binding.freqWeight = "f";
  return options;
}

std::vector<double> ErrorsOf(const FitResult& fit) {
  std::vector<double> errors;
  for (const ParameterResult& parameter : fit.parameters) {
    errors.push_back(parameter.statistics.stdError.value_or(0.0));
  }
  return errors;
}

TEST(RobustCovariance, ThreadsShowInNoBit) {
  for (FitOptions options : {Many(CovarianceKind::kHc3), Many(CovarianceKind::kCluster, "c")}) {
    options.threads = 1;
    const std::vector<double> one = ErrorsOf(Fit(options));
    options.threads = 5;
    EXPECT_EQ(ErrorsOf(Fit(options)), one);
  }
}

TEST(RobustCovariance, ClustersOfOneRecordAreHc1ButForTheFactor) {
  const std::string rows =
      "SELECT i AS id, sin(i) AS x, cos(2 * i) + i % 3 AS y FROM range(50) t(i)";
  const std::vector<double> single =
      ErrorsOf(Fit(With(OptionsFor(rows, "y ~ x"), CovarianceKind::kCluster, "id")));
  const std::vector<double> hc1 =
      ErrorsOf(Fit(With(OptionsFor(rows, "y ~ x"), CovarianceKind::kHc1)));
  // G / (G - 1) (n - 1) / (n - k) with G = n is n / (n - k).
  for (std::size_t i = 0; i < hc1.size(); ++i) EXPECT_NEAR(single[i] / hc1[i], 1.0, 1e-13);
}

TEST(RobustCovariance, ClustersMayBeTakenInSmallPieces) {
  BuiltModel built(Many(CovarianceKind::kCluster, "c"));
  const FittedModel model{.output = built.Output(),
                          .scoring = ScoringBytesOf(built.Component()),
                          .validator = ValidatorOf(built.Component().GetCompSettings()),
                          .freqWeight = 3,
                          .degreesOfFreedom = 100.0};
  RobustOptions options{.kind = CovarianceKind::kCluster, .cluster = 4, .clusterName = "c"};
  const WalkOptions walk{.interrupt = built.CtrlC(), .threads = 2};
  const RobustCovariance atOnce = ComputeRobustCovariance(built.Table(), model, options, walk);
  options.mostBytes = 10000;
  const RobustCovariance inPieces = ComputeRobustCovariance(built.Table(), model, options, walk);
  EXPECT_EQ(atOnce.clusters, inPieces.clusters);
  for (int i = 0; i < atOnce.matrix.GetOrder(); ++i) {
    const double element = atOnce.matrix.GetElem(i, 0);
    EXPECT_NEAR(inPieces.matrix.GetElem(i, 0), element, 1e-12 * std::abs(element));
  }
}

TEST(RobustCovariance, GoesWithTheUnitsHoweverExtreme) {
  const auto statistics = [](const std::string& y, const std::string& x, const std::string& w) {
    FitOptions options =
        With(OptionsFor("SELECT " + y + " AS y, " + x + " AS x, g, " + w +
                            " AS w FROM (SELECT cos(2 * i) + i % 3 AS y, sin(i) + 2 "
                            "AS x, i % 2 AS g, 1.5 + sin(i) AS w "
                            "FROM range(60) t(i))",
                        "y ~ C(g) + x + I(x^2)"),
             CovarianceKind::kHc3);
    options.binding.regressionWeight = "w";
    std::vector<double> values;
    for (const ParameterResult& parameter : Fit(options).parameters) {
      values.push_back(parameter.statistics.statistic.value_or(0.0));
    }
    return values;
  };
  const std::vector<double> usual = statistics("y", "x", "w");
  const std::vector<double> extreme = statistics("y * 1e-100", "x * 1e100", "w * 1e200");
  for (std::size_t i = 0; i < usual.size(); ++i) {
    EXPECT_NEAR(extreme[i], usual[i], 1e-9 * std::abs(usual[i]));
  }
}

TEST(RobustCovariance, ImposedDegreesOfFreedomCountHereToo) {
  FitOptions options = Robust("y", CovarianceKind::kHc1);
  const FitResult own = Fit(options);
  options.degreesOfFreedom = own.degreesOfFreedom / 4.0;
  const FitResult imposed = Fit(options);
  EXPECT_NEAR(*imposed.parameters[0].statistics.stdError / *own.parameters[0].statistics.stdError,
              2.0, 1e-13);
}

TEST(RobustCovariance, IdenticalRecordsFittedOnceGiveTheSame) {
  const std::string rows =
      "SELECT i % 5 AS g, i % 3 AS x, (i * i % 7 < 3)::INT AS y, i % 13 AS c FROM range(30000) "
      "t(i)";
  for (const CovarianceKind kind : {CovarianceKind::kHc0, CovarianceKind::kHc2}) {
    FitOptions options = With(OptionsFor(rows, "y ~ C(g) + x"), kind);
    options.binding.model = ModelKind::kLogistic;
    const FitResult grouped = Fit(options);
    ASSERT_TRUE(grouped.logistic->distinctRecords);
    options.logistic.collapse = false;
    const std::vector<double> single = ErrorsOf(Fit(options));
    const std::vector<double> errors = ErrorsOf(grouped);
    for (std::size_t i = 0; i < errors.size(); ++i) EXPECT_NEAR(errors[i], single[i], 1e-9);
  }
}

TEST(RobustCovariance, WithoutDegreesOfFreedomThereIsNone) {
  const FitResult fit = Fit(With(
      OptionsFor("SELECT * FROM (VALUES (1, 1), (2, 3)) t(y, x)", "y ~ x"), CovarianceKind::kHc0));
  EXPECT_FALSE(fit.parameters.front().statistics.stdError);
}

TEST(RobustCovariance, ALeverageOf1IsRefused) {
  const Failure failure = FailureOf(With(
      OptionsFor("SELECT * FROM (VALUES (1, 'a'), (2, 'a'), (4, 'b'), (3, 'a')) t(y, g)", "y ~ g"),
      CovarianceKind::kHc3));
  EXPECT_EQ(
      failure.message,
      "--vcov hc3 does not exist: 1 of the records used has a leverage of 1, row 3, as the "
      "only one with a level or a combination of levels has; choose hc0 or hc1, or leave such "
      "rows out with --where.");
  EXPECT_EQ(failure.code, kRunFailed);
}

TEST(RobustCovariance, LeveragesOfMoreThanTwoLevelsAreRefused) {
  const Failure failure = FailureOf(Robust("y3", CovarianceKind::kHc2));
  EXPECT_EQ(failure.message,
            "--vcov hc2 corrects for the leverage of one residual, but the dependent has 3 levels; "
            "choose hc0, hc1 or cluster.");
  EXPECT_EQ(failure.code, kRunFailed);
}

TEST(RobustCovariance, AMissingClusterOfARecordUsedIsRefused) {
  const auto rows = [](const std::string& y) {
    return "SELECT * FROM (VALUES (1, 1, 'a'), (2, 2, 'b'), (" + y +
           ", 3, NULL), (3, 5, 'a'), (9, 6, 'b')) t(y, x, c)";
  };
  const Failure failure =
      FailureOf(With(OptionsFor(rows("4"), "y ~ x"), CovarianceKind::kCluster, "c"));
  EXPECT_EQ(failure.message,
            "The clusters of --vcov, 'c', are missing in 1 of the records that the model uses, row "
            "3; fill it, or leave such rows out with --where \"c is not null\".");
  EXPECT_EQ(failure.code, kBadInput);
  const FitResult fit = Fit(With(OptionsFor(rows("NULL"), "y ~ x"), CovarianceKind::kCluster, "c"));
  EXPECT_EQ(fit.covariance.clusters, 2) << "the record is not used";
  ASSERT_EQ(fit.records.missingByColumn.size(), 1U);
  EXPECT_EQ(fit.records.missingByColumn.front().name, "y") << "a cluster is none of the model";
}

TEST(RobustCovariance, OneClusterIsRefused) {
  const Failure failure = FailureOf(
      With(OptionsFor("SELECT i AS x, i * i % 5 AS y, 'a' AS c FROM range(9) t(i)", "y ~ x"),
           CovarianceKind::kCluster, "c"));
  EXPECT_EQ(failure.message,
            "--vcov cluster:c needs two clusters or more, but all records used have one value of "
            "'c'; name another column.");
  EXPECT_EQ(failure.code, kRunFailed);
}

}  // namespace
}  // namespace qvhost
