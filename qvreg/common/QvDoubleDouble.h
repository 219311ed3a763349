#pragma once

#include <cmath>

#include "qvreg/common/QvPlatform.h"

namespace QvCommon {

/// A double-double number: the unevaluated sum of a double and a small correction.
///
/// Built from error-free transformations (Ogita, Rump, Oishi, Accurate sum and dot product, SIAM J.
/// Sci. Comput. 26, 2005), which need round-to-nearest and no contraction or reassociation.
struct QvDoubleDouble {
  double fHigh = 0.0;
  double fLow = 0.0;

  /// The number rounded to a double.
  [[nodiscard]] double Value() const { return fHigh + fLow; }

  /// The exact sum of two doubles.
  static QvDoubleDouble Sum(double a, double b) {
    const double high = a + b;
    const double part = high - a;
    return {high, (a - (high - part)) + (b - part)};
  }
  /// The exact product of two doubles, underflow aside.
  static QvDoubleDouble Product(double a, double b) {
    const double high = a * b;
    return {high, QVREG_EXACT_FMA ? std::fma(a, b, -high) : ProductError(a, b, high)};
  }
  /// What `high`, the rounded product of a and b, lacks of the exact one; without std::fma (Dekker,
  /// A floating-point technique for extending the available precision, Numer. Math. 18, 1971).
  static double ProductError(double a, double b, double high) {
    // Not a number, as from std::fma.
    if (!std::isfinite(a) || !std::isfinite(b)) return a * b - high;
    // Halves of the largest numbers would overflow; the product of their scaled selves does not.
    if (std::abs(a) > 0x1p+990) return 0x1p+60 * ProductError(0x1p-60 * a, b, 0x1p-60 * high);
    if (std::abs(b) > 0x1p+990) return ProductError(b, a, high);
    const double a1 = LeadingHalf(a);
    const double a2 = a - a1;
    const double b1 = LeadingHalf(b);
    const double b2 = b - b1;
    return a2 * b2 - (((high - a1 * b1) - a2 * b1) - a1 * b2);
  }
  /// This number times a double.
  [[nodiscard]] QvDoubleDouble Times(double b) const {
    QvDoubleDouble product = Product(fHigh, b);
    product.fLow += fLow * b;
    return product;
  }
  /// Adds a number, as one term of a long sum: corrections are summed apart.
  void Add(const QvDoubleDouble& term) {
    const QvDoubleDouble sum = Sum(fHigh, term.fHigh);
    fHigh = sum.fHigh;
    fLow += sum.fLow + term.fLow;
  }

 private:
  /// The upper 26 bits of a double, rounded.
  static double LeadingHalf(double a) {
    const double shifted = 134217729.0 * a;  // 2^27 + 1
    return shifted - (shifted - a);
  }
};

}  // namespace QvCommon
