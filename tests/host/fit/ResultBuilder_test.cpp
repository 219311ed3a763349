// What a logistic fit tells beyond its parameters, on tables small enough to reckon by hand.

#include "host/fit/ResultBuilder.h"

#include <cmath>

#include <gtest/gtest.h>

#include "tests/host/fit/Fitting.h"

namespace qvhost {
namespace {

using Table = std::vector<std::vector<double>>;

/// Of the weight 8 with g = 'l', 6 are 'no', 1 'yes' and 1 'may'; of the 8 with 'r' 1, 3 and 4.
constexpr const char* kAnswers =
    "SELECT *, n * 2 AS twice, 0.5 AS half FROM (VALUES ('no', 'l', 6), ('yes', 'l', 1), ('may', "
    "'l', 1), ('no', 'r', 1), ('yes', 'r', 3), ('may', 'r', 4)) AS t(answer, g, n)";

/// Sum of count * log(count / total) over some cells of one total.
double Entropy(const std::vector<double>& counts) {
  double total = 0.0;
  for (const double count : counts) total += count;
  double sum = 0.0;
  for (const double count : counts) sum += count * std::log(count / total);
  return sum;
}

const double kFinal = Entropy({6, 1, 1}) + Entropy({1, 3, 4});
const double kInitial = Entropy({7, 4, 5});

FitResult FitAnswers(const std::string& formula, const std::string& reference = "",
                     const std::string& freqWeight = "n", const std::string& regrWeight = "") {
  FitOptions options = OptionsFor(kAnswers, formula);
  options.binding.freqWeight = freqWeight;
  options.binding.regressionWeight = regrWeight;
  options.logistic.reference = reference;
  return Fit(options);
}

const ParameterResult& Find(const FitResult& fit, const std::string& category,
                            const std::string& label) {
  for (const ParameterResult& parameter : fit.parameters) {
    if (parameter.category == category && parameter.label == label) return parameter;
  }
  throw std::out_of_range(category + ": " + label);
}

TEST(LogisticFitBuilder, LevelsHaveTheirWeightsAndTheReferenceStandsLast) {
  const FitResult fit = FitAnswers("answer ~ g", "may");
  const std::vector<DependentLevel>& levels = fit.logistic->levels;
  ASSERT_EQ(levels.size(), 3U);
  EXPECT_EQ(levels[0].level, "no");
  EXPECT_EQ(levels[1].level, "yes");
  EXPECT_EQ(levels[2].level, "may");
  EXPECT_EQ(levels[0].weight, 7.0);
  EXPECT_EQ(levels[1].weight, 4.0);
  EXPECT_EQ(levels[2].weight, 5.0);
}

TEST(LogisticFitBuilder, ParametersStandByCategory) {
  const FitResult fit = FitAnswers("answer ~ g", "may");
  std::vector<std::string> names;
  for (const ParameterResult& parameter : fit.parameters) {
    names.push_back(parameter.category.value() + " " + parameter.label);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"no (Intercept)", "no g=l", "no g=r",
                                             "yes (Intercept)", "yes g=l", "yes g=r"}));
}

// The model has a parameter for each share: the estimates are log odds of counts, and the squares
// of their standard errors are sums of 1 / count.
TEST(LogisticFitBuilder, EstimatesAreLogOddsOfCounts) {
  const FitResult fit = FitAnswers("answer ~ g", "may");
  EXPECT_NEAR(*Find(fit, "no", "(Intercept)").estimate, std::log(1.0 / 4), 1e-9);
  EXPECT_NEAR(*Find(fit, "no", "g=l").estimate, std::log(6.0 / 1) - std::log(1.0 / 4), 1e-9);
  EXPECT_NEAR(*Find(fit, "yes", "(Intercept)").estimate, std::log(3.0 / 4), 1e-9);
  EXPECT_NEAR(*Find(fit, "yes", "g=l").estimate, -std::log(3.0 / 4), 1e-9);
  EXPECT_TRUE(Find(fit, "yes", "g=r").redundant);
  EXPECT_NEAR(*Find(fit, "no", "(Intercept)").statistics.stdError, std::sqrt(1.0 + 1.0 / 4), 1e-9);
  EXPECT_NEAR(*Find(fit, "no", "g=l").statistics.stdError, std::sqrt(1.0 / 6 + 1.0 + 1.0 + 1.0 / 4),
              1e-9);
}

