
#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/report/PrintedParts.h"
#include "tests/host/report/SampleFit.h"

namespace qvhost {
namespace {

TextStyle Wide() {
  TextStyle style;
  style.width = 120;
  return style;
}

TEST(ParameterTable, OfALinearModelHasT) {
  const FitResult fit = SampleFit();
  EXPECT_EQ(ParameterTable(fit.parameters, ModelKind::kLinear, 0.9),
            "Parameter     Estimate  Std. error      t        p     90% low   90% high\n"
            "-------------------------------------------------------------------------\n"
            "(Intercept)    0.10000    0.020000   5.00  6.7e-07    0.067080   0.132920\n"
            "g=ä:I(x^2)   -12.50000    6.250000  -2.00   0.0457  -22.789000  -2.211000\n"
            "g=b:I(x^2)           0   redundant\n");
}

TEST(ParameterTable, OfALogisticModelHasZAndTheOdds) {
  const FitResult fit = SampleLogisticFit();
  const std::string table =
      ParameterTable(std::span(fit.parameters).first(2), ModelKind::kLogistic, 0.95, Wide());
  // exp(0.5), exp(0.08875), exp(0.91125); exp(-1.5), exp(-2.325), exp(-0.675)
  EXPECT_EQ(
      table,
      "Parameter    Estimate  Std. error      z       p    95% low   95% high  exp(est.)  95% low  "
      "95% high\n"
      "--------------------------------------------------------------------------------------------"
      "--------\n"
      "(Intercept)   0.50000     0.25000   2.00  0.0455   0.088750   0.911250      1.649    1.093  "
      "   2.487\n"
      "g=a          -1.50000     0.50000  -3.00  0.0027  -2.325000  -0.675000     0.2231  0.09778  "
      "  0.5092\n");
}

TEST(ParameterTable, OddsPastTheLargestDoubleAreLeftOut) {
  ParameterResult parameter;
  parameter.label = "x";
  parameter.estimate = 710.0;
  parameter.statistics = {1.0, 710.0, 0.0, -800.0, 709.0};
  EXPECT_EQ(
      ParameterTable({&parameter, 1}, ModelKind::kLogistic, 0.95, Wide()),
      "Parameter  Estimate  Std. error       z       p  95% low  95% high  exp(est.)  95% low    "
      "95% high\n"
      "-----------------------------------------------------------------------------------------"
      "---------\n"
      "x            710.00      1.0000  710.00  <1e-16  -800.00    709.00                   0  "
      "8.218e+307\n");
}

TEST(ParameterTable, WithoutParametersHasAHeading) {
  EXPECT_EQ(ParameterTable({}, ModelKind::kLinear, 0.999),
            "Parameter  Estimate  Std. error  t  p  99.9% low  99.9% high\n"
            "------------------------------------------------------------\n");
}

/// Parameters g=1, g=2, ... with their numbers as estimates.
std::vector<ParameterResult> ManyParameters(int count) {
  std::vector<ParameterResult> parameters;
  for (int i = 1; i <= count; ++i) {
    ParameterResult& parameter = parameters.emplace_back();
    parameter.label = "g=" + std::to_string(i);
    parameter.estimate = i;
  }
  return parameters;
}

TEST(ParameterTable, OfSixtyRowsIsWhole) {
  const std::string table = ParameterTable(ManyParameters(60), ModelKind::kLinear, 0.95);
  EXPECT_EQ(std::ranges::count(table, '\n'), 62);
  EXPECT_EQ(table.find("…"), std::string::npos);
}

TEST(ParameterTable, OfMoreRowsHasTheFirstAndTheLast) {
  const std::string table = ParameterTable(ManyParameters(61), ModelKind::kLinear, 0.95);
  EXPECT_EQ(std::ranges::count(table, '\n'), 2 + 40 + 1 + 10);
  EXPECT_NE(table.find("\ng=40        40.0000\n… 11 more parameters; --all prints them\n"
                       "g=52        52.0000\n"),
            std::string::npos)
      << table;
  EXPECT_TRUE(table.ends_with("\ng=61        61.0000\n")) << table;
}

TEST(ParameterTable, HasAllRowsWhenAsked) {
  TextStyle style;
  style.all = true;
  const std::string table = ParameterTable(ManyParameters(361), ModelKind::kLinear, 0.95, style);
  EXPECT_EQ(std::ranges::count(table, '\n'), 363);
}

TEST(ParameterTable, HasTheDigitsAskedFor) {
  FitResult fit = SampleLogisticFit();
  TextStyle style;
  style.digits = 3;
  const std::string table =
      ParameterTable(std::span(fit.parameters).first(1), ModelKind::kLogistic, 0.95, style);
  EXPECT_NE(table.find("(Intercept)     0.500       0.250  2.00  0.0455   0.0887    0.9113\n"),
            std::string::npos)
      << table;
  EXPECT_NE(table.find("       1.65     1.09      2.49\n"), std::string::npos) << table;
}

TEST(LogisticText, LevelsCountRecordsWithoutAFrequencyWeight) {
  FitResult fit = SampleLogisticFit();
  EXPECT_TRUE(LevelTable(fit).starts_with("y     Weight  Percent\n"));
  fit.freqWeight.clear();
  EXPECT_TRUE(LevelTable(fit).starts_with("y     Records  Percent\n"));
}

TEST(LogisticText, LevelsHaveTheirShares) {
  EXPECT_EQ(LevelTable(SampleLogisticFit()),
            "y     Weight  Percent\n"
            "--------------------------------\n"
            "high     500    25.0%\n"
            "low     1000    50.0%\n"
            "mid    500.5    25.0%  reference\n");
}

TEST(LogisticText, ControlCharactersOfALevelStayOutOfTheTables) {
  FitResult fit = SampleLogisticFit();
  fit.logistic->levels[0].level = "hi\x1b[2Jgh\n";
  fit.dependent = "y\ty";
  for (const std::string& text : {LevelTable(fit), LevelParameters(fit), ClassificationText(fit)}) {
    EXPECT_EQ(text.find('\x1b'), std::string::npos) << text;
    EXPECT_EQ(text.find('\t'), std::string::npos) << text;
    EXPECT_NE(text.find("hi [2Jgh "), std::string::npos) << text;
  }
}

TEST(LogisticText, EachLevelButTheReferenceHasATable) {
  const std::string text = LevelParameters(SampleLogisticFit());
  const std::size_t high = text.find("y = high against mid\n\nParameter ");
  const std::size_t low = text.find("\n\ny = low against mid\n\nParameter ");
  EXPECT_EQ(high, 0U);
  ASSERT_NE(low, std::string::npos) << text;
  EXPECT_EQ(text.find("y = mid"), std::string::npos);
}

TEST(LogisticText, WithoutADegreeOfFreedomThereIsNoTest) {
  FitResult fit = SampleLogisticFit();
  EXPECT_NE(LikelihoodText(fit).find("chi-square 394.5 on 4 degrees of freedom, p <1e-16\n"),
            std::string::npos);
  fit.logistic->chiSquareDegrees = 1;
  EXPECT_NE(LikelihoodText(fit).find(" on 1 degree of freedom, "), std::string::npos);
  fit.logistic->chiSquareP.reset();
  EXPECT_EQ(LikelihoodText(fit).find("chi-square"), std::string::npos);
}

TEST(LogisticText, WhatDoesNotExistIsADash) {
  FitResult fit = SampleLogisticFit();
  LogisticFit& logistic = *fit.logistic;
  logistic.logLikelihood.reset();
  logistic.chiSquareP.reset();
  logistic.nagelkerke.reset();
  logistic.aic.reset();
  logistic.bic.reset();
  EXPECT_EQ(LikelihoodText(fit),
            "Log-likelihood -, of the starting values -2197.5\n"
            "Pseudo R square: Cox and Snell 0.125, Nagelkerke -, McFadden 0.1\n"
            "AIC -, BIC -\n"
            "Converged. 2 step-halvings. The records were kept in memory.\n");
}

TEST(LogisticText, TellsTheStepHalvingsAndWhereTheRecordsWere) {
  FitResult fit = SampleLogisticFit();
  fit.logistic->stepHalvings = 1;
  fit.logistic->inMemory = false;
  EXPECT_TRUE(LikelihoodText(fit).ends_with(
      "\nConverged. 1 step-halving. The records were read anew for each.\n"));
  fit.logistic->stepHalvings = 0;
  EXPECT_TRUE(LikelihoodText(fit).ends_with("\nConverged. The records were read anew for each.\n"));
  fit.logistic->iterations = 0;
  EXPECT_TRUE(LikelihoodText(fit).ends_with("\nConverged.\n")) << "for each of none";
}

TEST(LogisticText, ALevelThatIsAnEmptyTextShows) {
  FitResult fit = SampleLogisticFit();
  fit.logistic->levels[0].level = "";
  EXPECT_NE(LevelTable(fit).find("\n''  "), std::string::npos) << LevelTable(fit);
  EXPECT_NE(LevelParameters(fit).find(" = '' against "), std::string::npos);
}

/// A fit of so many levels, each predicted right but the last, which is taken for the first.
FitResult FitOfLevels(std::size_t count) {
  FitResult fit = SampleLogisticFit();
  LogisticFit& logistic = *fit.logistic;
  logistic.levels.clear();
  logistic.classification.assign(count, std::vector<double>(count, 0.0));
  for (std::size_t i = 0; i < count; ++i) {
    logistic.levels.push_back({"l" + std::to_string(i), 10.0});
    logistic.classification[i][i + 1 == count ? 0 : i] = 10.0;
  }
  return fit;
}

TEST(LogisticText, TenLevelsHaveTheFullTable) {
  const std::string text = ClassificationText(FitOfLevels(10), Wide());
  EXPECT_TRUE(text.starts_with("Classification: rows observed, columns predicted\n\nObserved  "))
      << text;
  EXPECT_NE(text.find("   l8    l9  Correct\n"), std::string::npos) << text;
  EXPECT_TRUE(text.ends_with("  0.0%    90.0%\n")) << text;
}

TEST(LogisticText, MoreLevelsHaveTheSharesOnly) {
  EXPECT_EQ(ClassificationText(FitOfLevels(11)),
            "Classification\n\n"
            "Observed  Correct\n"
            "-----------------\n"
            "l0         100.0%\n"
            "l1         100.0%\n"
            "l2         100.0%\n"
            "l3         100.0%\n"
            "l4         100.0%\n"
            "l5         100.0%\n"
            "l6         100.0%\n"
            "l7         100.0%\n"
            "l8         100.0%\n"
            "l9         100.0%\n"
            "l10          0.0%\n"
            "Overall     90.9%\n");
}

TEST(LogisticText, ALevelWithoutAClassifiedRecordHasNoShare) {
  FitResult fit = FitOfLevels(2);
  fit.logistic->classification[1][0] = 0.0;
  EXPECT_EQ(ClassificationText(fit),
            "Classification: rows observed, columns predicted\n\n"
            "Observed      l0    l1  Correct\n"
            "-------------------------------\n"
            "l0            10     0   100.0%\n"
            "l1             0     0\n"
            "Overall   100.0%  0.0%   100.0%\n");
}

TEST(LogisticText, OfManyLevelsHasSomeTables) {
  FitResult fit = FitOfLevels(14);
  fit.parameters = ManyParameters(13);
  const std::string text = LevelParameters(fit, {});
  EXPECT_NE(text.find("\ny = l7 against l13\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\n\n… 3 more tables; --all prints them\n\ny = l11 against l13\n"),
            std::string::npos)
      << text;
  EXPECT_EQ(text.find("y = l8 against"), std::string::npos);
  TextStyle style;
  style.all = true;
  EXPECT_NE(LevelParameters(fit, style).find("y = l8 against"), std::string::npos);
}

TEST(LogisticText, OfManyLevelsHasSomeRows) {
  const FitResult fit = FitOfLevels(100);
  for (const std::string& text : {LevelTable(fit), ClassificationText(fit)}) {
    EXPECT_NE(text.find("… 50 more levels; --all prints them\nl90 "), std::string::npos) << text;
    EXPECT_EQ(text.find("l40 "), std::string::npos) << text;
  }
  EXPECT_TRUE(ClassificationText(fit).ends_with("\nOverall     99.0%\n"));
}

TEST(LogisticText, WithoutAClassificationThereIsNoText) {
  FitResult fit = SampleLogisticFit();
  fit.logistic->classification.clear();
  EXPECT_EQ(ClassificationText(fit), "");
}

}  // namespace
}  // namespace qvhost
