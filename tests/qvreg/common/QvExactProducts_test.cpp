#include "qvreg/common/QvExactProducts.h"

#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvSymMatrix.h"
#include "tests/qvreg/support/AllocationHooks.h"

namespace {

using QvCommon::QvExactProducts;
using QvCommon::QvSymMatrix;

/// The form of the last of `rows`, with 1 in its place, on the rows before it.
double FormOf(QvExactProducts products, const std::vector<int>& rows,
              const std::vector<double>& coefficients, std::vector<double>* gradient = nullptr) {
  for (const int row : rows) {
    products.SelectRow(row);
    if (row != rows.back()) products.KeepRow();
  }
  std::vector<double> own;
  return products.QuadraticForm(coefficients, gradient != nullptr ? *gradient : own);
}

/// Lower triangle of {{2, 3, 5}, {3, 7, 11}, {5, 11, 13}}.
QvExactProducts OfOrderThree() { return {{2, 3, 7, 5, 11, 13}, std::vector<double>(6, 0.0)}; }

TEST(QvExactProducts, GivesTheQuadraticFormOfTheKeptRows) {
  EXPECT_EQ(FormOf(OfOrderThree(), {0, 1, 2}, {1, -2}), 2 - 12 + 28 + 10 - 44 + 13);
  EXPECT_EQ(FormOf(OfOrderThree(), {0, 2}, {3}), 18 + 30 + 13);
  EXPECT_EQ(FormOf(OfOrderThree(), {1}, {}), 7);
}

TEST(QvExactProducts, GivesTheProductsWithTheKeptRows) {
  std::vector<double> gradient;
  FormOf(OfOrderThree(), {0, 1, 2}, {1, -2}, &gradient);
  EXPECT_EQ(gradient, (std::vector<double>{2 - 6 + 5, 3 - 14 + 11}));
}

TEST(QvExactProducts, GivesTheProductWithARowToCome) {
  QvExactProducts products = OfOrderThree();
  products.SelectRow(0);
  products.KeepRow();
  products.SelectRow(1);
  EXPECT_EQ(products.Product(2, {4}), 20 + 11);
}

TEST(QvExactProducts, AgreesWithIntegersForRowsOfEveryLength) {
  // Small integers: every sum is exact however it is grouped.
  constexpr int kOrder = 29;
  std::vector<double> high;
  for (int i = 0; i < kOrder; ++i) {
    for (int j = 0; j <= i; ++j) high.push_back((7 * i + 3 * j) % 11 - 5);
  }
  const auto element = [&high](int i, int j) {
    if (i < j) std::swap(i, j);
    return high[static_cast<std::size_t>(i * (i + 1) / 2 + j)];
  };
  QvExactProducts products(high, std::vector<double>(high.size(), 0.0));
  std::vector<int> kept;
  std::vector<double> c;
  for (int k = 0; k < kOrder; ++k) {
    products.SelectRow(k);
    std::vector<double> gradient;
    const double form = products.QuadraticForm(c, gradient);
    double expected = element(k, k);
    for (std::size_t a = 0; a < kept.size(); ++a) {
      double product = element(kept[a], k);
      for (std::size_t b = 0; b < kept.size(); ++b) product += c[b] * element(kept[a], kept[b]);
      EXPECT_EQ(gradient[a], product);
      expected += c[a] * (product + element(kept[a], k));
    }
    EXPECT_EQ(form, expected) << "row " << k;
    if (k % 3 == 1) continue;
    products.KeepRow();
    kept.push_back(k);
    c.push_back(k % 4 - 1);
  }
}

TEST(QvExactProducts, CountsWhatTheHighPartsCannotHold) {
  const QvExactProducts products({0x1p60, 0x1p60, 0x1p60}, {0.25, 0.0, 0.5});
  EXPECT_EQ(FormOf(products, {0, 1}, {-1}), 0.75);
}

TEST(QvExactProducts, CancellationLosesNoDigits) {
  // 1/3 is rounded: the form is not 0 but what its rounding leaves.
  const QvExactProducts products({9, 3, 1}, {0, 0, 0});
  const double third = 1.0 / 3.0;
  const double rest = 1.0 - 3.0 * 0x15555555555555p-54;  // Exactly 1 - 3 * third.
  EXPECT_EQ(third, 0x15555555555555p-54);
  EXPECT_EQ(FormOf(products, {0, 1}, {-third}), rest * rest);
}

TEST(QvExactProducts, HoldsNothingOfAMatrixWithoutCompensation) {
  QvSymMatrix matrix(2);
  matrix.UpdateXX({1, 2}, 1.0);
  QvExactProducts products({1}, {0});
  EXPECT_TRUE(matrix.EndCompensation(products));
  EXPECT_TRUE(products.IsEmpty());
}

TEST(QvExactProducts, OfACompensatedMatrixHoldsWhatItsElementsRound) {
  QvSymMatrix matrix(2);
  ASSERT_TRUE(matrix.StartCompensation());
  matrix.UpdateXX({1, 0}, 1.0);
  matrix.UpdateXX({1, 0}, 0x1p-60);
  matrix.UpdateXX({0, 1}, 1.0);
  QvExactProducts products;
  EXPECT_TRUE(matrix.EndCompensation(products));
  EXPECT_EQ(matrix.GetElem(0, 0), 1.0);
  EXPECT_EQ(FormOf(products, {0, 1}, {0x1p30}), 0x1p60 + 1.0 + 1.0);
}

TEST(QvExactProducts, OfACompensatedMatrixHoldsExactProducts) {
  // (0.1 as a double)^2 times 0.3 as a double: both products are rounded in a double.
  constexpr double kValue = 0.1;
  constexpr double kWeight = 0.3;
  for (const bool sparse : {false, true}) {
    QvSymMatrix matrix(1);
    ASSERT_TRUE(matrix.StartCompensation());
    if (sparse) {
      matrix.UpdateXXSparse(1, {0}, {kValue}, kWeight);
    } else {
      matrix.UpdateXX({kValue}, kWeight);
    }
    matrix.UpdateXX({1.0}, -0.003);
    QvExactProducts products;
    EXPECT_TRUE(matrix.EndCompensation(products));
    // From exact rational arithmetic: Fraction(.1)**2 * Fraction(.3) - Fraction(.003).
    EXPECT_NEAR(FormOf(products, {0}, {}) / 0x1.78d4fdf3b645ap-63, 1.0, 1e-14) << sparse;
  }
}

TEST(QvExactProducts, WithoutMemoryTheCompensationGoesOn) {
  QvSymMatrix matrix(1);
  ASSERT_TRUE(matrix.StartCompensation());
  matrix.UpdateXX({1}, 1.0);
  matrix.UpdateXX({1}, 0x1p-53);
  QvExactProducts products;
  {
    const qvtest::AllocationFault fault(1, qvtest::AllocationFault::Extent::kOnce);
    EXPECT_FALSE(matrix.EndCompensation(products));
  }
  matrix.UpdateXX({1}, 0x1p-53);
  matrix.EndCompensation();
  EXPECT_EQ(matrix.GetElem(0, 0), 1.0 + 0x1p-52);
}

}  // namespace