TEST(LogisticFitBuilder, QualityComesFromTheLogLikelihoods) {
  const FitResult fit = FitAnswers("answer ~ g");
  const LogisticFit& logistic = *fit.logistic;
  const double weight = 16.0;
  EXPECT_NEAR(*logistic.initialLogLikelihood, kInitial, 1e-12);
  EXPECT_NEAR(*logistic.logLikelihood, kFinal, 1e-12);
  EXPECT_NEAR(*logistic.chiSquare, 2 * (kFinal - kInitial), 1e-12);
  EXPECT_EQ(logistic.chiSquareDegrees, 2);
  EXPECT_NEAR(*logistic.chiSquareP, std::exp(kInitial - kFinal), 1e-12)
      << "of two degrees of freedom: exp(-x / 2)";
  const double coxSnell = 1 - std::exp(2 * (kInitial - kFinal) / weight);
  EXPECT_NEAR(*logistic.coxSnell, coxSnell, 1e-12);
  EXPECT_NEAR(*logistic.nagelkerke, coxSnell / (1 - std::exp(2 * kInitial / weight)), 1e-12);
  EXPECT_NEAR(*logistic.mcFadden, 1 - kFinal / kInitial, 1e-12);
  EXPECT_NEAR(*logistic.aic, 2 * 4 - 2 * kFinal, 1e-11) << "four parameters are kept";
  EXPECT_NEAR(*logistic.bic, 4 * std::log(weight) - 2 * kFinal, 1e-11);
  EXPECT_EQ(fit.degreesOfFreedom, weight - 4);
}

TEST(LogisticFitBuilder, ARegressionWeightScalesTheLogLikelihoodAndNoCount) {
  const FitResult plain = FitAnswers("answer ~ g", "", "n");
  const FitResult same = FitAnswers("answer ~ g", "", "twice", "half");
  EXPECT_NEAR(*same.logistic->logLikelihood, *plain.logistic->logLikelihood, 1e-11);
  EXPECT_EQ(same.logistic->levels[0].weight, 2 * plain.logistic->levels[0].weight);
  EXPECT_EQ(same.degreesOfFreedom, 32.0 - 4);
  EXPECT_NEAR(*same.logistic->bic, 4 * std::log(32.0) - 2 * kFinal, 1e-11);
}

TEST(LogisticFitBuilder, ClassificationCountsTheWeights) {
  const FitResult fit = FitAnswers("answer ~ g", "may");
  // 'l' is predicted 'no', 'r' 'may'; rows and columns: no, yes, may.
  EXPECT_EQ(fit.logistic->classification, (Table{{6, 0, 1}, {1, 0, 3}, {1, 0, 4}}));
}

TEST(LogisticFitBuilder, WithoutAnInterceptEveryParameterCounts) {
  const FitResult fit = FitAnswers("answer ~ 0 + g");
  EXPECT_NEAR(*fit.logistic->initialLogLikelihood, 16 * std::log(1.0 / 3), 1e-12);
  EXPECT_NEAR(*fit.logistic->logLikelihood, kFinal, 1e-12);
  EXPECT_EQ(fit.logistic->chiSquareDegrees, 4);
}

TEST(LogisticFitBuilder, AnInterceptAloneHasNothingToTest) {
  const FitResult fit = FitAnswers("answer ~ 1");
  const LogisticFit& logistic = *fit.logistic;
  EXPECT_EQ(logistic.outcome, "no_iterations");
  EXPECT_TRUE(logistic.converged);
  EXPECT_EQ(logistic.iterations, 0);
  EXPECT_NEAR(*logistic.logLikelihood, kInitial, 1e-12);
  EXPECT_EQ(logistic.chiSquareDegrees, 0);
  EXPECT_FALSE(logistic.chiSquareP.has_value());
  EXPECT_NEAR(*Find(fit, "may", "(Intercept)").estimate, std::log(5.0 / 4), 1e-12);
  EXPECT_NEAR(*Find(fit, "may", "(Intercept)").statistics.stdError, std::sqrt(1.0 / 5 + 1.0 / 4),
              1e-9);
}

TEST(LogisticFitBuilder, TellsHowTheIterationsEnded) {
  FitOptions options = OptionsFor(kAnswers, "answer ~ g");
  options.binding.freqWeight = "n";
  const FitResult fit = Fit(options);
  EXPECT_EQ(fit.logistic->outcome, "parameters_converged");
  EXPECT_EQ(fit.logistic->outcomeCode, 2);
  EXPECT_TRUE(fit.logistic->converged);
  EXPECT_EQ(fit.logistic->ending, "Converged after " + std::to_string(fit.logistic->iterations) +
                                      " iterations: the estimates settled.");
  EXPECT_LT(*fit.logistic->parameterChange, 1e-6);
  EXPECT_GT(*fit.logistic->parameterChange, 0.0);
  options.logistic.maxIterations = 0;
  EXPECT_FALSE(Fit(options).logistic->converged) << "iterations were there to be made";
}

}  // namespace
}  // namespace qvhost
