// Records that were held out beside what fits of the others predict, by formulas written out and by
// fits of cut tables; tests/reference/validation tells how the former were made.

#include "host/fit/Validation.h"

#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/Text.h"
#include "host/table/Connection.h"
#include "tests/host/fit/Fitting.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using Json = nlohmann::json;

constexpr int kRunFailed = 1;
constexpr int kBadInput = 2;

std::string Reference(const std::string& name) {
  return (std::filesystem::path(QVREG_TEST_DATA) / name).string();
}

/// The case's formula and options, over its table.
FitOptions OptionsOf(const Json& expected) {
  FitOptions options;
  options.source.data = Reference("effects/everything.csv");
  options.formula = expected.at("formula");
  options.binding.freqWeight = "f";
  options.binding.regressionWeight = "w";
  if (options.formula.starts_with("I(")) options.binding.model = ModelKind::kLogistic;
  ValidationOptions& validation = options.binding.validation;
  const std::vector<std::string> words = expected.at("options");
  if (words[0] == "--holdout") {
    validation.kind = ValidationKind::kHoldout;
    validation.share = std::stod(words[1]);
  } else {
    validation.kind = ValidationKind::kFolds;
    validation.folds = std::stoi(words[1]);
    validation.seed = std::stoull(words[3]);
  }
  return options;
}

void ExpectNumber(const std::optional<double>& number, const Json& object, const char* name) {
  ASSERT_TRUE(number) << name;
  EXPECT_NEAR(*number / object.at(name).get<double>(), 1.0, 1e-11) << name;
}

void ExpectNumbers(const ValidationScore& score, const Json& expected) {
  if (expected.contains("r_square")) {
    ExpectNumber(score.rSquare, expected, "r_square");
    ExpectNumber(score.rmse, expected, "rmse");
    ExpectNumber(score.meanAbsoluteError, expected, "mean_absolute_error");
    return;
  }
  ExpectNumber(score.logLoss, expected, "log_loss");
  ExpectNumber(score.brier, expected, "brier");
  ExpectNumber(score.accuracy, expected, "accuracy");
  ExpectNumber(score.auc, expected, "auc");
  ExpectNumber(score.aucWeighted, expected, "auc_weighted");
}

void ExpectScore(const ValidationScore& score, const Json& expected) {
  EXPECT_EQ(score.records, expected.at("records").get<long long>());
  ExpectNumber(score.weight, expected, "weight");
  ExpectNumbers(score, expected);
}

void ExpectLevels(const ValidationResult& validation, const Json& expected) {
  EXPECT_EQ(Json(validation.classification), expected.at("classification"));
  ASSERT_EQ(validation.levels.size(), expected.at("levels").size());
  for (std::size_t i = 0; i < validation.levels.size(); ++i) {
    const Json& level = expected.at("levels")[i];
    EXPECT_EQ(validation.levels[i].level, level.at("level"));
    ExpectNumber(validation.levels[i].weight, level, "weight");
    ExpectNumber(validation.levels[i].auc, level, "auc");
  }
  ASSERT_EQ(validation.calibration.size(), expected.at("calibration").size());
  for (std::size_t i = 0; i < validation.calibration.size(); ++i) {
    const CalibrationGroup& group = validation.calibration[i];
    const Json& other = expected.at("calibration")[i];
    EXPECT_EQ(group.level, other.at("level"));
    EXPECT_EQ(group.group, other.at("group").get<int>());
    ExpectNumber(group.weight, other, "weight");
    ExpectNumber(group.meanPredicted, other, "mean_predicted");
    EXPECT_NEAR(group.observed, other.at("observed").get<double>(), 1e-14);
  }
}

class ValidationReference : public ::testing::TestWithParam<const char*> {};

