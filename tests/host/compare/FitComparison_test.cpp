#include "host/compare/FitComparison.h"

#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

using Strings = std::vector<std::string>;

/// A fit of an intercept and these covariates.
SavedFit Fit(const std::string& covariates) {
  SavedFit fit;
  fit.dependent = "y";
  fit.used = 20;
  fit.digest = "d";
  fit.covariance = "model";
  fit.parameters.resize(1);
  for (const char name : covariates) {
    SavedParameter parameter;
    parameter.covariates = {{std::string(1, name), 1}};
    fit.parameters.push_back(parameter);
  }
  return fit;
}

SavedFit Linear(const std::string& covariates, std::optional<double> error,
                std::optional<double> degrees) {
  SavedFit fit = Fit(covariates);
  fit.statistics = {{"residual_std_error", error}};
  fit.degreesOfFreedom = degrees;
  return fit;
}

SavedFit Logistic(const std::string& covariates, std::optional<double> logLikelihood) {
  SavedFit fit = Fit(covariates);
  fit.isLogistic = true;
  fit.statistics = {{"aic", 1.0}, {"loglik", logLikelihood}};
  return fit;
}

/// What is said of fits that are not tested.
Strings NotesOf(std::vector<SavedFit> fits) {
  const FitComparison comparison = CompareFits(std::move(fits));
  EXPECT_TRUE(comparison.tests.empty());
  return comparison.notes;
}

/// What is said of fits beside their tests.
Strings NotesBeside(std::vector<SavedFit> fits) {
  const FitComparison comparison = CompareFits(std::move(fits));
  EXPECT_EQ(comparison.tests.size(), 1U);
  return comparison.notes;
}

const std::string kUntested = "Fits 1 and 2 are not tested against each other: ";

TEST(FitComparison, LinearModelsHaveTheFOfTheirResidualSums) {
  const FitComparison found = CompareFits({Linear("", 2.0, 12.0), Linear("xz", 1.0, 10.0)});
  ASSERT_EQ(found.tests.size(), 1U);
  const NestedTest& test = found.tests.front();
  EXPECT_EQ(test.fit, 1U);
  EXPECT_EQ(test.against, 0U);
  EXPECT_EQ(test.degrees, 2);
  EXPECT_EQ(test.residualDegrees, 10.0);
  // The sums are 48 and 10; with 2 degrees the tail is (1 + 2 F / 10)^-5.
  EXPECT_EQ(test.sumOfSquares, 38.0);
  EXPECT_EQ(test.statistic, 19.0);
  EXPECT_NEAR(test.pValue.value(), std::pow(4.8, -5.0), 1e-15);
  EXPECT_EQ(found.notes, Strings());
}

TEST(FitComparison, ALargerResidualSumOfTheLargerModelIsRounding) {
  const FitComparison found = CompareFits({Linear("", 1.0, 11.0), Linear("x", 2.0, 10.0)});
  const NestedTest& test = found.tests.at(0);
  EXPECT_EQ(test.statistic, 0.0);
  EXPECT_EQ(test.pValue, 1.0);
  EXPECT_EQ(test.sumOfSquares, 0.0);
}

TEST(FitComparison, SumsThatNoDoubleHoldsLeaveTheF) {
  const FitComparison found = CompareFits({Linear("", 1e200, 11.0), Linear("x", 1e200, 10.0)});
  const NestedTest& test = found.tests.at(0);
  EXPECT_EQ(test.statistic, 1.0);
  EXPECT_EQ(test.sumOfSquares, std::nullopt);
}

TEST(FitComparison, AResidualDegreeIsEnough) {
  // The sums are 8 and 1, and the F of 1 and 1 degrees has the tail of Cauchy's distribution.
  const NestedTest test = CompareFits({Linear("", 2.0, 2.0), Linear("x", 1.0, 1.0)}).tests.at(0);
  EXPECT_EQ(test.statistic, 7.0);
  EXPECT_NEAR(test.pValue.value(), 1.0 - 2.0 / std::acos(-1.0) * std::atan(std::sqrt(7.0)), 1e-15);
}

TEST(FitComparison, LogisticModelsHaveTheChiSquareOfTheirLikelihoods) {
  const FitComparison found = CompareFits({Logistic("", -10.0), Logistic("xz", -7.0)});
  const NestedTest& test = found.tests.at(0);
  EXPECT_EQ(test.degrees, 2);
  EXPECT_EQ(test.statistic, 6.0);
  EXPECT_NEAR(test.pValue.value(), std::exp(-3.0), 1e-15);
  EXPECT_EQ(test.residualDegrees, std::nullopt);
  EXPECT_EQ(test.sumOfSquares, std::nullopt);
  EXPECT_EQ(CompareFits({Logistic("", -7.0), Logistic("x", -10.0)}).tests.at(0).statistic, 0.0);
}

TEST(FitComparison, NothingIsTestedWithoutAResidualVariance) {
  const Strings none = {kUntested + "no residual variance is left to fit 2."};
  EXPECT_EQ(NotesOf({Linear("", std::nullopt, 1.0), Linear("x", 1.0, 1.0)}), none);
  EXPECT_EQ(NotesOf({Linear("", 1.0, 1.0), Linear("x", std::nullopt, 1.0)}), none);
  EXPECT_EQ(NotesOf({Linear("", 1.0, 1.0), Linear("x", 1.0, 0.0)}), none);
  EXPECT_EQ(NotesOf({Linear("", 0.0, 2.0), Linear("x", 0.0, 1.0)}), none) << "both fit exactly";
  EXPECT_EQ(NotesOf({Linear("", 1.0, std::nullopt), Linear("x", 1.0, 1.0)}), none);
  EXPECT_EQ(NotesOf({Linear("", 1.0, 2.0), Linear("x", 1.0, std::nullopt)}), none);
}

