#include "host/inference/Collinearity.h"

#include <cmath>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

using QvCommon::QvSymMatrix;

QvSymMatrix Matrix(const std::vector<std::vector<double>>& rows) {
  QvSymMatrix matrix(static_cast<int>(rows.size()));
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      matrix.SetElem(static_cast<int>(i), static_cast<int>(j), rows[i][j]);
    }
  }
  return matrix;
}

// R: eigen(matrix(c(4, 1, 2, 1, 3, 0.5, 2, 0.5, 5), 3))$values
TEST(LargestEigenvalue, IsThatOfR) {
  EXPECT_NEAR(LargestEigenvalue(Matrix({{4.0}, {1.0, 3.0}, {2.0, 0.5, 5.0}})), 6.8312544306982055,
              1e-14);
  // The same with a row c(-1, 0.25, 1.5, 6), which takes two reflections.
  EXPECT_NEAR(
      LargestEigenvalue(Matrix({{4.0}, {1.0, 3.0}, {2.0, 0.5, 5.0}, {-1.0, 0.25, 1.5, 6.0}})),
      7.2971376386822699, 1e-14);
}

TEST(LargestEigenvalue, OfSmallDiagonalAndNegativeMatrices) {
  EXPECT_NEAR(LargestEigenvalue(Matrix({{7.5}})), 7.5, 1e-14);
  EXPECT_NEAR(LargestEigenvalue(Matrix({{2.0}, {0.0, 3.0}, {0.0, 0.0, 1.0}})), 3.0, 1e-14);
  EXPECT_NEAR(LargestEigenvalue(Matrix({{-2.0}, {1.0, -2.0}})), -1.0, 1e-14);
  EXPECT_NEAR(LargestEigenvalue(Matrix({{0.0}, {0.0, 0.0}})), 0.0, 1e-14);
}

// A matrix of ones has the eigenvalues n and 0.
TEST(LargestEigenvalue, OfOnesIsTheirNumber) {
  const int n = 40;
  QvSymMatrix ones(n);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j <= i; ++j) ones.SetElem(i, j, 1.0);
  }
  EXPECT_NEAR(LargestEigenvalue(ones), n, 1e-12);
}

// Two columns with correlation r about the mean: both factors are 1 / (1 - r^2), and the estimates
// have the correlation -r. The units do not matter.
TEST(Collinearity, OfTwoColumnsIsThatOfTheirCorrelation) {
  const double r = 0.6;
  const QvSymMatrix covariance = Matrix({{50.0}, {0.0, 4.0}, {0.0, -r * 2.0 * 1e-3, 1e-6}});
  const Collinearity found = FindCollinearity({covariance, {true, true, true}, {-1, 0, 1}, 2, {}});
  ASSERT_EQ(found.terms.size(), 2U);
  EXPECT_NEAR(found.terms[0].factor.value(), 1.0 / (1.0 - r * r), 1e-13);
  EXPECT_NEAR(found.terms[1].factor.value(), 1.0 / (1.0 - r * r), 1e-13);
  EXPECT_NEAR(found.terms[0].errorPerParameter.value(), 1.25, 1e-13);
  // Singular values of columns of length 1: roots of 1 + r, 1 and 1 - r.
  EXPECT_NEAR(found.conditionNumber.value(), std::sqrt(1.6 / 0.4), 1e-13);
}

// The generalized factor of the first two columns, det R11 det R22 / det R, is that of the third.
TEST(Collinearity, OfATermOfTwoColumnsIsPerParameterOfBoth) {
  const QvSymMatrix covariance = Matrix({{1.0}, {0.25, 1.0}, {0.5, -0.25, 1.0}});
  const Collinearity found = FindCollinearity({covariance, {true, true, true}, {0, 0, 1}, 2, {}});
  const double all = 1.0 + 2.0 * 0.25 * 0.5 * -0.25 - 0.0625 - 0.25 - 0.0625;
  const double factor = (1.0 - 0.0625) / all;
  EXPECT_NEAR(found.terms.at(0).factor.value(), factor, 1e-13);
  EXPECT_NEAR(found.terms.at(1).factor.value(), factor, 1e-13);
  EXPECT_NEAR(found.terms[0].errorPerParameter.value(), std::pow(factor, 0.25), 1e-13);
  EXPECT_NEAR(found.terms[1].errorPerParameter.value(), std::sqrt(factor), 1e-13);
}

TEST(Collinearity, OfATermOfAllColumnsIsOne) {
  const QvSymMatrix covariance = Matrix({{50.0}, {1.0, 4.0}, {2.0, 1.5, 9.0}});
  const Collinearity found = FindCollinearity({covariance, {true, true, true}, {-1, 0, 0}, 1, {}});
  EXPECT_EQ(found.terms[0].degrees, 2);
  EXPECT_NEAR(found.terms[0].factor.value(), 1.0, 1e-13);
}

TEST(Collinearity, SkipsRedundantParameters) {
  const QvSymMatrix covariance = Matrix({{50.0}, {1.0, 4.0}, {0.0, 0.0, 0.0}});
  const Collinearity found = FindCollinearity({covariance, {true, true, false}, {-1, 0, 1}, 2, {}});
  EXPECT_EQ(found.terms[0].factor, 1.0);
  EXPECT_EQ(found.terms[1].degrees, 0);
  EXPECT_FALSE(found.terms[1].factor.has_value());
}

TEST(Collinearity, OfASingularMatrixHasNoNumbers) {
  const QvSymMatrix covariance = Matrix({{1.0}, {0.0, 1.0}, {0.0, 1.0, 1.0}});
  const Collinearity found = FindCollinearity({covariance, {true, true, true}, {-1, 0, 1}, 2, {}});
  EXPECT_FALSE(found.terms[0].factor.has_value());
  EXPECT_FALSE(found.conditionNumber.has_value());
}

}  // namespace
}  // namespace qvhost
