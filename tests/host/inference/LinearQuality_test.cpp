#include "host/inference/LinearQuality.h"

#include <cmath>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

// R: pf(c(3.2, 150), c(2, 1), c(30, 200), lower.tail = FALSE)
TEST(UpperF, IsThatOfR) {
  EXPECT_NEAR(UpperF(3.2, 2, 30).value(), 0.054991816556153664, 1e-15);
  EXPECT_NEAR(UpperF(150.0, 1, 200).value() / 4.248586003301756e-26, 1.0, 1e-12);
  EXPECT_EQ(UpperF(0.0, 3, 7), 1.0);
}

TEST(UpperF, IsNoneWithoutDegreesOrStatistic) {
  EXPECT_FALSE(UpperF(std::nullopt, 2, 30).has_value());
  EXPECT_FALSE(UpperF(3.0, 0, 30).has_value());
  EXPECT_FALSE(UpperF(3.0, 2, 0).has_value());
  EXPECT_FALSE(UpperF(std::nan(""), 2, 30).has_value());
}

// y = 1, 2, 4, 3 on x = 1..4: slope 0.8, residual sum 1.8, total 5.
LinearSums Example() {
  LinearSums sums;
  sums.rmse = std::sqrt(1.8 / 4.0);
  sums.total = std::sqrt(5.0 / 4.0);
  sums.freqWeight = 4.0;
  sums.kept = 2;
  sums.degreesOfFreedom = 2.0;
  return sums;
}

// R: m <- lm(c(1, 2, 4, 3) ~ c(1, 2, 3, 4)); summary(m), logLik(m), AIC(m), BIC(m)
TEST(LinearQuality, IsThatOfR) {
  const LinearQuality quality = ComputeLinearQuality(Example());
  EXPECT_NEAR(quality.fStatistic.value(), 3.5555555555555556, 1e-13);
  EXPECT_EQ(quality.fDegrees, 1);
  EXPECT_NEAR(quality.fP.value(), 0.2, 1e-13);
  EXPECT_NEAR(quality.adjustedRSquare.value(), 0.46, 1e-14);
  EXPECT_NEAR(quality.logLikelihood.value(), -4.0787387403831481, 1e-13);
  EXPECT_NEAR(quality.aic.value(), 14.157477480766296, 1e-13);
  EXPECT_NEAR(quality.bic.value(), 12.316360564125969, 1e-13);
}

TEST(LinearQuality, KnowsTheUnitOfTheDependent) {
  LinearSums sums = Example();
  sums.exponent = -2000;
  const LinearQuality quality = ComputeLinearQuality(sums);
  EXPECT_NEAR(quality.logLikelihood.value(), -4.0787387403831481 + 4.0 * 2000.0 * std::log(2.0),
              1e-9);
  EXPECT_NEAR(quality.fStatistic.value(), 3.5555555555555556, 1e-13);
}

TEST(LinearQuality, OfAnInterceptAloneHasNoF) {
  LinearSums sums = Example();
  sums.rmse = sums.total;
  sums.kept = 1;
  sums.degreesOfFreedom = 3.0;
  const LinearQuality quality = ComputeLinearQuality(sums);
  EXPECT_FALSE(quality.fStatistic.has_value());
  EXPECT_FALSE(quality.fP.has_value());
  EXPECT_EQ(quality.adjustedRSquare, 0.0);
  EXPECT_TRUE(quality.logLikelihood.has_value());
}

TEST(LinearQuality, OfAPerfectFitOrAConstantHasNoNumbersThatDoNotExist) {
  LinearSums perfect = Example();
  perfect.rmse = 0.0;
  EXPECT_FALSE(ComputeLinearQuality(perfect).fStatistic.has_value());
  EXPECT_FALSE(ComputeLinearQuality(perfect).logLikelihood.has_value());
  EXPECT_FALSE(ComputeLinearQuality(perfect).aic.has_value());
  LinearSums constant = perfect;
  constant.total = 0.0;
  EXPECT_FALSE(ComputeLinearQuality(constant).fStatistic.has_value());
  EXPECT_FALSE(ComputeLinearQuality(constant).adjustedRSquare.has_value());
  LinearSums saturated = Example();
  saturated.degreesOfFreedom = 0.0;
  EXPECT_FALSE(ComputeLinearQuality(saturated).fStatistic.has_value());
  EXPECT_FALSE(ComputeLinearQuality(saturated).adjustedRSquare.has_value());
}

}  // namespace
}  // namespace qvhost
