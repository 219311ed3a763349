#include "host/fit/RocPoints.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

using Point = RocCurve::Point;

constexpr std::size_t kMost = RocCurve::kMostPoints;

std::vector<std::pair<double, double>> Pairs(const std::vector<Point>& points) {
  std::vector<std::pair<double, double>> pairs;
  pairs.reserve(points.size());
  for (const Point& point : points) pairs.emplace_back(point.falsePositive, point.truePositive);
  return pairs;
}

/// How far a point is from a curve.
double DistanceTo(const std::vector<Point>& curve, double x, double y) {
  double least = 2.0;
  for (std::size_t i = 1; i < curve.size(); ++i) {
    const double dx = curve[i].falsePositive - curve[i - 1].falsePositive;
    const double dy = curve[i].truePositive - curve[i - 1].truePositive;
    const double along =
        ((x - curve[i - 1].falsePositive) * dx + (y - curve[i - 1].truePositive) * dy) /
        (dx * dx + dy * dy);
    const double share = std::clamp(along, 0.0, 1.0);
    least = std::min(least, std::hypot(x - curve[i - 1].falsePositive - share * dx,
                                       y - curve[i - 1].truePositive - share * dy));
  }
  return least;
}

void ExpectWhole(const std::vector<Point>& curve) {
  ASSERT_GE(curve.size(), 2U);
  EXPECT_LE(curve.size(), kMost);
  EXPECT_EQ(Pairs(curve).front(), std::pair(0.0, 0.0));
  EXPECT_EQ(Pairs(curve).back(), std::pair(1.0, 1.0));
  for (std::size_t i = 1; i < curve.size(); ++i) {
    EXPECT_GE(curve[i].falsePositive, curve[i - 1].falsePositive);
    EXPECT_GE(curve[i].truePositive, curve[i - 1].truePositive);
  }
}

TEST(RocPoints, AFewPointsAreAllThere) {
  RocPoints points(4.0, 10.0);
  points.Add(0.0, 5.0);
  points.Add(1.0, 9.0);
  points.Add(4.0, 10.0);
  const std::vector<std::pair<double, double>> expected = {
      {0.0, 0.0}, {0.1, 0.75}, {0.5, 1.0}, {1.0, 1.0}};
  EXPECT_EQ(Pairs(points.Thinned(kMost)), expected);
}

TEST(RocPoints, PointsOnALineAreLeftOut) {
  RocPoints points(8.0, 8.0);
  for (int i = 1; i <= 8; ++i) points.Add(i, i);
  EXPECT_EQ(points.Thinned(kMost).size(), 2U);
}

TEST(RocPoints, OfNoPointThereIsNone) { EXPECT_TRUE(RocPoints(1.0, 1.0).Thinned(kMost).empty()); }

TEST(RocPoints, ManyPointsAreThinnedWhereTheCurveIsStraight) {
  constexpr int kCount = 1000000;
  const auto having = [](int i) { return std::pow(static_cast<double>(i) / kCount, 8.0); };
  RocPoints points(1.0, kCount);
  for (int i = 1; i <= kCount; ++i) points.Add(having(i), i);
  const std::vector<Point> curve = points.Thinned(kMost);
  ExpectWhole(curve);
  EXPECT_EQ(curve.size(), kMost);
  for (int i = 0; i <= kCount; i += 997) {
    EXPECT_LT(DistanceTo(curve, 1.0 - static_cast<double>(i) / kCount, 1.0 - having(i)), 1e-4);
  }
}

TEST(RocPoints, CornersAreKept) {
  // Steps of 3000 records of one kind after the other.
  constexpr int kSteps = 7;
  RocPoints points(3000.0 * kSteps, 3000.0 * kSteps);
  std::vector<std::pair<double, double>> corners = {{0.0, 0.0}};
  double having = 0.0;
  double others = 0.0;
  for (int step = 0; step < 2 * kSteps; ++step) {
    for (int i = 0; i < 3000; ++i) {
      ++(step % 2 == 0 ? others : having);
      points.Add(having, others);
    }
    const double all = 3000.0 * kSteps;
    corners.emplace_back((all - others) / all, (all - having) / all);
  }
  corners.emplace_back(1.0, 1.0);
  const std::vector<Point> curve = points.Thinned(kMost);
  ExpectWhole(curve);
  for (const auto& [x, y] : corners) EXPECT_LT(DistanceTo(curve, x, y), 2e-3) << x << ' ' << y;
}

TEST(RocPoints, RoundingDoesNotTurnTheCurveBack) {
  RocPoints points(1.0, 1.0);
  points.Add(0.25, 0.5);
  points.Add(0.25 - 1e-17, 0.5 - 1e-16);
  points.Add(1.0, 0.75);
  points.Add(1.0 - 1e-16, 1.0);
  ExpectWhole(points.Thinned(kMost));
}

TEST(RocPoints, TheSameNumberOfPointsIsTheMost) {
  RocPoints points(1.0, 1.0);
  for (int i = 1; i <= 100; ++i) points.Add(i * i / 10000.0, i / 100.0);
  EXPECT_EQ(points.Thinned(2).size(), 2U);
  EXPECT_EQ(points.Thinned(5).size(), 5U);
}

}  // namespace
}  // namespace qvhost