TEST_P(ValidationReference, IsThatOfTheFormulasWrittenOut) {
  const Json expected =
      Json::parse(qvtest::ReadFile(Reference(std::string("validation/") + GetParam() + ".json")));
  const FitResult fit = Fit(OptionsOf(expected));
  ASSERT_TRUE(fit.validation);
  const ValidationResult& validation = *fit.validation;
  ExpectScore(validation.score, expected);
  if (fit.logistic) ExpectLevels(validation, expected);
  ASSERT_EQ(validation.folds.size(), expected.value("folds", Json::array()).size());
  for (std::size_t i = 0; i < validation.folds.size(); ++i) {
    ExpectScore(validation.folds[i].score, expected.at("folds")[i]);
  }
  ASSERT_EQ(validation.mean.has_value(), expected.contains("mean"));
  if (!validation.mean) return;
  ExpectNumbers(*validation.mean, expected.at("mean"));
  ExpectNumbers(*validation.standardDeviation, expected.at("standard_deviation"));
}

INSTANTIATE_TEST_SUITE_P(Everything, ValidationReference,
                         ::testing::Values("linear_holdout", "linear_folds", "two_holdout",
                                           "two_folds", "three_holdout", "three_folds"),
                         [](const auto& each) { return std::string(each.param); });

TEST(ValidationAreas, AreThoseOfAnotherPackage) {
  const Json areas = Json::parse(qvtest::ReadFile(Reference("validation/roc.json")));
  for (const std::string part : {"holdout", "folds"}) {
    for (const std::string model : {"two", "three"}) {
      const Json expected =
          Json::parse(qvtest::ReadFile(Reference("validation/" + model + "_" + part + ".json")));
      const ValidationResult found = Fit(OptionsOf(expected)).validation.value();
      EXPECT_NEAR(found.score.auc.value(), areas.at(part).at(model).get<double>(), 1e-13);
      for (std::size_t i = 0; model == "three" && i < 3; ++i) {
        EXPECT_NEAR(found.levels[i].auc.value(), areas.at(part).at("levels")[i].get<double>(),
                    1e-13);
      }
    }
  }
}

/// Rows of which some are to be held out, with missing values and weights of 0.
const std::string kRows =
    "SELECT i, (i * 7919 % 101)::DOUBLE / 10 + (i % 5) AS y, (i * i) % 23 AS x, "
    "'g' || (i % 5) AS g, CASE WHEN i % 17 = 3 THEN NULL ELSE i % 4 END AS f, "
    "CASE WHEN (i * 31 % 47) + (i % 5) * 3 > 30 THEN 'hi' WHEN i % 3 = 0 THEN 'lo' ELSE 'mid' END "
    "AS k, CASE WHEN i % 13 = 5 THEN NULL ELSE i % 3 <> 1 END AS fitted FROM range(400) t(i)";

FitOptions Split(const std::string& formula) {
  FitOptions options = OptionsFor(kRows, formula);
  options.binding.freqWeight = "f";
  options.binding.validation.kind = ValidationKind::kSplit;
  options.binding.validation.column = "fitted";
  return options;
}

void ExpectSameEstimates(const FitResult& fit, const FitResult& other) {
  ASSERT_EQ(fit.parameters.size(), other.parameters.size());
  for (std::size_t i = 0; i < fit.parameters.size(); ++i) {
    const ParameterResult& one = fit.parameters[i];
    const ParameterResult& two = other.parameters[i];
    EXPECT_EQ(one.label, two.label);
    EXPECT_NEAR(*one.estimate, *two.estimate, 1e-10 * std::abs(*two.estimate)) << one.label;
    ASSERT_EQ(one.statistics.stdError.has_value(), two.statistics.stdError.has_value());
    if (!two.statistics.stdError) continue;
    EXPECT_NEAR(*one.statistics.stdError / *two.statistics.stdError, 1.0, 1e-10) << one.label;
  }
}

