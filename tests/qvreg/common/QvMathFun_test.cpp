#include "qvreg/common/QvMathFun.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

namespace QvCommon {
namespace {

using Vector = std::vector<double>;

TEST(QvMathFun, DaxpyAddsAMultiple) {
  const Vector x = {1, 2, 3};
  Vector y = {10, 20, 30};
  QvMathFun::Daxpy(3, 2.0, x, 0, 1, y, 0, 1);
  EXPECT_EQ(y, (Vector{12, 24, 36}));
}

TEST(QvMathFun, DaxpyFollowsOffsetsAndStrides) {
  const Vector x = {0, 1, 0, 0, 2, 0};
  Vector y = {5, 5, 5, 5, 5, 5};
  QvMathFun::Daxpy(2, 10.0, x, 1, 3, y, 2, 2);
  EXPECT_EQ(y, (Vector{5, 5, 15, 5, 25, 5}));
}

TEST(QvMathFun, DaxpyOfNothingChangesNothing) {
  Vector y = {1};
  QvMathFun::Daxpy(0, 3.0, {}, 0, 1, y, 0, 1);
  EXPECT_EQ(y, (Vector{1}));
}

TEST(QvMathFun, DDotSumsProducts) {
  EXPECT_EQ(QvMathFun::DDot(3, {1, 2, 3}, 0, 1, {4, 5, 6}, 0, 1), 32.0);
}

TEST(QvMathFun, DDotFollowsOffsetsAndStrides) {
  EXPECT_EQ(QvMathFun::DDot(2, {9, 1, 9, 2}, 1, 2, {9, 9, 3, 5}, 2, 1), 13.0);
  EXPECT_EQ(QvMathFun::DDot(3, {1, 2, 3}, 2, -1, {1, 10, 100}, 0, 1), 123.0);
}

TEST(QvMathFun, DDotOfNothingIsZero) { EXPECT_EQ(QvMathFun::DDot(0, {}, 0, 1, {}, 0, 1), 0.0); }

TEST(QvMathFun, VNrm1DiffSumsAbsoluteDifferences) {
  EXPECT_EQ(QvMathFun::VNrm1Diff({1, -2, 3}, {2, 2, 3}), 5.0);
  EXPECT_EQ(QvMathFun::VNrm1Diff({}, {}), 0.0);
}

TEST(QvMathFun, VMaxRelDiffIsRelativeToTheSecondVector) {
  EXPECT_EQ(QvMathFun::VMaxRelDiff({3, 10}, {2, 8}, 1e-6), 0.5);
  EXPECT_EQ(QvMathFun::VMaxRelDiff({2, 8}, {4, 10}, 1e-6), 0.5);
  EXPECT_EQ(QvMathFun::VMaxRelDiff({-3}, {-2}, 1e-6), 0.5);
}

TEST(QvMathFun, VMaxRelDiffDividesSmallElementsByEps) {
  EXPECT_EQ(QvMathFun::VMaxRelDiff({0.5}, {0.0}, 0.25), 2.0);
  EXPECT_EQ(QvMathFun::VMaxRelDiff({0.5}, {0.125}, 0.25), 1.5);
}

TEST(QvMathFun, VMaxRelDiffWithAnElementThatIsNotANumberIsNotANumber) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::vector<double> numbers{1, 2, 3};
  for (std::size_t place = 0; place < numbers.size(); ++place) {
    std::vector<double> broken = numbers;
    broken[place] = nan;
    EXPECT_TRUE(std::isnan(QvMathFun::VMaxRelDiff(broken, {1, 4, 3}, 1e-6))) << place;
    EXPECT_TRUE(std::isnan(QvMathFun::VMaxRelDiff({1, 4, 3}, broken, 1e-6))) << place;
  }
}

TEST(QvMathFun, VMaxRelDiffOfEqualVectorsIsZero) {
  EXPECT_EQ(QvMathFun::VMaxRelDiff({0, 1e300}, {0, 1e300}, 1e-6), 0.0);
}

}  // namespace
}  // namespace QvCommon
