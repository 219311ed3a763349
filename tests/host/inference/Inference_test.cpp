#include "host/inference/Inference.h"

#include <cmath>
#include <limits>
#include <utility>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

constexpr double kRelative = 1e-13;

void ExpectClose(const std::optional<double>& value, double expected) {
  ASSERT_TRUE(value.has_value());
  EXPECT_NEAR(*value, expected, kRelative * std::abs(expected));
}

// R: f <- lm(mpg ~ wt + hp, mtcars); summary(f)$coefficients; confint(f, level = 0.9);
// diag(summary(f)$cov.unscaled)
constexpr double kSigma = 2.5934117772265668;
constexpr double kResidualDf = 29.0;

TEST(CoefficientInference, AgreesWithALinearModelOfR) {
  const CoefficientInference inference(kSigma, kResidualDf, 0.9);

  const CoefficientStatistics wt = inference.Of(-3.877830742404682063, 5.9524902440907565e-02);
  ExpectClose(wt.stdError, 0.6327334943773953446);
  ExpectClose(wt.statistic, -6.1286952198104139);
  EXPECT_NEAR(*wt.pValue, 1.1196471362000422e-06, 1e-17);
  ExpectClose(wt.confLow, -4.952925323294294913);
  ExpectClose(wt.confHigh, -2.802736161515069213);

  const CoefficientStatistics hp = inference.Of(-0.031772946982161002, 1.2122846793141482e-05);
  ExpectClose(hp.stdError, 0.0090297096758557224);
  ExpectClose(hp.pValue, 1.4512285315694238e-03);
  ExpectClose(hp.confLow, -0.047115570734158486);
  ExpectClose(hp.confHigh, -0.016430323230163517);
}

// With a standard error of 1 the estimate is the statistic. R: 2 * pt(-t, df)
TEST(CoefficientInference, KeepsTheDigitsOfSmallProbabilities) {
  struct Case {
    double statistic;
    double df;
    double p;
  };
  for (const Case& c : {Case{40, 10, 2.2808577430857475e-12}, Case{9, 1e6, 2.2609730334928361e-19},
                        Case{3, 2.5, 0.072576095549031841}, Case{1e5, 1, 6.366197723463607e-06}}) {
    const CoefficientInference inference(1.0, c.df, 0.95);
    const auto p = inference.Of(c.statistic, 1.0).pValue;
    ASSERT_TRUE(p.has_value());
    EXPECT_NEAR(*p, c.p, 1e-11 * c.p) << "t " << c.statistic << " on " << c.df;
    EXPECT_EQ(p, inference.Of(-c.statistic, 1.0).pValue);
  }
}

TEST(CoefficientInference, AProbabilityBelowTheSmallestDoubleIsZero) {
  const CoefficientInference inference(1.0, 1e9, 0.95);
  EXPECT_EQ(inference.Of(1e6, 1.0).pValue, 0.0);
}

// R: qt(0.975, 2.5), qt(0.5 + 0.9999 / 2, 7)
TEST(CoefficientInference, LimitsStandAQuantileAway) {
  ExpectClose(CoefficientInference(1.0, 2.5, 0.95).Of(0.0, 1.0).confHigh, 3.5746548420036919);
  ExpectClose(CoefficientInference(1.0, 7.0, 0.9999).Of(0.0, 1.0).confLow, -7.8845842624167393);
}

TEST(CoefficientInference, NoConfidenceGivesLimitsWithoutWidth) {
  const CoefficientStatistics at = CoefficientInference(1.0, 5.0, 0.0).Of(3.0, 1.0);
  ASSERT_TRUE(at.confLow && at.confHigh);
  EXPECT_NEAR(*at.confLow, 3.0, 1e-15);
  EXPECT_NEAR(*at.confHigh, 3.0, 1e-15);
}