TEST(Validation, TheModelIsThatOfTheRecordsNotHeldOut) {
  for (const CovarianceKind kind : {CovarianceKind::kModel, CovarianceKind::kHc1}) {
    for (const std::string formula : {"y ~ g*x + scale(x)", "k ~ g + x + center(x)"}) {
      FitOptions split = Split(formula);
      split.covariance = kind;
      split.anova = 2;
      FitOptions cut = OptionsFor("SELECT * FROM (" + kRows + ") WHERE fitted", formula);
      cut.binding.freqWeight = "f";
      cut.covariance = kind;
      cut.anova = 2;
      const FitResult fit = Fit(split);
      const FitResult expected = Fit(cut);
      ExpectSameEstimates(fit, expected);
      EXPECT_EQ(fit.records.used, expected.records.used);
      EXPECT_EQ(fit.records.read, 400);
      EXPECT_EQ(fit.quality.logLikelihood.has_value(), expected.quality.logLikelihood.has_value());
      if (fit.quality.logLikelihood) {
        EXPECT_NEAR(*fit.quality.logLikelihood, *expected.quality.logLikelihood, 1e-8);
      } else {
        EXPECT_NEAR(*fit.logistic->bic, *expected.logistic->bic, 1e-8);
      }
      // Those without a part count as missing.
      EXPECT_EQ(
          fit.records.heldOut + fit.records.used + fit.records.badWeight + fit.records.missing,
          400);
      ASSERT_EQ(fit.effects->tests.size(), expected.effects->tests.size());
      for (std::size_t i = 0; i < fit.effects->tests.size(); ++i) {
        EXPECT_EQ(fit.effects->tests[i].degrees, expected.effects->tests[i].degrees);
      }
    }
  }
}

TEST(Validation, MissingValuesAndBadWeightsAreThoseOfTheirPart) {
  FitOptions options = OptionsFor(
      "SELECT * FROM (VALUES (1.0, 1, 1, true), (3.0, 2, 1, true), (2.0, 3, 2, true), "
      "(NULL, 4, 1, true), (5.0, 5, 0, true), (6.0, 6, NULL, true), (4.0, 7, 2, false), "
      "(NULL, 8, 1, false), (NULL, 9, 0, false), (2.0, 10, 0, false), (2.0, 11, 0, false), "
      "(1.0, 12, 0, false)) t(y, x, f, fitted)",
      "y ~ x");
  options.binding.freqWeight = "f";
  options.binding.validation.kind = ValidationKind::kSplit;
  options.binding.validation.column = "fitted";
  const FitResult fit = Fit(options);
  EXPECT_EQ(fit.records.read, 12);
  EXPECT_EQ(fit.records.used, 3);
  EXPECT_EQ(fit.records.missing, 1);
  EXPECT_EQ(fit.records.badWeight, 2);
  EXPECT_EQ(fit.records.heldOut, 6);
  EXPECT_EQ(fit.validation->use.heldOut, 6);
  EXPECT_EQ(fit.validation->score.records, 1);
  EXPECT_EQ(fit.validation->use.missing, 2);
  EXPECT_EQ(fit.validation->use.badWeight, 3);
}

TEST(Validation, TheNumbersDoNotDependOnThreads) {
  for (const std::string formula : {"y ~ g + x", "k ~ g + x"}) {
    FitOptions options = OptionsFor(
        "SELECT i % 997 AS x, 'g' || (i % 7) AS g, sin(i) AS y, (['a', 'b', 'c'])[1 + i * i % 3] "
        "AS k FROM range(30000) t(i)",
        formula);
    options.binding.validation.kind = ValidationKind::kFolds;
    options.binding.validation.folds = 3;
    options.logistic.collapse = false;
    options.threads = 1;
    const ValidationResult one = Fit(options).validation.value();
    options.threads = 4;
    const ValidationResult four = Fit(options).validation.value();
    EXPECT_EQ(one.score.rmse, four.score.rmse);
    EXPECT_EQ(one.score.rSquare, four.score.rSquare);
    EXPECT_EQ(one.score.logLoss, four.score.logLoss);
    EXPECT_EQ(one.score.brier, four.score.brier);
    EXPECT_EQ(one.score.auc, four.score.auc);
    EXPECT_EQ(one.classification, four.classification);
    EXPECT_EQ(one.folds[2].score.rmse, four.folds[2].score.rmse);
    EXPECT_EQ(one.folds[2].score.auc, four.folds[2].score.auc);
  }
}

