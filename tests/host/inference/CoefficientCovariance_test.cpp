#include "host/inference/CoefficientCovariance.h"

#include <array>
#include <cmath>

#include <gtest/gtest.h>

#include "qvreg/common/QvSymMatrix.h"

namespace qvhost {
namespace {

QvCommon::QvSymMatrix Matrix(double first, double both, double second) {
  QvCommon::QvSymMatrix matrix(2);
  matrix.SetElem(0, 0, first);
  matrix.SetElem(1, 0, both);
  matrix.SetElem(1, 1, second);
  return matrix;
}

CoefficientCovariance Of(const QvCommon::QvSymMatrix& matrix, std::optional<double> variance) {
  return CoefficientCovariance({.estimates = {3.0, 5.0},
                                .kept = {true, true},
                                .exponents = {0, 1},
                                .matrix = &matrix,
                                .variance = variance});
}

constexpr std::array<std::size_t, 2> kBoth = {1, 0};
constexpr std::array kWeights = {0.5, 1.0};

TEST(CoefficientCovariance, IsInTheUnitsOfTheData) {
  const QvCommon::QvSymMatrix matrix = Matrix(2.0, 1.0, 3.0);
  const CoefficientCovariance covariance = Of(matrix, 4.0);
  EXPECT_EQ(covariance.Estimate(1), 10.0);
  EXPECT_EQ(covariance.At(0, 0), 8.0);
  EXPECT_EQ(covariance.At(1, 0), 8.0);
  EXPECT_EQ(covariance.At(1, 1), 48.0);
}

TEST(CoefficientCovariance, ACombinationHasTheQuadraticForm) {
  const QvCommon::QvSymMatrix matrix = Matrix(2.0, 1.0, 3.0);
  const CoefficientCovariance::Combination found = Of(matrix, 4.0).Combine(kBoth, kWeights);
  EXPECT_EQ(found.value, 8.0);
  EXPECT_EQ(found.stdError, std::sqrt(28.0));  // of 48 / 4 + 2 * 8 / 2 + 8
}

TEST(CoefficientCovariance, ACombinationWithoutAVarianceHasAValueAlone) {
  const QvCommon::QvSymMatrix matrix = Matrix(2.0, 1.0, 3.0);
  const CoefficientCovariance covariance = Of(matrix, std::nullopt);
  EXPECT_EQ(covariance.Combine(kBoth, kWeights).value, 8.0);
  EXPECT_EQ(covariance.Combine(kBoth, kWeights).stdError, std::nullopt);
  EXPECT_TRUE(std::isnan(covariance.At(0, 0)));
}

TEST(CoefficientCovariance, AFormBelowZeroIsRoundingAndOneBeyondDoublesNoError) {
  const QvCommon::QvSymMatrix below = Matrix(1.0, -1.0 - 1e-15, 1.0);
  EXPECT_EQ(Of(below, 1.0).Combine(kBoth, kWeights).stdError, 0.0);
  const QvCommon::QvSymMatrix beyond = Matrix(1e300, -1e300, 1e300);
  constexpr std::array kLarge = {1e10, 1e10};
  EXPECT_EQ(Of(beyond, 1.0).Combine(kBoth, kLarge).stdError, std::nullopt);
}

}  // namespace
}  // namespace qvhost