TEST(CoefficientInference, WithoutAResidualVarianceNothingExists) {
  const CoefficientStatistics none = CoefficientInference(std::nullopt, 0.0, 0.95).Of(1.0, 2.0);
  EXPECT_FALSE(none.stdError || none.statistic || none.pValue || none.confLow || none.confHigh);
}

TEST(CoefficientInference, AZeroResidualHasLimitsButNoTest) {
  const CoefficientInference inference(0.0, 4.0, 0.95);
  const CoefficientStatistics exact = inference.Of(2.0, 1.0);
  EXPECT_EQ(exact.stdError, 0.0);
  EXPECT_EQ(exact.confLow, 2.0);
  EXPECT_EQ(exact.confHigh, 2.0);
  EXPECT_FALSE(exact.statistic || exact.pValue);
  EXPECT_FALSE(inference.Of(0.0, 1.0).statistic) << "0 / 0";
}

TEST(CoefficientInference, AnswersNoInfinityAndNoNaN) {
  const double huge = std::numeric_limits<double>::max();
  const CoefficientStatistics wide = CoefficientInference(huge, 1.0, 0.999).Of(huge, 1e10);
  EXPECT_FALSE(wide.stdError || wide.statistic || wide.pValue || wide.confLow || wide.confHigh);

  const CoefficientStatistics negative = CoefficientInference(1.0, 1.0, 0.95).Of(1.0, -1e-20);
  EXPECT_FALSE(negative.stdError || negative.statistic);

  const CoefficientStatistics far = CoefficientInference(huge, 3.0, 0.95).Of(huge, 1.0);
  EXPECT_EQ(far.stdError, huge);
  EXPECT_FALSE(far.confLow || far.confHigh) << "past the largest double";
}

// ---- Maximum likelihood -----------------------------------------------------

// R: f <- glm(am ~ wt, binomial, mtcars, epsilon = 1e-15); summary(f)$coefficients;
// confint.default(f, level = 0.9); diag(summary(f)$cov.unscaled)
TEST(CoefficientInference, NormalAgreesWithALogisticModelOfR) {
  const CoefficientStatistics wt =
      CoefficientInference::Normal(0.9).Of(-4.0239699621732017, 2.0636119583891115);
  ExpectClose(wt.stdError, 1.436527743689314);
  ExpectClose(wt.statistic, -2.8011780349182649);
  ASSERT_TRUE(wt.pValue.has_value());
  EXPECT_NEAR(*wt.pValue, 0.0050916420320824083, 1e-12 * 0.0050916420320824083);
  ExpectClose(wt.confLow, -6.3868478315969854);
  ExpectClose(wt.confHigh, -1.6610920927494197);
}

// R: 2 * pnorm(-z)
TEST(CoefficientInference, NormalKeepsTheDigitsOfSmallProbabilities) {
  struct Case {
    double z;
    double p;
  };
  for (const Case& c : {Case{0.5, 0.61707507745197387}, Case{1.96, 0.049995790296440856},
                        Case{5, 5.7330314375838782e-07}, Case{12, 3.5529642241553581e-33},
                        Case{30, 9.8134278542963744e-198}, Case{37, 1.1451142445049154e-299}}) {
    const auto p = CoefficientInference::Normal(0.95).Of(c.z, 1.0).pValue;
    ASSERT_TRUE(p.has_value());
    EXPECT_NEAR(*p, c.p, 1e-12 * c.p) << "z " << c.z;
    EXPECT_EQ(p, CoefficientInference::Normal(0.95).Of(-c.z, 1.0).pValue);
  }
  EXPECT_EQ(CoefficientInference::Normal(0.95).Of(100.0, 1.0).pValue, 0.0);
}

