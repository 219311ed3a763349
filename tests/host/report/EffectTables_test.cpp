#include <string>

#include <gtest/gtest.h>

#include "host/report/Report.h"
#include "tests/host/report/PrintedParts.h"
#include "tests/host/report/SampleFit.h"

namespace qvhost {
namespace {

FitResult WithEffects(int type, bool isAsked) {
  FitResult fit = SampleFit();
  fit.residualStdError = 0.5;
  fit.degreesOfFreedom = 1097.0;
  fit.effects = {
      type, isAsked, {{"g:x", 2, 1097.0, 12.5, 0.001, 6.25}, {"z", 0, 1097.0, {}, {}, {}}}};
  return fit;
}

TEST(EffectTable, OfALinearModelHasSumsOfSquares) {
  EXPECT_EQ(EffectTable(WithEffects(1, true)),
            R"(Tests of effects, type 1: each term after those before it

Term         df  Sum of squares      F       p
----------------------------------------------
g:x           2            6.25  12.50  0.0010
z             0
Residuals  1097          274.25
)");
}

TEST(EffectTable, OfALogisticModelHasNone) {
  FitResult fit = SampleLogisticFit();
  fit.effects = {2, true, {{"g", 2, {}, 12.5, 0.001, {}}}};
  EXPECT_EQ(EffectTable(fit),
            R"(Tests of effects, type 2: each term after all that do not contain it

Term  df  Chi-square       p
----------------------------
g      2       12.50  0.0010
)");
}

TEST(EffectTable, IsEmptyWithoutTests) {
  EXPECT_EQ(EffectTable(SampleFit()), "");
  FitResult leftOut = SampleFit();
  leftOut.effects = {2, true, {}};
  EXPECT_EQ(EffectTable(leftOut), "");
}

TEST(EffectTable, OfSingleColumnsRepeatsTheParameters) {
  FitResult fit = WithEffects(2, false);
  EXPECT_NE(EffectTable(fit), "");
  fit.effects->tests.front().degrees = 1;
  EXPECT_EQ(EffectTable(fit), "");
  fit.effects->isAsked = true;
  EXPECT_NE(EffectTable(fit), "");
}

TEST(EffectTable, OfManyTermsShowsTheEnds) {
  FitResult fit = WithEffects(2, true);
  fit.effects->tests.assign(61, fit.effects->tests.front());
  EXPECT_NE(EffectTable(fit).find("11 more terms; --all prints them"), std::string::npos);
  TextStyle style;
  style.all = true;
  EXPECT_EQ(EffectTable(fit, style).find("more terms"), std::string::npos);
  fit.collinearity = {std::vector<TermInflation>(61, {"g", 2, 4.0, 1.5}), 17.5};
  EXPECT_NE(CollinearityText(fit).find("11 more terms"), std::string::npos);
}

TEST(CollinearityText, HasTheTermsAndTheConditionNumber) {
  FitResult fit = SampleFit();
  EXPECT_EQ(CollinearityText(fit), "");
  fit.collinearity = {{{"g", 2, 4.0, 1.41421356}, {"z", 0, {}, {}}}, 17.5};
  EXPECT_EQ(CollinearityText(fit), R"(Inflation of variances

Term  df  GVIF  GVIF^(1/(2 df))
-------------------------------
g      2     4          1.41421
z      0

Condition number 17.5
)");
}

TEST(TextReport, HasTheStatisticsOfALinearFit) {
  FitResult fit = SampleFit();
  fit.quality = {3.5, 2, 0.03, 0.7, -123.25, 250.5, 260.25};
  const std::string text = TextReport(fit);
  EXPECT_NE(text.find("Adjusted R square 0.7, F 3.50 on 2 and 1097 degrees of freedom, p 0.0300\n"
                      "Log-likelihood -123.25, AIC 250.5, BIC 260.25\n"),
            std::string::npos)
      << text;
}

}  // namespace
}  // namespace qvhost