TEST(FitComparison, NothingIsTestedWithoutALikelihood) {
  const Strings none = {kUntested + "a log-likelihood does not exist."};
  EXPECT_EQ(NotesOf({Logistic("", std::nullopt), Logistic("x", -1.0)}), none);
  EXPECT_EQ(NotesOf({Logistic("", -1.0), Logistic("x", std::nullopt)}), none);
}

TEST(FitComparison, EquallyManyParametersAreTheSameModel) {
  EXPECT_EQ(NotesOf({Linear("x", 1.0, 5.0), Linear("x", 1.0, 5.0)}),
            Strings{kUntested + "they are the same model, with equally many parameters."});
}

TEST(FitComparison, ALargerFitThatStandsFirstIsNamedByItsNumber) {
  const FitComparison found = CompareFits({Linear("x", 1.0, 5.0), Linear("", 1.0, 6.0)});
  EXPECT_EQ(found.tests.at(0).fit, 0U);
  EXPECT_EQ(found.tests.at(0).against, 1U);
  EXPECT_EQ(NotesOf({Linear("xz", 1.0, 5.0), Linear("w", 1.0, 6.0)}),
            Strings{kUntested + "the terms of fit 1 do not hold 'w' of fit 2."});
  SavedFit fewer = Linear("w", 1.0, 6.0);
  fewer.used = 19;
  EXPECT_EQ(NotesOf({Linear("xz", 1.0, 5.0), fewer}),
            Strings{kUntested + "19 records were used by fit 2, 20 by fit 1."});
}

TEST(FitComparison, TheReasonNamesTheLargestOfTheSmallerFits) {
  EXPECT_EQ(NotesOf({Linear("v", 1.0, 6.0), Linear("w", 1.0, 6.0), Linear("xz", 1.0, 5.0)}),
            (Strings{"Fits 1 and 2 are not tested against each other: the terms of fit 2 do not "
                     "hold 'v' of fit 1.",
                     "Fits 2 and 3 are not tested against each other: the terms of fit 3 do not "
                     "hold 'w' of fit 2."}));
}

TEST(FitComparison, TheReasonsAreFollowedByWhatDiffers) {
  SavedFit other = Linear("x", 1.0, 5.0);
  other.digest = "e";
  EXPECT_EQ(NotesOf({Linear("", 1.0, 6.0), other}),
            (Strings{kUntested + "the values or weights of the dependent differ in the records "
                                 "that they used.",
                     "The records used differ: log-likelihood, AIC and BIC do not compare such "
                     "fits."}));
}

TEST(FitComparison, OtherReferenceLevelsOfLogisticModelsAreNoted) {
  SavedFit other = Logistic("x", -1.0);
  other.reference = "b";
  EXPECT_EQ(NotesBeside({Logistic("", -2.0), other}),
            Strings{"The reference levels differ, so estimates do not compare."});
  other = Linear("x", 1.0, 5.0);
  other.reference = "b";
  EXPECT_EQ(NotesBeside({Linear("", 1.0, 6.0), other}), Strings());
}

TEST(FitComparison, UnsoundFitsAreNamed) {
  SavedFit unsound = Logistic("x", -1.0);
  unsound.isSound = false;
  const std::string rest =
      " did not converge, or its levels are separated: its numbers and tests mean little.";
  EXPECT_EQ(NotesBeside({Logistic("", -2.0), unsound}), Strings{"Fit 2" + rest});
  EXPECT_EQ(NotesBeside({unsound, Logistic("", -2.0)}), Strings{"Fit 1" + rest});
}

TEST(FitComparison, TestsDoNotRestOnRobustErrors) {
  SavedFit robust = Linear("x", 1.0, 5.0);
  robust.covariance = "hc3";
  EXPECT_EQ(NotesBeside({Linear("", 1.0, 6.0), robust}),
            Strings{"The tests rest on the models' variances, not on robust errors."});
  EXPECT_EQ(NotesOf({Linear("z", 1.0, 6.0), robust}).size(), 1U) << "there is no test";
}

TEST(FitComparison, FitsOfOtherKindsOrDependentsAreRefused) {
  const auto refusal = [](const SavedFit& other) {
    SavedFit first = Linear("", 1.0, 6.0);
    first.file = "a";
    const Refusal found = RefusalOf([&] { static_cast<void>(CompareFits({first, other})); });
    EXPECT_EQ(found.code, ExitCode::kBadInput);
    return found.text;
  };
  SavedFit other = Logistic("x", -1.0);
  other.file = "b";
  EXPECT_EQ(refusal(other),
            "'a' is a linear model and 'b' a logistic one; compare fits of one kind.");
  other = Linear("x", 1.0, 5.0);
  other.file = "b";
  other.dependent = "z";
  EXPECT_EQ(refusal(other),
            "'a' is a model of 'y' and 'b' one of 'z'; compare fits of one dependent.");
}

}  // namespace
}  // namespace qvhost
