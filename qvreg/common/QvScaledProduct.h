#pragma once

#include <algorithm>
#include <cmath>

namespace QvCommon {

/// A product of many numbers as a double times a power of two. Its digits are those of the product
/// of the doubles, multiplied one after the other; its size, and that of every product on the way,
/// may be far beyond the range of a double.
///
/// A value; 1 to begin with.
class QvScaledProduct {
 public:
  void Multiply(double value) {
    fFactor *= Reduce(value);
    fFactor = Reduce(fFactor);
  }
  /// False for 0 and for what is infinite or not a number.
  [[nodiscard]] bool HasMagnitude() const { return fFactor != 0.0 && std::isfinite(fFactor); }
  /// The exponent of the largest power of two that is not above the absolute value. REQUIRES:
  /// HasMagnitude().
  [[nodiscard]] long long GetMagnitude() const { return fExponent + std::ilogb(fFactor); }
  /// True when neither a number nor a product on the way came near the ends of a double's range.
  [[nodiscard]] bool IsPlain() const { return fbPlain; }
  /// The product divided by 2 to the power of `exponent`, which may overflow or underflow.
  [[nodiscard]] double InUnitsOf(long long exponent) const {
    constexpr long long kBeyondAnyDouble = 10000;
    const long long shift = fExponent - exponent;
    if (shift == 0) return fFactor;
    return std::ldexp(fFactor,
                      static_cast<int>(std::clamp(shift, -kBeyondAnyDouble, kBeyondAnyDouble)));
  }

 private:
  /// The number, or its mantissa when another of its size might take the product out of range.
  double Reduce(double value) {
    const double size = std::fabs(value);
    const bool isUsual = size < 0x1p+500 && size > 0x1p-500;
    if (isUsual || value == 0.0 || !std::isfinite(value)) return value;
    fbPlain = false;
    int exponent = 0;
    const double mantissa = std::frexp(value, &exponent);
    fExponent += exponent;
    return mantissa;
  }

  double fFactor = 1.0;
  long long fExponent = 0;
  bool fbPlain = true;
};

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

  /// The unit 2 to the power of `exponent`, which must be that of a unit.
  [[nodiscard]] static QvWeightUnit FromExponent(int exponent) {
    return QvWeightUnit(std::ldexp(1.0, exponent / 2), std::ldexp(1.0, exponent - exponent / 2));
  }
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
