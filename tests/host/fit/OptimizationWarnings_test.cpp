#include "host/fit/OptimizationWarnings.h"

#include <gtest/gtest.h>

#include "qvreg/logistic/QvIterationReporter.h"

namespace qvhost {
namespace {

using Sentences = std::vector<std::string>;

ParameterResult Parameter(const std::string& category, const std::string& label, double estimate,
                          std::optional<double> stdError) {
  ParameterResult parameter;
  parameter.category = category;
  parameter.label = label;
  parameter.estimate = estimate;
  parameter.statistics.stdError = stdError;
  if (stdError) parameter.statistics.statistic = estimate / *stdError;
  return parameter;
}

ParameterResult Slope(const std::string& label, double estimate, std::optional<double> stdError,
                      int power = 1) {
  ParameterResult parameter = Parameter("yes", label, estimate, stdError);
  parameter.covariates = {{label, power}};
  return parameter;
}

ParameterResult Level(const std::string& level, double estimate, std::optional<double> stdError) {
  ParameterResult parameter = Parameter("yes", "g=" + level, estimate, stdError);
  parameter.levels = {{"g", level}};
  return parameter;
}

FitResult FitThatEnded(QvOptimizationOutcome outcome,
                       std::vector<ParameterResult> parameters = {}) {
  FitResult fit;
  fit.kind = ModelKind::kLogistic;
  fit.dependent = "answer";
  fit.parameters = std::move(parameters);
  fit.logistic.emplace();
  fit.logistic->outcomeCode = outcome;
  fit.logistic->iterations = 12;
  fit.logistic->parameterChange = 0.0123;
  return fit;
}

Sentences Find(const FitResult& fit, const Sentences& covariates = {},
               const std::vector<double>& spans = {}) {
  const LogisticOptions options;
  return OptimizationWarnings(fit, options, covariates, spans).Find();
}

/// What the only warning says of the drivers: from the word before them to the sentence's end.
std::string DriversIn(const Sentences& warnings) {
  if (warnings.size() != 1) return "not one warning";
  const std::string& text = warnings.front();
  std::size_t from = text.find("The estimate that drives it is ");
  if (from == std::string::npos) from = text.find("The largest estimates with");
  if (from == std::string::npos) from = text.find("The estimate that keeps growing is ");
  if (from == std::string::npos) from = text.find("The estimates that keep growing are ");
  if (from == std::string::npos) return "";
  const std::size_t end = std::min(text.find(" Leave out"), text.size());
  return text.substr(from, end - from);
}

std::string DriversOf(std::vector<ParameterResult> parameters, const Sentences& covariates = {},
                      const std::vector<double>& spans = {}) {
  return DriversIn(
      Find(FitThatEnded(kOptQuasiSeparation, std::move(parameters)), covariates, spans));
}

// ---- What each outcome says -------------------------------------------------

TEST(OptimizationWarnings, AreNoneWhenTheIterationsEndedWell) {
  const std::vector<ParameterResult> suspicious = {Level("a", 30.0, 5000.0)};
  for (const QvOptimizationOutcome outcome :
       {kOptLLConverged, kOptParamConverged, kOptBothConverged}) {
    EXPECT_EQ(Find(FitThatEnded(outcome, suspicious)), Sentences{});
  }
}

TEST(OptimizationWarnings, ConvergedCloseToSeparation) {
  FitResult fit = FitThatEnded(kOptParamConverged, {Level("a", 30.0, 25.0), Level("b", -8.0, 5.0)});
  fit.logistic->mcFadden = 0.97;
  EXPECT_EQ(
      Find(fit),
      Sentences{"The terms tell the levels of 'answer' apart almost without an error (McFadden "
                "0.970), and no parameter is significant by itself. So close to separation, "
                "standard errors are far too large and tests of single parameters say little "
                "(Hauck and Donner, 1977); --anova tests each term by the likelihoods."});
  fit.logistic->mcFadden = 0.85;
  EXPECT_EQ(Find(fit), Sentences{}) << "far from separation";
  fit.logistic->mcFadden = 0.97;
  fit.parameters[1].statistics.statistic = -2.5;
  EXPECT_EQ(Find(fit), Sentences{}) << "a parameter that is told";
}

TEST(OptimizationWarnings, CompleteSeparation) {
  EXPECT_EQ(Find(FitThatEnded(kOptCompleteSeparation, {Level("a", 30.5, 5000.0)})),
            Sentences{"The levels of 'answer' are completely separated: the terms tell them apart "
                      "without an error. No estimates are the best, as larger ones always fit "
                      "better, and standard errors and tests mean nothing. The estimate that "
                      "drives it is 'yes: g=a' (30.5, standard error 5e+03). Leave out such a "
                      "term, merge levels, or add records in which they overlap."});
}

TEST(OptimizationWarnings, QuasiCompleteSeparation) {
  EXPECT_EQ(
      Find(FitThatEnded(kOptQuasiSeparation, {Level("a", 3.0, 600.0), Level("b", -7.5, 900.0)})),
      Sentences{"Levels of 'answer' are quasi-completely separated: for part of the records the "
                "terms tell them apart without an error. Some estimates would grow for ever, and "
                "their standard errors and tests mean nothing; the fitted probabilities and the "
                "other estimates can be used. The largest estimates with huge standard errors are "
                "'yes: g=b' (-7.5, standard error 9e+02), 'yes: g=a' (3, standard error 6e+02). "
                "Leave out such a term, merge levels, or add records in which they overlap."});
}

TEST(OptimizationWarnings, SingularInformation) {
  EXPECT_EQ(Find(FitThatEnded(kOptHessianSingular, {Level("a", -6.25, std::nullopt)})),
            Sentences{"The information matrix is singular, so the estimates are not determined by "
                      "the data and standard errors are not to be trusted. The estimate that "
                      "drives it is 'yes: g=a' (-6.25, no standard error). Leave out terms, merge "
                      "levels, or centre and rescale covariates."});
}

TEST(OptimizationWarnings, StepHalvingLimit) {
  const FitResult fit = FitThatEnded(kOptStepHalvingFailed);
  LogisticOptions options;
  options.maxStepHalving = 8;
  EXPECT_EQ(
      OptimizationWarnings(fit, options, {}, {}).Find(),
      Sentences{"Iteration 12 found no step of use in up to 8 step-halvings, so the estimates "
                "may not be the best. Merge rare levels, centre and rescale covariates, or "
                "allow more with --max-step-halving."});
}

TEST(OptimizationWarnings, IterationLimit) {
  EXPECT_EQ(Find(FitThatEnded(kOptMaxIterations)),
            Sentences{"The estimates had not settled after 12 iterations, the most allowed: they "
                      "still changed by 0.012. Allow more with --max-iterations."});
  EXPECT_EQ(Find(FitThatEnded(kOptMaxIterations, {Level("a", 12.0, 150.0)})),
            Sentences{"The estimates had not settled after 12 iterations, the most allowed: they "
                      "still changed by 0.012. Allow more with --max-iterations. The estimate that "
                      "drives it is 'yes: g=a' (12, standard error 1.5e+02)."});
}

TEST(OptimizationWarnings, NoIterationAllowed) {
  FitResult fit = FitThatEnded(kOptNoIterations);
  EXPECT_EQ(Find(fit),
            Sentences{"No iteration was allowed, so the estimates are nothing but the starting "
                      "values. Allow some with --max-iterations."});
  fit.logistic->converged = true;
  EXPECT_EQ(Find(fit), Sentences{}) << "there was nothing to iterate";
}

// ---- The drivers ------------------------------------------------------------

TEST(OptimizationWarnings, AnEstimateOfAUsualSizeIsNoDriver) {
  EXPECT_EQ(DriversOf({Level("a", 1.5, 0.4)}), "");
  EXPECT_EQ(DriversOf({Level("a", 1.5, 9.0)}), "") << "not huge";
  EXPECT_EQ(DriversOf({Level("a", 30.0, 20.0)}), "") << "still told from 0";
}

TEST(OptimizationWarnings, ARedundantParameterAnInterceptAndAZeroAreNoDrivers) {
  ParameterResult redundant = Level("a", 0.0, std::nullopt);
  redundant.redundant = true;
  EXPECT_EQ(DriversOf({redundant, Parameter("yes", "(Intercept)", -20.0, 5000.0),
                       Level("b", 0.0, 5000.0), Level("c", 0.0, std::nullopt)}),
            "");
}

TEST(OptimizationWarnings, WithoutAStandardErrorAnEstimateIsADriver) {
  EXPECT_EQ(DriversOf({Level("a", 0.001, std::nullopt)}),
            "The estimate that drives it is 'yes: g=a' (0.001, no standard error).");
}

TEST(OptimizationWarnings, TheLargestComeFirstAndEqualOnesInTheirOrder) {
  EXPECT_EQ(DriversOf({Level("a", 4.0, 900.0), Level("b", -9.0, 900.0), Level("c", -4.0, 900.0)}),
            "The largest estimates with huge standard errors are 'yes: g=b' (-9, standard error "
            "9e+02), 'yes: g=a' (4, standard error 9e+02), 'yes: g=c' (-4, standard error 9e+02).");
}

ParameterResult GrowingBy(double growth, ParameterResult parameter) {
  parameter.growth = growth;
  return parameter;
}

TEST(OptimizationWarnings, WhereGrowthWasSeenTheGrowingOnesAreNamed) {
  const ParameterResult intercept = GrowingBy(-1.0, Parameter("yes", "(Intercept)", -20.0, 900.0));
  EXPECT_EQ(DriversOf({intercept, GrowingBy(1.0, Level("a", 21.0, std::nullopt)),
                       Level("b", 3.0, 5000.0)}),
            "The estimate that keeps growing is 'yes: g=a' (21, by 1 an iteration).");
  EXPECT_EQ(DriversOf({GrowingBy(-1.0, Level("a", -21.0, 0.5)),
                       GrowingBy(0.125, Slope("x", 30.0, 900.0))}),
            "The estimates that keep growing are 'yes: x' (30, by 0.12 an iteration), 'yes: g=a' "
            "(-21, by -1 an iteration).");
}

TEST(OptimizationWarnings, AnEstimateThatIsCarriedAlongIsNotNamed) {
  EXPECT_EQ(DriversOf({GrowingBy(1.0, Level("a", 21.0, 900.0)),
                       GrowingBy(0.9e-3, Level("b", 0.01, 900.0))}),
            "The estimate that keeps growing is 'yes: g=a' (21, by 1 an iteration).");
  // Over a span of 2000, 1e-6 is 0.002.
  EXPECT_EQ(DriversOf({GrowingBy(1.0, Level("a", 21.0, 900.0)),
                       GrowingBy(1e-6, Slope("grams", 2e-5, 0.1))},
                      {"grams"}, {2000.0}),
            "The estimates that keep growing are 'yes: g=a' (21, by 1 an iteration), 'yes: grams' "
            "(2e-05, by 1e-06 an iteration).");
}

TEST(OptimizationWarnings, AtMostFourAreNamed) {
  std::vector<ParameterResult> parameters;
  for (const double estimate : {1.0, 5.0, 2.0, 4.0, 3.0}) {
    parameters.push_back(Level(std::to_string(static_cast<int>(estimate)), estimate, 900.0));
  }
  EXPECT_EQ(DriversOf(parameters),
            "The largest estimates with huge standard errors are 'yes: g=5' (5, standard error "
            "9e+02), 'yes: g=4' (4, standard error 9e+02), 'yes: g=3' (3, standard error 9e+02), "
            "'yes: g=2' (2, standard error 9e+02), ….");
  parameters.pop_back();
  EXPECT_TRUE(DriversOf(parameters).ends_with("'yes: g=1' (1, standard error 9e+02)."));
}

TEST(OptimizationWarnings, TheUnitsOfACovariateDoNotMatter) {
  // 0.02 a gram is 20 a kilogram; beside it a level at 10.
  EXPECT_EQ(
      DriversOf({Level("a", 10.0, 900.0), Slope("grams", 0.02, 1.5)}, {"grams"}, {2000.0}),
      "The largest estimates with huge standard errors are 'yes: grams' (0.02, standard error "
      "1.5), 'yes: g=a' (10, standard error 9e+02).");
  EXPECT_EQ(DriversOf({Level("a", 10.0, 900.0), Slope("kilos", 20.0, 1500.0)}, {"kilos"}, {2.0}),
            "The largest estimates with huge standard errors are 'yes: kilos' (20, standard error "
            "1.5e+03), 'yes: g=a' (10, standard error 9e+02).");
}

TEST(OptimizationWarnings, TheUnitOfAPowerIsThePower) {
  // Over a span of 100, 0.003 for the square is as much as 30.
  EXPECT_EQ(DriversOf({Slope("x", 0.2, 1.0), Slope("I(x^2)", 0.003, 0.1, 2)}, {"x", "I(x^2)"},
                      {100.0, 100.0}),
            "The largest estimates with huge standard errors are 'yes: I(x^2)' (0.003, standard "
            "error 0.1), 'yes: x' (0.2, standard error 1).");
}

TEST(OptimizationWarnings, TheUnitOfAProductIsTheProduct) {
  ParameterResult product = Slope("x", 0.01, 0.1);
  product.label = "x:z";
  product.covariates.push_back({"z", 1});
  EXPECT_EQ(DriversOf({product}, {"x", "z"}, {50.0, 4.0}),
            "The estimate that drives it is 'yes: x:z' (0.01, standard error 0.1).");
  EXPECT_EQ(DriversOf({product}, {"x", "z"}, {5.0, 4.0}), "") << "20 times 0.1 is not huge";
}

TEST(OptimizationWarnings, AConstantCovariateKeepsItsUnit) {
  EXPECT_EQ(DriversOf({Slope("x", 5.0, 400.0)}, {"x"}, {0.0}),
            "The estimate that drives it is 'yes: x' (5, standard error 4e+02).");
}

}  // namespace
}  // namespace qvhost