// R: qnorm((1 - level) / 2, lower.tail = FALSE)
TEST(CoefficientInference, NormalLimitsStandAQuantileAway) {
  struct Case {
    double level;
    double quantile;
  };
  for (const Case& c : {Case{0.95, 1.9599639845400545}, Case{0.9, 1.6448536269514726},
                        Case{0.5, 0.67448975019608171}, Case{0.999, 3.2905267314918945},
                        Case{0.9999999, 5.3267238864801447}}) {
    const CoefficientStatistics at = CoefficientInference::Normal(c.level).Of(0.0, 4.0);
    ExpectClose(at.confHigh, 2.0 * c.quantile);
    ExpectClose(at.confLow, -2.0 * c.quantile);
  }
}

TEST(CoefficientInference, NormalWithoutAVarianceHasNoTest) {
  const CoefficientStatistics none = CoefficientInference::Normal(0.95).Of(3.0, -1.0);
  EXPECT_FALSE(none.stdError || none.statistic || none.pValue || none.confLow || none.confHigh);
}

TEST(CoefficientInference, AnswersInUnitsOfAPowerOfTwo) {
  const CoefficientInference inference(kSigma, kResidualDf, 0.9);
  const CoefficientStatistics plain = inference.Of(-3.9, 0.06);
  const CoefficientStatistics large = inference.Of(-3.9, 0.06, 1000);
  EXPECT_EQ(large.stdError, std::ldexp(*plain.stdError, 1000));
  EXPECT_EQ(large.confLow, std::ldexp(*plain.confLow, 1000));
  EXPECT_EQ(large.confHigh, std::ldexp(*plain.confHigh, 1000));
  EXPECT_EQ(large.statistic, plain.statistic);
  EXPECT_EQ(large.pValue, plain.pValue);
}

TEST(CoefficientInference, WhatNoDoubleHoldsIsAbsentButTested) {
  const CoefficientInference inference(kSigma, kResidualDf, 0.9);
  for (const int exponent : {1100, -1100}) {
    const CoefficientStatistics beyond = inference.Of(-3.9, 0.06, exponent);
    EXPECT_FALSE(beyond.stdError);
    EXPECT_FALSE(beyond.confLow);
    EXPECT_FALSE(beyond.confHigh);
    EXPECT_EQ(beyond.statistic, inference.Of(-3.9, 0.06).statistic);
    EXPECT_EQ(beyond.pValue, inference.Of(-3.9, 0.06).pValue);
  }
  // A standard error of 0 is one in any unit.
  EXPECT_EQ(inference.Of(1.0, 0.0, -1100).stdError, 0.0);
}

// R: f <- lm(mpg ~ wt + hp, mtcars); sqrt(mean(f$residuals^2)), sigma(f)
TEST(ResidualVariance, AgreesWithALinearModelOfR) {
  const ResidualVariance residual =
      ComputeResidualVariance(2.4688544581791012, 32.0, 3, std::nullopt);
  EXPECT_EQ(residual.degreesOfFreedom, 29.0);
  ASSERT_TRUE(residual.stdError.has_value());
  EXPECT_NEAR(*residual.stdError, 2.5934117772265668, 1e-14);
}

TEST(ResidualVariance, ImposedDegreesOfFreedomReplaceTheOthers) {
  const ResidualVariance residual = ComputeResidualVariance(3.0, 16.0, 4, 4.0);
  EXPECT_EQ(residual.degreesOfFreedom, 4.0);
  EXPECT_EQ(residual.stdError, 6.0);
}

TEST(ResidualVariance, ASaturatedModelHasNone) {
  const ResidualVariance none = ComputeResidualVariance(0.0, 6.0, 6, std::nullopt);
  EXPECT_EQ(none.degreesOfFreedom, 0.0);
  EXPECT_FALSE(none.stdError.has_value());
  EXPECT_FALSE(ComputeResidualVariance(1.0, 0.5, 2, std::nullopt).stdError.has_value());
}

TEST(ResidualVariance, ALargeErrorDoesNotOverflowOnTheWay) {
  const ResidualVariance residual = ComputeResidualVariance(1e200, 8.0, 6, std::nullopt);
  ASSERT_TRUE(residual.stdError.has_value());
  EXPECT_NEAR(*residual.stdError, 2e200, 1e185);
}

