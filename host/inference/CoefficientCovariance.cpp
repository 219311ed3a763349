#include "host/inference/CoefficientCovariance.h"

#include <algorithm>
#include <cmath>

#include "host/inference/Inference.h"

namespace qvhost {

double CoefficientCovariance::Estimate(std::size_t parameter) const {
  return std::ldexp(parts_.estimates[parameter], parts_.exponents[parameter]);
}

double CoefficientCovariance::At(std::size_t row, std::size_t column) const {
  if (!parts_.variance) return std::numeric_limits<double>::quiet_NaN();
  const double element = parts_.matrix->GetElem(static_cast<int>(row), static_cast<int>(column));
  return std::ldexp(*parts_.variance * element, parts_.exponents[row] + parts_.exponents[column]);
}

CoefficientCovariance::Combination CoefficientCovariance::Combine(
    std::span<const std::size_t> parameters, std::span<const double> weights) const {
  // In the units of the matrix: that of the whole is in the range of a double more often.
  std::vector<double> scaled(weights.size());
  double value = 0.0;
  double form = 0.0;
  for (std::size_t i = 0; i < scaled.size(); ++i) {
    scaled[i] = std::ldexp(weights[i], parts_.exponents[parameters[i]]);
    value += scaled[i] * parts_.estimates[parameters[i]];
    const auto row = static_cast<int>(parameters[i]);
    double product = 0.5 * parts_.matrix->GetElem(row, row) * scaled[i];
    for (std::size_t j = 0; j < i; ++j) {
      product += parts_.matrix->GetElem(row, static_cast<int>(parameters[j])) * scaled[j];
    }
    form += 2.0 * product * scaled[i];
  }
  Combination result;
  result.value = Finite(value);
  // Rounding may take a form of 0 below it.
  if (parts_.variance) result.stdError = Finite(std::sqrt(*parts_.variance * std::max(form, 0.0)));
  return result;
}

}  // namespace qvhost
