#include "host/fit/ScaledEstimates.h"

#include <limits>

#include <gtest/gtest.h>

#include "qvreg/common/QvSymMatrix.h"

namespace qvhost {
namespace {

TEST(LibraryNumber, IsTheNumberItself) {
  for (const double value : {0.0, -0.25, 1e300, 5e-324, std::numeric_limits<double>::max()}) {
    EXPECT_EQ(LibraryNumber(value), value);
  }
}

TEST(LibraryNumber, IsNoneForWhatDoesNotExist) {
  EXPECT_FALSE(LibraryNumber(QvMV::gMissingValue).has_value());
  EXPECT_FALSE(LibraryNumber(std::numeric_limits<double>::infinity()).has_value());
  EXPECT_FALSE(LibraryNumber(-std::numeric_limits<double>::infinity()).has_value());
  EXPECT_FALSE(LibraryNumber(std::numeric_limits<double>::quiet_NaN()).has_value());
}

QvCommon::QvBitSet Keep(int size) {
  QvCommon::QvBitSet kept;
  kept.Resize(size, true);
  return kept;
}

TEST(SmallestPivotShare, IsOneForIndependentEstimates) {
  QvCommon::QvSymMatrix covariance(3);
  covariance.SetElem(0, 0, 1e-20);
  covariance.SetElem(1, 1, 4.0);
  covariance.SetElem(2, 2, 1e20);
  const auto share = SmallestPivotShare(covariance, Keep(3));
  ASSERT_TRUE(share.has_value());
  EXPECT_NEAR(*share, 1.0, 1e-15);
}

// Correlation r: the second pivot is 1 - r^2.
TEST(SmallestPivotShare, FallsWithTheirCorrelation) {
  QvCommon::QvSymMatrix covariance(2);
  covariance.SetElem(0, 0, 4.0);
  covariance.SetElem(1, 1, 9.0);
  covariance.SetElem(1, 0, 6.0 * 0.8);
  EXPECT_NEAR(SmallestPivotShare(covariance, Keep(2)).value(), 0.36, 1e-14);
  covariance.SetElem(1, 0, 6.0);
  EXPECT_EQ(SmallestPivotShare(covariance, Keep(2)).value(), 0.0);
}

TEST(SmallestPivotShare, LooksAtKeptParametersOnly) {
  QvCommon::QvSymMatrix covariance(3);
  covariance.SetElem(0, 0, 1.0);
  covariance.SetElem(2, 2, 1.0);
  covariance.SetElem(2, 0, 0.6);
  QvCommon::QvBitSet kept = Keep(3);
  kept.Set(1, false);
  EXPECT_NEAR(SmallestPivotShare(covariance, kept).value(), 0.64, 1e-14);
}

TEST(SmallestPivotShare, NeedsTwoParameters) {
  const QvCommon::QvSymMatrix covariance(1);
  EXPECT_FALSE(SmallestPivotShare(covariance, Keep(1)).has_value());
}

}  // namespace
}  // namespace qvhost
