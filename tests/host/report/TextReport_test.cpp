#include <algorithm>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "host/TextLayout.h"
#include "host/report/Report.h"
#include "tests/host/report/SampleFit.h"

namespace qvhost {
namespace {

TEST(TextReport, TellsWhatWasLeftOutFromWhatDependsOnOthers) {
  FitResult fit = SampleFit();
  fit.parameters.back().nonFinite = true;
  const std::string text = TextReport(fit);
  EXPECT_NE(text.find("g=b:I(x^2)           0    left out\n"), std::string::npos) << text;
  EXPECT_EQ(text.find("redundant"), std::string::npos) << text;
}

TEST(TextReport, TellsTheWholeFitInOneTable) {
  EXPECT_EQ(TextReport(SampleFit()),
            R"(Linear model

Formula    y ~ g*x
Data       data.csv
Dependent  y
Weights    frequency n
Records    1,200 read, 1,100 used
           90 left out for a missing value (g 40, x 60)
           1,234 values '?' in g read as missing
           1 value 'N/A' in x read as missing
           10 left out for a weight that is missing or not above 0

Parameter     Estimate  Std. error      t        p     90% low   90% high
-------------------------------------------------------------------------
(Intercept)    0.10000    0.020000   5.00  6.7e-07    0.067080   0.132920
g=ä:I(x^2)   -12.50000    6.250000  -2.00   0.0457  -22.789000  -2.211000
g=b:I(x^2)           0   redundant

R square 0.75, root mean square error 0.333333
Residual standard error 0.334 on 1097 degrees of freedom

Notes
- 1 of 3 parameters is redundant and set to 0, because its column depends on the
  columns before. The other levels of a factor are compared with its redundant
  ones.
- Something is odd.
)");
}

TEST(TextReport, TellsWherePredictionsWent) {
  FitResult fit = SampleFit();
  fit.predictions = "p.csv";
  fit.rowsPredicted = 1200;
  const std::string text = TextReport(fit);
  EXPECT_NE(text.find("\nFormula      y ~ g*x\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\nPredictions  p.csv, 1,200 rows\n"), std::string::npos) << text;
}

TEST(TextReport, TellsThatRSquareIsAboutZeroWithoutAnIntercept) {
  FitResult fit = SampleFit();
  fit.parameters.erase(fit.parameters.begin());
  const std::string text = TextReport(fit);
  EXPECT_NE(text.find("\nR square 0.75 (about 0: no intercept), root mean"), std::string::npos)
      << text;
}

TEST(TextReport, LeavesOutWhatThereIsNot) {
  FitResult fit;
  fit.formula = "y ~ 1";
  fit.data = "data.csv";
  fit.dependent = "y";
  fit.records.read = fit.records.used = 1;
  ParameterResult intercept;
  intercept.label = "(Intercept)";
  intercept.estimate = 2.0;
  fit.parameters = {intercept};
  fit.rmse = 0.0;
  EXPECT_EQ(TextReport(fit),
            R"(Linear model

Formula    y ~ 1
Data       data.csv
Dependent  y
Records    1 read, 1 used

Parameter    Estimate  Std. error  t  p  95% low  95% high
----------------------------------------------------------
(Intercept)    2.0000

R square -, root mean square error 0
No residual standard error on 0 degrees of freedom
)");
}

TEST(TextReport, BreaksLongNotesBetweenWords) {
  FitResult fit = SampleFit();
  fit.parameters.pop_back();
  fit.warnings = {std::string("word ") + std::string(90, 'x') + " and " + std::string(74, 'y')};
  const std::string report = TextReport(fit);
  EXPECT_EQ(report.substr(report.find("Notes")),
            "Notes\n- word\n  " + std::string(90, 'x') + "\n  and " + std::string(74, 'y') + "\n");
}

TEST(TextReport, CountsTheColumnsItDoesNotName) {
  FitResult fit = SampleFit();
  fit.records.missingByColumn.clear();
  for (const char* name : {"a", "b", "c", "d", "e", "f", "g", "h"}) {
    fit.records.missingByColumn.push_back({name, 1000});
  }
  EXPECT_NE(TextReport(fit).find("(a 1,000, b 1,000, c 1,000, d 1,000,\n           e 1,000, f "
                                 "1,000, 2 more columns)\n"),
            std::string::npos)
      << TextReport(fit);
}

TEST(TextReport, NamesBothWeights) {
  FitResult fit = SampleFit();
  fit.regressionWeight = "w";
  EXPECT_NE(TextReport(fit).find("Weights    frequency n, regression w\n"), std::string::npos);
}

TEST(TextReport, MarksImposedDegreesOfFreedom) {
  FitResult fit = SampleFit();
  fit.imposedDegreesOfFreedom = true;
  EXPECT_NE(TextReport(fit).find("on 1097 degrees of freedom (imposed)\n"), std::string::npos);
}

TEST(TextReport, OneDegreeOfFreedomIsSingular) {
  FitResult fit = SampleFit();
  fit.degreesOfFreedom = 1;
  EXPECT_NE(TextReport(fit).find("error 0.334 on 1 degree of freedom\n"), std::string::npos);
  fit.residualStdError.reset();
  EXPECT_NE(TextReport(fit).find("error on 1 degree of freedom\n"), std::string::npos);
}

/// The widest line, in columns.
std::size_t WidthOf(const std::string& text) {
  std::size_t widest = 0;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) widest = std::max(widest, TextWidth(line));
  return widest;
}

TEST(TextReport, FitsEveryWidth) {
  FitResult linear = SampleFit();
  linear.formula = "y ~ g*x + another + and_another + yet_another_one";
  linear.parameters[1].label = "一二三四五六七八九十=ä:I(x^2):and=a_rather_long_level";
  linear.warnings = {"A longer note that has to be broken into several lines to be read."};
  for (std::size_t width = 40; width <= 120; ++width) {
    TextStyle style;
    style.width = width;
    for (const FitResult& fit : {linear, SampleLogisticFit()}) {
      EXPECT_LE(WidthOf(TextReport(fit, style)), width) << TextReport(fit, style);
    }
  }
}

TEST(TextReport, IndentsWhatContinuesALine) {
  FitResult fit = SampleFit();
  fit.formula = "y ~ g*x + another + and_another";
  TextStyle style;
  style.width = 40;
  EXPECT_NE(TextReport(fit, style).find("Formula    y ~ g*x + another +\n           and_another\n"),
            std::string::npos)
      << TextReport(fit, style);
}

TEST(TextReport, KeepsACountWithItsColumn) {
  FitResult fit = SampleFit();
  fit.records.missingByColumn = {{"body_mass", 2}, {"sex", 11}, {"flipper_length", 2}};
  EXPECT_NE(TextReport(fit).find("value (body_mass 2, sex 11,\n           flipper_length 2)\n"),
            std::string::npos)
      << TextReport(fit);
}

TEST(TextReport, SaysThatMissingValuesAreCountedInAllRows) {
  FitResult fit = SampleFit();
  fit.records.heldOut = 5;
  EXPECT_NE(TextReport(fit).find("90 left out for a missing value (of all rows g 40, x 60)\n"),
            std::string::npos)
      << TextReport(fit);
}

TEST(TextReport, ColoursHeadingsAndWarnings) {
  TextStyle style;
  style.color = true;
  const std::string text = TextReport(SampleFit(), style);
  EXPECT_TRUE(text.starts_with("\x1b[1mLinear model\x1b[0m\n")) << text;
  EXPECT_NE(text.find("\x1b[1mParameter "), std::string::npos) << text;
  EXPECT_NE(text.find("\x1b[1mNotes\x1b[0m\n- 1 of 3"), std::string::npos) << text;
  EXPECT_NE(text.find("\x1b[33m- Something is odd.\x1b[0m\n"), std::string::npos) << text;
  EXPECT_EQ(TextReport(SampleFit()).find('\x1b'), std::string::npos);
}

TEST(TextReport, HasMoreDigitsWhenAskedForMore) {
  TextStyle style;
  style.digits = 3;
  EXPECT_NE(TextReport(SampleFit(), style).find("root mean square error 0.333333\n"),
            std::string::npos)
      << "no fewer than usual";
  style.digits = 9;
  EXPECT_NE(TextReport(SampleFit(), style).find("root mean square error 0.333333333\n"),
            std::string::npos);
}

// The summary of a logistic model, as the printed whole.

TEST(TextReportLogistic, TellsTheWholeFit) {
  TextStyle style;
  style.width = 101;
  EXPECT_EQ(TextReport(SampleLogisticFit(), style),
            R"(Multinomial logistic model

Formula    y ~ g + x
Data       data.csv
Dependent  y
Weights    frequency n
Records    1,200 read, 1,100 used
           90 left out for a missing value (g 40, x 60)
           10 left out for a weight that is missing or not above 0

y     Weight  Percent
--------------------------------
high     500    25.0%
low     1000    50.0%
mid    500.5    25.0%  reference

y = high against mid

Parameter     Estimate  Std. error      z       p    90% low   90% high  exp(est.)  90% low  90% high
-----------------------------------------------------------------------------------------------------
(Intercept)    0.50000     0.25000   2.00  0.0455   0.088750   0.911250      1.649    1.093     2.487
g=a           -1.50000     0.50000  -3.00  0.0027  -2.325000  -0.675000     0.2231  0.09778    0.5092
g=b                  0   redundant
x            800.00000

y = low against mid

Parameter     Estimate  Std. error      z       p    90% low   90% high  exp(est.)  90% low  90% high
-----------------------------------------------------------------------------------------------------
(Intercept)    0.50000     0.25000   2.00  0.0455   0.088750   0.911250      1.649    1.093     2.487
g=a           -1.50000     0.50000  -3.00  0.0027  -2.325000  -0.675000     0.2231  0.09778    0.5092
g=b                  0   redundant
x            800.00000

Log-likelihood -2000.25, of the starting values -2197.5
Likelihood-ratio chi-square 394.5 on 4 degrees of freedom, p <1e-16
Pseudo R square: Cox and Snell 0.125, Nagelkerke 0.25, McFadden 0.1
AIC 4012.5, BIC 4046
Converged. 2 step-halvings. The records were kept in memory.

Classification: rows observed, columns predicted

Observed   high    low    mid  Correct
--------------------------------------
high        400    100      0    80.0%
low           0    750    250    75.0%
mid       500.5      0      0     0.0%
Overall   45.0%  42.5%  12.5%    57.5%

Notes
- 2 of 8 parameters are redundant and set to 0, because their columns depend on the columns before.
  The other levels of a factor are compared with its redundant ones.
- Something is odd.
)");
}

TEST(TextReportLogistic, TwoLevelsMakeABinaryModel) {
  FitResult fit = SampleLogisticFit();
  fit.logistic->levels.pop_back();
  fit.parameters.resize(4);
  EXPECT_TRUE(TextReport(fit).starts_with("Binary logistic model\n\n"));
}

TEST(TextReportLogistic, HasNoPartOfALinearModel) {
  const std::string report = TextReport(SampleLogisticFit());
  EXPECT_EQ(report.find("Residual"), std::string::npos);
  EXPECT_EQ(report.find("\nR square"), std::string::npos);
}

}  // namespace
}  // namespace qvhost
