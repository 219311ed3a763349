#pragma once

#include <cmath>

namespace QvCommon {

/// A number in twice working precision: the unevaluated sum of a double and a small correction.
///
/// Built from error-free transformations (Ogita, Rump, Oishi, Accurate sum and dot product, SIAM J.
/// Sci. Comput. 26, 2005), which need round-to-nearest and no contraction or reassociation.
struct QvTwofold {
  double fHigh = 0.0;
  double fLow = 0.0;

  /// The number rounded to a double.
  [[nodiscard]] double Value() const { return fHigh + fLow; }

  /// The exact sum of two doubles.
  static QvTwofold Sum(double a, double b) {
    const double high = a + b;
    const double part = high - a;
    return {high, (a - (high - part)) + (b - part)};
  }
  /// The exact product of two doubles, underflow aside.
  static QvTwofold Product(double a, double b) {
    const double high = a * b;
    return {high, std::fma(a, b, -high)};
  }
  /// This number times a double.
  [[nodiscard]] QvTwofold Times(double b) const {
    QvTwofold product = Product(fHigh, b);
    product.fLow += fLow * b;
    return product;
  }
  /// Adds a number, as one term of a long sum: corrections are summed apart.
  void Add(const QvTwofold& term) {
    const QvTwofold sum = Sum(fHigh, term.fHigh);
    fHigh = sum.fHigh;
    fLow += sum.fLow + term.fLow;
  }
};

}  // namespace QvCommon