TEST(Validation, GroupedRecordsGiveTheSameNumbers) {
  FitOptions options = OptionsFor(
      "SELECT i % 9 AS x, 'g' || (i % 7) AS g, 1 + i % 3 AS f, (['a', 'b', 'c'])[1 + (i * i + i // "
      "11) % 3] AS k FROM range(40000) t(i)",
      "k ~ g + x");
  options.binding.freqWeight = "f";
  for (const ValidationKind kind : {ValidationKind::kHoldout, ValidationKind::kFolds}) {
    options.binding.validation.kind = kind;
    options.binding.validation.folds = 4;
    options.binding.validation.share = 0.3;
    options.logistic.collapse = true;
    const FitResult grouped = Fit(options);
    ASSERT_TRUE(grouped.logistic->distinctRecords);
    options.logistic.collapse = false;
    const FitResult single = Fit(options);
    EXPECT_EQ(grouped.records.used, single.records.used);
    EXPECT_EQ(grouped.records.heldOut, single.records.heldOut);
    EXPECT_EQ(grouped.validation->score.records, single.validation->score.records);
    EXPECT_EQ(grouped.validation->score.weight, single.validation->score.weight);
    EXPECT_EQ(grouped.validation->classification, single.validation->classification);
    EXPECT_NEAR(*grouped.validation->score.auc, *single.validation->score.auc, 1e-9);
    EXPECT_NEAR(*grouped.validation->score.logLoss, *single.validation->score.logLoss, 1e-9);
    EXPECT_NEAR(*grouped.validation->score.brier, *single.validation->score.brier, 1e-9);
  }
}

TEST(Validation, FoldsDoNotChangeTheModel) {
  for (const std::string formula : {"y ~ g + x", "k ~ g + x"}) {
    FitOptions options = OptionsFor(kRows, formula);
    const FitResult plain = Fit(options);
    options.binding.validation.kind = ValidationKind::kFolds;
    options.binding.validation.folds = 3;
    const FitResult fit = Fit(options);
    EXPECT_EQ(fit.records.used, plain.records.used);
    EXPECT_EQ(fit.records.heldOut, 0);
    for (std::size_t i = 0; i < fit.parameters.size(); ++i) {
      EXPECT_EQ(fit.parameters[i].estimate, plain.parameters[i].estimate);
      EXPECT_EQ(fit.parameters[i].statistics.stdError, plain.parameters[i].statistics.stdError);
    }
    EXPECT_EQ(fit.validation->use.heldOut, 400);
    EXPECT_EQ(fit.validation->score.records, fit.records.used);
  }
}

TEST(Validation, LeavesOneOut) {
  FitOptions options = OptionsFor("SELECT i AS x, i * i AS y FROM range(8) t(i)", "y ~ x");
  options.binding.validation.kind = ValidationKind::kFolds;
  options.binding.validation.folds = 8;
  const FitResult fit = Fit(options);
  // e / (1 - h), with e = i^2 - 7 i + 7 of the fit 7 i - 7.
  double squares = 0.0;
  for (int i = 0; i < 8; ++i) {
    const double leverage = 1.0 / 8.0 + (i - 3.5) * (i - 3.5) / 42.0;
    const double error = (i * i - 7.0 * i + 7.0) / (1.0 - leverage);
    squares += error * error;
  }
  EXPECT_NEAR(*fit.validation->score.rmse, std::sqrt(squares / 8.0), 1e-12);
  EXPECT_NEAR(*fit.validation->score.rSquare, 1.0 - squares / (4676.0 - 140.0 * 140.0 / 8.0),
              1e-12);
  EXPECT_EQ(fit.validation->folds[3].score.rSquare, std::nullopt);
  EXPECT_EQ(fit.validation->mean->rSquare, std::nullopt);
  EXPECT_EQ(fit.warnings.back(),
            "Folds of one record have no R square of their own, only that over all folds.");
  EXPECT_TRUE(fit.validation->standardDeviation->rmse);
}

