#pragma once

#include <cmath>

namespace QvCommon {

/// A power of two in which weights are measured: the product of a frequency and a regression
/// weight, which may itself leave the range of a double, is formed and summed as a number of such
/// units. Dividing by a power of two rounds nothing, so that whole weights stay exact.
///
/// A value.
class QvWeightUnit {
 public:
  /// The unit 1.
  QvWeightUnit() = default;
  /// The largest power of two that is not above frequency times regression weight, which need not
  /// be a double. REQUIRES: positive finite weights.
  explicit QvWeightUnit(double frequency, double regression = 1.0);

  /// The product of two weights in units: rounded once, or a second time where the result is below
  /// the least normal double. What is not finite stays so.
  [[nodiscard]] double Of(double frequency, double regression = 1.0) const {
    const double product = frequency * regression;
    const double inUnits = product * fPerUnit;
    const bool isExact = std::isnormal(product) && std::isnormal(inUnits);
    return isExact ? inUnits : Rescale(frequency, regression);
  }
  /// The unit's logarithm to base 2.
  [[nodiscard]] int GetExponent() const { return fExponent; }

 private:
  /// The same by way of the factors' exponents.
  [[nodiscard]] double Rescale(double frequency, double regression) const;

  int fExponent = 0;
  /// Infinite or zero where that is no double.
  double fPerUnit = 1.0;
};

}  // namespace QvCommon
