#include "qvreg/common/QvMathFun.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace QvCommon {

namespace {

/// Where element i of a strided part starts.
std::size_t Place(int offset, int i, int stride) {
  return static_cast<std::size_t>(offset + static_cast<std::ptrdiff_t>(i) * stride);
}

}  // namespace

void QvMathFun::Daxpy(int n, double a, const std::vector<double>& x, int offx, int incx,
                      std::vector<double>& y, int offy, int incy) {
  for (int i = 0; i < n; ++i) y[Place(offy, i, incy)] += a * x[Place(offx, i, incx)];
}

double QvMathFun::DDot(int n, const std::vector<double>& x, int offx, int incx,
                       const std::vector<double>& y, int offy, int incy) {
  double sum = 0.0;
  for (int i = 0; i < n; ++i) sum += x[Place(offx, i, incx)] * y[Place(offy, i, incy)];
  return sum;
}

double QvMathFun::VNrm1Diff(const std::vector<double>& a, const std::vector<double>& b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += std::fabs(a[i] - b[i]);
  return sum;
}

double QvMathFun::VMaxRelDiff(const std::vector<double>& a, const std::vector<double>& b,
                              double eps) {
  double largest = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const double difference = std::fabs(a[i] - b[i]) / std::max(std::fabs(b[i]), eps);
    if (std::isnan(difference)) return difference;
    largest = std::max(largest, difference);
  }
  return largest;
}

}  // namespace QvCommon