TEST(ResidualVariance, WithoutAnErrorThereIsNone) {
  EXPECT_FALSE(ComputeResidualVariance(std::nullopt, 8.0, 2, std::nullopt).stdError.has_value());
}

// R: pchisq(q, df, lower.tail = FALSE)
TEST(UpperChiSquare, AgreesWithR) {
  struct Case {
    double statistic;
    int degrees;
    double p;
  };
  for (const Case& c :
       {Case{3.841458820694124, 1, 0.049999999999999975}, Case{0.5, 1, 0.47950012218695348},
        Case{10, 3, 0.018566135463043233}, Case{40, 40, 0.47025726683923996},
        Case{250, 200, 0.0093791316688260976}, Case{1e-10, 2, 0.99999999995}}) {
    const auto p = UpperChiSquare(c.statistic, c.degrees);
    ASSERT_TRUE(p.has_value());
    EXPECT_NEAR(*p, c.p, 1e-13 * c.p) << c.statistic << " on " << c.degrees;
  }
}

// R: as above
TEST(UpperChiSquare, KeepsTheDigitsOfSmallProbabilities) {
  EXPECT_NEAR(*UpperChiSquare(123.4, 7), 1.4991023516438906e-23, 1e-34);
  EXPECT_NEAR(*UpperChiSquare(2500, 1000), 2.1059268048481405e-129, 1e-139);
  EXPECT_NEAR(*UpperChiSquare(1400, 5), 1.3765875143944421e-300, 1e-310);
  EXPECT_EQ(UpperChiSquare(1e6, 3), 0.0) << "below the smallest double";
}

TEST(UpperChiSquare, AStatisticBelowZeroThroughRoundingIsZero) {
  EXPECT_EQ(UpperChiSquare(0.0, 4), 1.0);
  EXPECT_EQ(UpperChiSquare(-1e-12, 4), 1.0);
}

TEST(UpperChiSquare, IsNoneWhereThereIsNothingToTest) {
  EXPECT_FALSE(UpperChiSquare(std::nullopt, 3).has_value());
  EXPECT_FALSE(UpperChiSquare(5.0, 0).has_value());
  EXPECT_FALSE(UpperChiSquare(5.0, -1).has_value());
}

TEST(UpperChiSquare, AnswersNoInfinityAndNoNaN) {
  const double huge = std::numeric_limits<double>::max();
  EXPECT_EQ(UpperChiSquare(huge, 1), 0.0);
  EXPECT_EQ(UpperChiSquare(huge, 1000000), 0.0);
  EXPECT_FALSE(UpperChiSquare(std::numeric_limits<double>::quiet_NaN(), 1).has_value());
}

// R: qnorm(c(1e-300, 1e-7, 0.25, 0.975)); pnorm(c(-5, 0.5, 3))
TEST(NormalQuantile, AgreesWithRInBothTails) {
  for (const auto& [below, quantile] :
       {std::pair(1e-300, -37.0470962993612), std::pair(1e-7, -5.1993375821928174),
        std::pair(0.25, -0.67448975019608174), std::pair(0.975, 1.9599639845400545)}) {
    ExpectClose(NormalQuantile(below, 1.0 - below), quantile);
  }
  ExpectClose(NormalQuantile(1.0 - 1e-7, 1e-7), 5.1993375821928174);
  EXPECT_EQ(NormalQuantile(0.5, 0.5), 0.0);
}

TEST(NormalShareBelow, AgreesWithR) {
  ExpectClose(NormalShareBelow(-5.0), 2.8665157187919391e-07);
  ExpectClose(NormalShareBelow(0.5), 0.69146246127401301);
  ExpectClose(NormalShareBelow(3.0), 0.998650101968369897);
}

}  // namespace
}  // namespace qvhost