TEST(Validation, CountsWhatCannotBeScored) {
  // g1 and its combination with b are held out alone; a level of the dependent, too.
  FitOptions options = OptionsFor(
      "SELECT * FROM (VALUES ('p', 'a', 1.0, 'yes', true), ('p', 'b', 2.0, 'no', true), "
      "('q', 'a', 3.0, 'yes', true), ('q', 'a', 2.5, 'no', true), ('p', 'b', 2.5, 'yes', true), "
      "('q', 'b', 1.0, 'yes', false), ('r', 'a', 2.0, 'no', false), ('p', 'a', 4.0, 'no', false), "
      "('p', 'b', NULL, 'yes', false), ('p', 'b', 1.0, 'so', false)) t(g, h, x, k, fitted)",
      "x ~ g*h");
  options.binding.validation.kind = ValidationKind::kSplit;
  options.binding.validation.column = "fitted";
  const FitResult linear = Fit(options);
  const HeldOutUse& use = linear.validation->use;
  EXPECT_EQ(use.heldOut, 5);
  EXPECT_EQ(linear.validation->score.records, 2);
  EXPECT_EQ(use.missing, 1);
  EXPECT_EQ(use.unscorable, 2);
  ASSERT_EQ(use.unseenColumns.size(), 1U);
  EXPECT_EQ(use.unseenColumns[0].column, "g");
  EXPECT_EQ(use.unseenColumns[0].records, 1);
  EXPECT_EQ(use.unseenColumns[0].levels, std::vector<std::string>{"r"});
  EXPECT_EQ(use.unseenCombinations, 1);

  options.formula = "k ~ g";
  const FitResult logistic = Fit(options);
  EXPECT_EQ(logistic.validation->score.records, 3);
  ASSERT_EQ(logistic.validation->use.unknownCategories.size(), 1U);
  EXPECT_EQ(logistic.validation->use.unknownCategories[0].category, "so");
  EXPECT_EQ(logistic.validation->use.unknownCategories[0].records, 1);
  EXPECT_EQ(logistic.validation->levels.size(), 2U);
}

TEST(Validation, RefusesWhatLeavesNothingToScore) {
  FitOptions options = OptionsFor(
      "SELECT i AS y, 'g' || (i // 5) AS g, i < 5 AS fitted FROM range(6) t(i)", "y ~ g");
  options.binding.validation.kind = ValidationKind::kSplit;
  options.binding.validation.column = "fitted";
  const Failure failure = FailureOf(options);
  EXPECT_EQ(failure.code, kRunFailed);
  EXPECT_EQ(failure.message,
            "Not even the one record held out can be scored: in 1 'g' has a level that the records "
            "fitted lack ('g1'). Hold others out.");
}

TEST(Validation, SaysOfAFitWithoutRecordsThatSomeAreHeldOut) {
  FitOptions options = OptionsFor(
      "SELECT CASE WHEN i < 4 THEN i END AS y, i AS x, i > 3 AS fitted FROM range(6) t(i)",
      "y ~ x");
  options.binding.validation.kind = ValidationKind::kSplit;
  options.binding.validation.column = "fitted";
  const Failure failure = FailureOf(options);
  EXPECT_EQ(failure.code, kRunFailed);
  EXPECT_TRUE(
      failure.message.starts_with("Without the records held out by --split there is no fit: None "
                                  "of the 6 records can be used."))
      << failure.message;
}

TEST(Validation, NamesFoldsWithoutARecordToScore) {
  FitOptions options =
      OptionsFor("SELECT CASE WHEN i < 6 THEN i END AS y, i * i AS x FROM range(9) t(i)", "y ~ x");
  options.binding.validation.kind = ValidationKind::kFolds;
  options.binding.validation.folds = 9;
  const FitResult fit = Fit(options);
  EXPECT_EQ(fit.validation->score.records, 6);
  EXPECT_EQ(fit.validation->use.missing, 3);
  const std::string& note = fit.warnings.at(fit.warnings.size() - 2);
  EXPECT_TRUE(note.starts_with("No record of fold ")) << note;
  EXPECT_TRUE(note.ends_with(
      "can be scored: the mean over folds and their standard deviation are without them."))
      << note;
}

