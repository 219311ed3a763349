#include "qvreg/common/QvExactProducts.h"

#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvSymMatrix.h"
#include "tests/qvreg/support/AllocationHooks.h"

namespace {

using QvCommon::QvExactProducts;
using QvCommon::QvSymMatrix;

TEST(QvExactProducts, GivesTheQuadraticFormOfTheRowsNamed) {
  // Lower triangle of {{2, 3, 5}, {3, 7, 11}, {5, 11, 13}}.
  const QvExactProducts products({2, 3, 7, 5, 11, 13}, std::vector<double>(6, 0.0));
  EXPECT_EQ(products.QuadraticForm({0, 1, 2}, {1, -2, 4}), 2 - 12 + 28 + 40 - 176 + 208);
  EXPECT_EQ(products.QuadraticForm({0, 2}, {3, -1}), 18 - 30 + 13);
  EXPECT_EQ(products.QuadraticForm({1}, {2}), 28);
}

TEST(QvExactProducts, CountsWhatTheHighPartsCannotHold) {
  const QvExactProducts products({0x1p60, 0x1p60, 0x1p60}, {0.25, 0.0, 0.5});
  EXPECT_EQ(products.QuadraticForm({0, 1}, {1, -1}), 0.75);
}

TEST(QvExactProducts, CancellationLosesNoDigits) {
  // (1, -1/3) is rounded: the form is not 0 but what the rounding of 1/3 leaves of it.
  const QvExactProducts products({1, 3, 9}, {0, 0, 0});
  const double third = 1.0 / 3.0;
  const double rest = 1.0 - 3.0 * 0x15555555555555p-54;  // Exactly 1 - 3 * third.
  EXPECT_EQ(third, 0x15555555555555p-54);
  EXPECT_EQ(products.QuadraticForm({0, 1}, {1, -third}), rest * rest);
}

TEST(QvExactProducts, HoldsNothingOfAMatrixWithoutCompensation) {
  QvSymMatrix matrix(2);
  matrix.UpdateXX({1, 2}, 1.0);
  QvExactProducts products({1}, {0});
  EXPECT_TRUE(matrix.EndCompensation(products));
  EXPECT_TRUE(products.IsEmpty());
}

TEST(QvExactProducts, OfACompensatedMatrixHoldsWhatItsElementsRound) {
  QvSymMatrix matrix(1);
  ASSERT_TRUE(matrix.StartCompensation());
  matrix.UpdateXX({1}, 1.0);
  matrix.UpdateXX({1}, 0x1p-60);
  QvExactProducts products;
  EXPECT_TRUE(matrix.EndCompensation(products));
  EXPECT_EQ(matrix.GetElem(0, 0), 1.0);
  EXPECT_EQ(products.QuadraticForm({0}, {0x1p30}), 0x1p60 + 1.0);
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
