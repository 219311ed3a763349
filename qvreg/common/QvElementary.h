#pragma once

#include <cstddef>

namespace QvCommon {

/// The exponential and the logarithm, from additions, multiplications and divisions alone: the same
/// numbers on every system, where those of its run-time library differ in their last digit (and on
/// Windows cost ten times as much). Stateless; any thread. They need round-to-nearest.
class QvElementary {
 public:
  /// e^x, within 0.52 units of the last place unless it is subnormal; infinity above log of the
  /// largest double, 0 far below that of the smallest. Table look-up and a polynomial of degree 6
  /// (Tang, Table-driven implementation of the exponential function, ACM Trans. Math. Softw. 15,
  /// 1989).
  static double Exp(double x);
  /// The exponentials of n numbers between -708 and 0, within one unit of the last place: a
  /// polynomial of degree 13 without a table, for many at once. `x` and `results` may be one.
  static void ExpMany(std::size_t n, const double* x, double* results);
  /// The natural logarithm, within one unit of the last place; minus infinity for 0, not a number
  /// below 0. The series of the inverse hyperbolic tangent of (m - 1) / (m + 1), x = 2^k m.
  static double Log(double x);
};

}  // namespace QvCommon
