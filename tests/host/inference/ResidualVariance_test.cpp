#include "host/inference/ResidualVariance.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

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

}  // namespace
}  // namespace qvhost
