#include "qvreg/common/QvScaledProduct.h"

namespace QvCommon {

namespace {

/// mantissa times 2 to the power of exponent, the mantissa from 1/4 to 1.
struct Product {
  double mantissa;
  int exponent;
};

Product Multiply(double a, double b) {
  int exponentA = 0;
  int exponentB = 0;
  const double mantissa = std::frexp(a, &exponentA) * std::frexp(b, &exponentB);
  return {mantissa, exponentA + exponentB};
}

}  // namespace

QvWeightUnit::QvWeightUnit(double frequency, double regression) {
  const Product product = Multiply(frequency, regression);
  fExponent = product.exponent - (product.mantissa < 0.5 ? 2 : 1);
  fPerUnit = std::ldexp(1.0, -fExponent);
}

double QvWeightUnit::Rescale(double frequency, double regression) const {
  if (!std::isfinite(frequency) || !std::isfinite(regression)) return frequency * regression;
  const Product product = Multiply(frequency, regression);
  return std::ldexp(product.mantissa, product.exponent - fExponent);
}

}  // namespace QvCommon
