#include "host/fit/RocPoints.h"

#include <algorithm>
#include <cmath>
#include <queue>
#include <utility>

namespace qvhost {

namespace {

using Point = RocCurve::Point;

/// How far a point is from the line through two others.
double Distance(const Point& point, const Point& begin, const Point& end) {
  const double x = end.falsePositive - begin.falsePositive;
  const double y = end.truePositive - begin.truePositive;
  return std::abs(x * (point.truePositive - begin.truePositive) -
                  y * (point.falsePositive - begin.falsePositive)) /
         std::hypot(x, y);
}

/// A part of a curve, and its point that is furthest from the line between its ends.
struct Part {
  std::size_t begin;
  std::size_t end;
  std::size_t furthest = 0;
  double distance = 0.0;
};

Part PartOf(const std::vector<Point>& points, std::size_t begin, std::size_t end) {
  Part part{begin, end};
  for (std::size_t i = begin + 1; i < end; ++i) {
    const double distance = Distance(points[i], points[begin], points[end]);
    if (distance > part.distance) {
      part.furthest = i;
      part.distance = distance;
    }
  }
  return part;
}

/// Of two parts that which is not divided first.
bool IsAfter(const Part& a, const Part& b) {
  return a.distance != b.distance ? a.distance < b.distance : a.begin > b.begin;
}

std::vector<Point> Thin(const std::vector<Point>& points, std::size_t most) {
  constexpr double kStraight = 1e-12;
  std::vector<bool> isKept(points.size(), false);
  isKept.front() = isKept.back() = true;
  std::priority_queue<Part, std::vector<Part>, decltype(&IsAfter)> parts(&IsAfter);
  parts.push(PartOf(points, 0, points.size() - 1));
  for (std::size_t kept = 2; kept < most && parts.top().distance > kStraight; ++kept) {
    const Part part = parts.top();
    parts.pop();
    isKept[part.furthest] = true;
    parts.push(PartOf(points, part.begin, part.furthest));
    parts.push(PartOf(points, part.furthest, part.end));
  }
  std::vector<Point> left;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (isKept[i]) left.push_back(points[i]);
  }
  return left;
}

}  // namespace

void RocPoints::Add(double having, double others) {
  if (!points_.empty()) {
    having = std::max(having, points_.back().having);
    others = std::max(others, points_.back().others);
  }
  const double stretch = std::floor((having / having_ + others / others_) / 2.0 * kPlaces);
  if (stretch == stretch_ && !isAlone_) {
    points_.back() = {having, others};
    return;
  }
  isAlone_ = stretch != stretch_;
  stretch_ = stretch;
  points_.push_back({having, others});
}

std::vector<Point> RocPoints::Thinned(std::size_t most) const {
  if (points_.empty()) return {};
  const Weights& all = points_.back();
  std::vector<Point> points;
  for (std::size_t i = points_.size(); i-- > 0;) {
    points.push_back({(all.others - points_[i].others) / all.others,
                      (all.having - points_[i].having) / all.having});
  }
  points.push_back({1.0, 1.0});
  return Thin(points, most);
}

}  // namespace qvhost
