#include "qvreg/common/QvMathFun.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace QvCommon {

void QvMathFun::Daxpy(int n, double a, const std::vector<double>& x, int offx, int incx,
                      std::vector<double>& y, int offy, int incy) {
  for (int i = 0; i < n; ++i) {
    y[static_cast<std::size_t>(offy + i * incy)] +=
        a * x[static_cast<std::size_t>(offx + i * incx)];
  }
}

double QvMathFun::DDot(int n, const std::vector<double>& x, int offx, int incx,
                       const std::vector<double>& y, int offy, int incy) {
  double sum = 0.0;
  for (int i = 0; i < n; ++i) {
    sum +=
        x[static_cast<std::size_t>(offx + i * incx)] * y[static_cast<std::size_t>(offy + i * incy)];
  }
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
