#pragma once

#include <vector>

namespace QvCommon {

/// Vector arithmetic in the manner of the Basic Linear Algebra Subprograms. Stateless; any thread.
class QvMathFun {
 public:
  /// y[offy + i incy] += a x[offx + i incx] for i = 0 .. n-1. REQUIRES: the places exist.
  static void Daxpy(int n, double a, const std::vector<double>& x, int offx, int incx,
                    std::vector<double>& y, int offy, int incy);
  /// The sum of x[offx + i incx] y[offy + i incy] for i = 0 .. n-1. REQUIRES: the places exist.
  static double DDot(int n, const std::vector<double>& x, int offx, int incx,
                     const std::vector<double>& y, int offy, int incy);
  /// The sum of |a_i - b_i|. REQUIRES: equal lengths.
  static double VNrm1Diff(const std::vector<double>& a, const std::vector<double>& b);
  /// The largest |a_i - b_i| / max(|b_i|, eps); not a number where one of them is not. REQUIRES:
  /// equal lengths.
  static double VMaxRelDiff(const std::vector<double>& a, const std::vector<double>& b, double eps);
};

}  // namespace QvCommon
