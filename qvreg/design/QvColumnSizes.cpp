#include "qvreg/design/QvColumnSizes.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "qvreg/common/QvScaledProduct.h"

using QvCommon::QvScaledProduct;

namespace {

/// Columns of these magnitudes stay as they are.
constexpr long long kLeastMagnitude = -20;
constexpr long long kLargestMagnitude = 19;

constexpr double kLeastNormal = std::numeric_limits<double>::min();

int ExponentOf(long long magnitude) {
  const bool isUsual = magnitude >= kLeastMagnitude && magnitude <= kLargestMagnitude;
  return isUsual ? 0 : static_cast<int>(magnitude);
}

}  // namespace

void QvColumnSizes::SetVariables(const std::vector<int>& variables) {
  fVariables = variables;
  fLargest.assign(variables.size(), 0.0);
}

void QvColumnSizes::SetEffects(const std::vector<QvRegrParameter>& effects) {
  fProducts.clear();
  fMeasuredProducts.clear();
  for (const QvRegrParameter& effect : effects) {
    Product product;
    for (std::size_t i = 0; i < effect.GetCovariates().size(); ++i) {
      const auto power = static_cast<std::size_t>(effect.GetCovariateMultiplicities()[i]);
      product.fVariables.insert(product.fVariables.end(), power, effect.GetCovariates()[i]);
    }
    if (product.fVariables.size() > 1) fMeasuredProducts.push_back(fProducts.size());
    fProducts.push_back(std::move(product));
  }
}

void QvColumnSizes::Measure(Product& product, const double* record) {
  const int* variable = product.fVariables.data();
  const int* const last = variable + product.fVariables.size() - 1;
  double plain = record[*variable];
  double least = kLeastNormal;
  for (++variable; variable != last; ++variable) {
    plain *= record[*variable];
    least = std::min(least, std::fabs(plain));
  }
  plain *= record[*last];
  // An overflow is larger than fEnough or not a number; an underflow on the way shows in `least`.
  if (std::fabs(plain) <= product.fEnough && least >= kLeastNormal) return;
  MeasureScaled(product, record);
}

void QvColumnSizes::MeasureScaled(Product& product, const double* record) {
  QvScaledProduct value;
  for (const int variable : product.fVariables) value.Multiply(record[variable]);
  // What is 0 in the end may have overflowed on the way.
  product.fbPlain = product.fbPlain && value.IsPlain();
  if (!value.HasMagnitude()) return;
  if (value.IsPlain()) {
    product.fLargest = std::max(product.fLargest, std::fabs(value.InUnitsOf(0)));
    if (product.fLargest >= kLeastNormal) product.fEnough = product.fLargest;
    return;
  }
  const long long magnitude = value.GetMagnitude();
  product.fMagnitude = product.fbLarge ? std::max(product.fMagnitude, magnitude) : magnitude;
  product.fbLarge = true;
}

void QvColumnSizes::Merge(const QvColumnSizes& other) {
  for (std::size_t i = 0; i < fLargest.size(); ++i) {
    fLargest[i] = std::max(fLargest[i], other.fLargest[i]);
  }
  for (const std::size_t effect : fMeasuredProducts) {
    Product& product = fProducts[effect];
    const Product& added = other.fProducts[effect];
    product.fLargest = std::max(product.fLargest, added.fLargest);
    product.fEnough = std::max(product.fEnough, added.fEnough);
    product.fbPlain = product.fbPlain && added.fbPlain;
    if (!added.fbLarge) continue;
    product.fMagnitude =
        product.fbLarge ? std::max(product.fMagnitude, added.fMagnitude) : added.fMagnitude;
    product.fbLarge = true;
  }
}

QvColumnSizeContents QvColumnSizes::GetContents() const {
  QvColumnSizeContents contents;
  contents.fLargest = fLargest;
  for (const std::size_t effect : fMeasuredProducts) {
    const Product& product = fProducts[effect];
    contents.fProducts.push_back(
        {product.fLargest, product.fEnough, product.fbPlain, product.fbLarge, product.fMagnitude});
  }
  return contents;
}

bool QvColumnSizes::TakeContents(const QvColumnSizeContents& contents) {
  // A product of many numbers, each within 2^-1100 and 2^1100, has a magnitude far within these.
  constexpr long long kFarthest = 1 << 30;
  const auto isSize = [](double largest) { return largest >= 0.0 && !std::isinf(largest); };
  const bool isAlike = contents.fLargest.size() == fLargest.size() &&
                       contents.fProducts.size() == fMeasuredProducts.size() &&
                       std::all_of(contents.fLargest.begin(), contents.fLargest.end(), isSize);
  if (!isAlike) return false;
  fLargest = contents.fLargest;
  for (std::size_t i = 0; i < fMeasuredProducts.size(); ++i) {
    const QvColumnSizeContents::Product& taken = contents.fProducts[i];
    if (!isSize(taken.fLargest) || std::abs(taken.fMagnitude) > kFarthest) return false;
    Product& product = fProducts[fMeasuredProducts[i]];
    product.fLargest = taken.fLargest;
    product.fEnough = taken.fEnough;
    product.fbPlain = taken.fbPlain;
    product.fbLarge = taken.fbLarge;
    product.fMagnitude = taken.fMagnitude;
  }
  return true;
}

int QvColumnSizes::GetVariableExponent(int variable) const {
  const auto place = std::find(fVariables.begin(), fVariables.end(), variable);
  if (place == fVariables.end()) return 0;
  const double largest = fLargest[static_cast<std::size_t>(place - fVariables.begin())];
  return largest > 0.0 ? ExponentOf(std::ilogb(largest)) : 0;
}

int QvColumnSizes::GetEffectExponent(std::size_t effect) const {
  if (effect >= fProducts.size() || fProducts[effect].fVariables.empty()) return 0;
  const Product& product = fProducts[effect];
  if (product.fVariables.size() == 1) return GetVariableExponent(product.fVariables.front());
  if (product.fLargest == 0.0) return product.fbLarge ? ExponentOf(product.fMagnitude) : 0;
  const long long magnitude = std::ilogb(product.fLargest);
  return ExponentOf(product.fbLarge ? std::max(magnitude, product.fMagnitude) : magnitude);
}

bool QvColumnSizes::IsPlainProduct(std::size_t effect) const {
  return effect >= fProducts.size() || fProducts[effect].fbPlain;
}

std::vector<int> QvColumnSizes::GetParameterExponents(
    const std::vector<QvRegrParameter>& parameters) const {
  std::vector<int> exponents;
  exponents.reserve(parameters.size());
  for (const QvRegrParameter& parameter : parameters) {
    exponents.push_back(GetEffectExponent(static_cast<std::size_t>(parameter.GetEffectIndex())));
  }
  return exponents;
}
