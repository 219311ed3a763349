#include <string>

#include <gtest/gtest.h>

#include "host/fit/FitResult.h"
#include "tests/host/report/PrintedParts.h"
#include "tests/host/report/SampleFit.h"

namespace qvhost {
namespace {

FitResult Folds() {
  FitResult fit = SampleFit();
  ValidationResult& validation = fit.validation.emplace();
  validation.options.kind = ValidationKind::kFolds;
  validation.options.folds = 2;
  validation.options.seed = 12;
  validation.training = 590;
  validation.use.heldOut = 1200;
  validation.use.missing = 90;
  validation.use.badWeight = 10;
  validation.use.unscorable = 1;
  validation.score.records = 1099;
  validation.score.rSquare = 0.5;
  validation.score.rmse = 2.0;
  validation.score.meanAbsoluteError = 1.5;
  for (const double number : {0.25, 0.75}) {
    FoldScore& fold = validation.folds.emplace_back();
    fold.score.records = 550;
    fold.score.rSquare = number;
    fold.score.rmse = 2.0 * number;
  }
  validation.mean.emplace().rSquare = 0.5;
  validation.mean->rmse = 1.0;
  validation.standardDeviation.emplace().rSquare = 0.375;
  return fit;
}

TEST(ValidationText, OfFoldsHasARowForEach) {
  EXPECT_EQ(ValidationText(Folds()),
            "Validation: 2 folds, seed 12\n"
            "\n"
            "The model above is that of all records; each fold is predicted by a fit of the\n"
            "  others, of 590 records or more. 1,099 of 1,200 scored, 90 with a missing\n"
            "  value, 10 with a bad weight, 1 with levels not fitted.\n"
            "R square 0.5, root mean square error 2, mean absolute error 1.5\n"
            "\n"
            "Fold            Records  R square    RMSE  Mean abs. error\n"
            "----------------------------------------------------------\n"
            "1                   550    0.2500  0.5000\n"
            "2                   550    0.7500  1.5000\n"
            "Mean                       0.5000  1.0000\n"
            "Std. deviation              0.375\n");
}

TEST(ValidationText, OfManyFoldsHasTheirEnds) {
  FitResult fit = Folds();
  fit.validation->folds.resize(70);
  const std::string text = ValidationText(fit);
  EXPECT_NE(text.find("… 20 more folds; --all prints them"), std::string::npos) << text;
  EXPECT_EQ(ValidationText(fit, {.all = true}).find("more folds"), std::string::npos);
}

TEST(ValidationText, OfALogisticModelHasLevelsAndTenths) {
  FitResult fit = SampleLogisticFit();
  ValidationResult& validation = fit.validation.emplace();
  validation.options.kind = ValidationKind::kSplit;
  validation.options.column = "part";
  validation.training = 1100;
  validation.use.heldOut = 60;
  validation.use.unknownCategories = {{"none", 2}};
  validation.score.records = 58;
  validation.score.logLoss = 0.5;
  validation.score.accuracy = 0.75;
  validation.score.auc = 0.875;
  validation.score.aucWeighted = 0.9;
  validation.levels = {{"high", 20.0, 0.75}, {"low", 38.0, 0.5}, {"mid", 0.0, {}}};
  validation.classification = {{15, 4, 1}, {8, 30, 0}, {0, 0, 0}};
  validation.calibration = {{"high", 1, 6.0, 0.125, 0.0}, {"high", 10, 5.0, 0.9, 1.0}};
  EXPECT_EQ(ValidationText(fit),
            "Validation: records held out by part\n"
            "\n"
            "The model above is that of the 1,100 records not held out. 58 of 60 scored, 2\n"
            "  with levels not fitted.\n"
            "Log-loss 0.5, Brier score -, accuracy 0.75, AUC 0.875 (Hand and Till; weighted\n"
            "  by levels 0.9)\n"
            "\n"
            "Observed  Weight   AUC  high  low  mid  Correct\n"
            "-----------------------------------------------\n"
            "high          20  0.75    15    4    1    75.0%\n"
            "low           38   0.5     8   30    0    78.9%\n"
            "mid            0           0    0    0\n"
            "\n"
            "Calibration  Tenth  Weight  Mean predicted  Observed\n"
            "----------------------------------------------------\n"
            "high             1       6          0.1250    0.0000\n"
            "high            10       5          0.9000    1.0000\n");
}

}  // namespace
}  // namespace qvhost