TEST(Validation, RefusesFoldsWithoutWhichNoCategoryIsLeft) {
  FitOptions options = OptionsFor(
      "SELECT i AS x, CASE WHEN i = 3 THEN 'a' ELSE 'b' END AS k FROM range(9) t(i)", "k ~ 1");
  options.binding.validation.kind = ValidationKind::kFolds;
  options.binding.validation.folds = 3;
  const Failure failure = FailureOf(options);
  EXPECT_EQ(failure.code, kRunFailed);
  EXPECT_NE(failure.message.find("of 3 there is no fit: The dependent has fewer than two "
                                 "categories in the records used"),
            std::string::npos)
      << failure.message;
}

/// With a split column of these two values.
FitOptions OfValues(const std::string& column, const std::string& fitted,
                    const std::string& heldOut) {
  FitOptions options =
      OptionsFor("SELECT i AS y, i * i % 7 AS x, CASE WHEN i < 15 THEN " + fitted + " ELSE " +
                     heldOut + " END AS " + column + " FROM range(20) t(i)",
                 "y ~ x");
  options.binding.validation.kind = ValidationKind::kSplit;
  options.binding.validation.column = column;
  return options;
}

TEST(Split, KnowsBooleansAndWords) {
  for (const auto& [fitted, heldOut] :
       std::vector<std::pair<std::string, std::string>>{{"true", "false"},
                                                        {"1", "0"},
                                                        {"'Yes'", "'No'"},
                                                        {"'train'", "'test'"},
                                                        {"'Training'", "'VALIDATION'"}}) {
    const FitResult fit = Fit(OfValues("part", fitted, heldOut));
    EXPECT_EQ(fit.records.used, 15) << fitted;
    EXPECT_EQ(fit.validation->use.heldOut, 5) << fitted;
  }
  FitOptions other = OfValues("part", "'x'", "'y'");
  other.binding.validation.level = "y";
  EXPECT_EQ(Fit(other).records.used, 5);
}

TEST(Split, RefusesWordsThatLeaveItOpen) {
  EXPECT_EQ(
      FailureOf(OfValues("part", "'x'", "'y'")).message,
      "Which of 'x' and 'y' in the column 'part' are to be fitted is not told by these words; "
      "write --split 'part=x' to fit the former.");
  EXPECT_EQ(FailureOf(OfValues("part", "'train'", "'yes'")).code, kBadInput);
  EXPECT_EQ(
      FailureOf(OfValues("is_test", "1", "0")).message,
      "--split takes '1' for the records to fit, and the name of 'is_test' says the opposite; "
      "write --split 'is_test=0' to hold '1' out, or 'is_test=1' to fit it.");
  FitOptions none = OfValues("part", "'x'", "'y'");
  none.binding.validation.level = "z";
  EXPECT_EQ(FailureOf(none).message,
            "'part' has no level 'z' to be fitted by --split. Its levels are 'x', 'y'.");
}

TEST(Split, RefusesOtherThanTwoValues) {
  EXPECT_EQ(FailureOf(OfValues("part", "'train'", "'train'")).message,
            "The column 'part' of --split has 1 value ('train') in the rows read, not two, one of "
            "the records to fit and one of those to hold out.");
  EXPECT_EQ(FailureOf(OfValues("part", "i::VARCHAR", "'test'")).code, kBadInput);
}

TEST(Split, RowsWithoutAValueAreLeftOut) {
  FitOptions options = OfValues("part", "true", "CASE WHEN i < 17 THEN NULL ELSE false END");
  const FitResult fit = Fit(options);
  EXPECT_EQ(fit.records.used, 15);
  EXPECT_EQ(fit.records.heldOut, 3);
  EXPECT_EQ(fit.records.missing, 2);
  ASSERT_EQ(fit.records.missingByColumn.size(), 1U);
  EXPECT_EQ(fit.records.missingByColumn[0].name, "part");
  EXPECT_EQ(fit.records.missingByColumn[0].count, 2);
}

}  // namespace
}  // namespace qvhost
