#include "qvreg/design/QvDesignRow.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "qvreg/common/QvBitSet.h"
#include "qvreg/common/QvScaledProduct.h"
#include "qvreg/design/QvFactorTables.h"
#include "qvreg/settings/QvRegrParameter.h"

namespace {

/// Powers of two within it have an inverse that is a normal double.
constexpr int kLargestFactorExponent = 1022;

}  // namespace

void QvDesignRow::Setup(const QvFactorTables& tables,
                        const std::vector<QvRegrParameter>& effectParameters,
                        const std::vector<int>& covariateVars, const std::vector<int>& positions) {
  fpFactorTables = &tables;
  fMultipliers.clear();
  fMultiplierOffsets.assign(1, 0);
  fSingles.clear();
  fFactors.clear();
  fbDivided = false;
  fExponents.clear();
  fNeedsScaling.clear();
  for (const QvRegrParameter& parameter : effectParameters) {
    for (std::size_t i = 0; i < parameter.GetCovariates().size(); ++i) {
      const auto place =
          std::find(covariateVars.begin(), covariateVars.end(), parameter.GetCovariates()[i]);
      const auto power = static_cast<std::size_t>(parameter.GetCovariateMultiplicities()[i]);
      fMultipliers.insert(fMultipliers.end(), power,
                          positions[static_cast<std::size_t>(place - covariateVars.begin())]);
    }
    const std::size_t effect = fExponents.size();
    const int exponent = tables.GetColumnSizes().GetEffectExponent(effect);
    const bool isSingle = fMultipliers.size() == fMultiplierOffsets.back() + 1 &&
                          std::abs(exponent) <= kLargestFactorExponent;
    fSingles.push_back(isSingle ? fMultipliers.back() : -1);
    fFactors.push_back(isSingle ? std::ldexp(1.0, -exponent) : 1.0);
    fbDivided = fbDivided || fFactors.back() != 1.0;
    fExponents.push_back(exponent);
    const bool needsScaling = exponent != 0 || !tables.GetColumnSizes().IsPlainProduct(effect);
    fNeedsScaling.push_back(static_cast<char>(needsScaling));
    fMultiplierOffsets.push_back(fMultipliers.size());
  }
  fbAllColumns = tables.GetModelEffectIndices().empty();
  FindAlike();
  FindPieces();
  fIndices.resize(effectParameters.size() + 1);
  fValues.resize(effectParameters.size() + 1);
  fCount = 0;
}

double QvDesignRow::PlainProduct(std::size_t effect, const double* values) const {
  double product = 1.0;
  for (std::size_t i = fMultiplierOffsets[effect]; i < fMultiplierOffsets[effect + 1]; ++i) {
    product *= values[fMultipliers[i]];
  }
  return product;
}

double QvDesignRow::ScaledProduct(std::size_t effect, const double* values, int exponent,
                                  std::size_t step) const {
  QvCommon::QvScaledProduct product;
  for (std::size_t i = fMultiplierOffsets[effect]; i < fMultiplierOffsets[effect + 1]; ++i) {
    product.Multiply(values[static_cast<std::size_t>(fMultipliers[i]) * step]);
  }
  return product.InUnitsOf(exponent);
}

double QvDesignRow::ProductValue(std::size_t effect, const double* values) const {
  return fNeedsScaling[effect] != 0 ? ScaledProduct(effect, values, fExponents[effect])
                                    : PlainProduct(effect, values);
}

double QvDesignRow::HostValue(std::size_t effect, const double* values) const {
  return fNeedsScaling[effect] != 0 ? ScaledProduct(effect, values, 0)
                                    : PlainProduct(effect, values);
}

void QvDesignRow::FillColumn(std::size_t effect, const double* panel, double* column) const {
  const int single = fSingles[effect];
  if (single < 0 && fNeedsScaling[effect] != 0) {
    for (std::size_t r = 0; r < kPanelRows; ++r) {
      column[r] = ScaledProduct(effect, panel + r, fExponents[effect], kPanelRows);
    }
    return;
  }
  // A factor of 1, or a power of two for a single covariate: its product is the same in any order.
  std::fill_n(column, kPanelRows, fFactors[effect]);
  for (std::size_t i = fMultiplierOffsets[effect]; i < fMultiplierOffsets[effect + 1]; ++i) {
    const double* multiplier = panel + static_cast<std::size_t>(fMultipliers[i]) * kPanelRows;
    for (std::size_t r = 0; r < kPanelRows; ++r) column[r] *= multiplier[r];
  }
}

void QvDesignRow::FindAlike() {
  std::map<std::tuple<std::vector<int>, int, char>, std::size_t> first;
  fFirstAlike.clear();
  for (std::size_t effect = 0; effect < fExponents.size(); ++effect) {
    const auto at = [&](std::size_t e) {
      return fMultipliers.begin() + static_cast<std::ptrdiff_t>(fMultiplierOffsets[e]);
    };
    const auto entry = first.try_emplace(
        {std::vector<int>(at(effect), at(effect + 1)), fExponents[effect], fNeedsScaling[effect]},
        effect);
    fFirstAlike.push_back(entry.first->second);
  }
}

void QvDesignRow::FindPieces() {
  fPieces.clear();
  for (std::size_t effect = 0; effect < fSingles.size(); ++effect) {
    const int position = GetCopiedPosition(effect);
    const bool isNext =
        position >= 0 && !fPieces.empty() && fPieces.back().fPosition >= 0 &&
        fPieces.back().fPosition + static_cast<int>(fPieces.back().fCount) == position;
    if (isNext) {
      ++fPieces.back().fCount;
    } else {
      fPieces.push_back({effect, position, 1});
    }
  }
}

void QvDesignRow::Append(int index, double value) {
  fIndices[static_cast<std::size_t>(fCount)] = index;
  fValues[static_cast<std::size_t>(fCount)] = value;
  ++fCount;
}

void QvDesignRow::Remove(const QvCommon::QvBitSet& columns) {
  const auto count = static_cast<std::size_t>(fCount);
  fCount = 0;
  for (std::size_t a = 0; a < count; ++a) {
    if (!columns.IsIn(fIndices[a])) Append(fIndices[a], fValues[a]);
  }
}

namespace {

/// Takes the zeros out of a row of n values; how many stay. Written without a branch, since which
/// are zero cannot be predicted: a zero is overwritten by the next value.
std::size_t RemoveZeros(std::size_t n, int* indices, double* values) {
  std::size_t count = 0;
  for (std::size_t k = 0; k < n; ++k) {
    const int index = indices[k];
    const double value = values[k];
    indices[count] = index;
    values[count] = value;
    count += static_cast<std::size_t>((index >= 0) & (value != 0.0));
  }
  return count;
}

constexpr auto kSameNumber = [](int column) { return column; };

}  // namespace

template <typename Value, typename Number>
std::size_t QvDesignRow::Fill(Value&& value, const std::vector<int>& parameterIndices,
                              Number&& number, int* outIndices, double* outValues) {
  const int* columns = parameterIndices.data();
  const std::size_t nEffects = parameterIndices.size();
  bool hasZero = false;
  for (std::size_t effect = 0; effect < nEffects; ++effect) {
    const double design = value(effect);
    const int index = number(columns[effect]);
    outIndices[effect] = index;
    outValues[effect] = design;
    hasZero |= (index < 0) | (design == 0.0);
  }
  return hasZero ? RemoveZeros(nEffects, outIndices, outValues) : nEffects;
}

template <typename Use>
auto QvDesignRow::WithEstimationValues(const double* values, Use&& use) const {
  const int* singles = fSingles.data();
  const double* factors = fFactors.data();
  const auto plain = [this, values, singles](std::size_t effect) {
    const int position = singles[effect];
    return position >= 0 ? values[position] : ProductValue(effect, values);
  };
  const auto divided = [this, values, singles, factors](std::size_t effect) {
    const int position = singles[effect];
    return position >= 0 ? values[position] * factors[effect] : ProductValue(effect, values);
  };
  return fbDivided ? use(divided) : use(plain);
}

template <typename Number>
std::size_t QvDesignRow::FillForEstimation(const double* values,
                                           const std::vector<int>& parameterIndices,
                                           Number&& number, int* outIndices,
                                           double* outValues) const {
  return WithEstimationValues(values, [&](const auto& value) {
    return Fill(value, parameterIndices, number, outIndices, outValues);
  });
}

void QvDesignRow::ExpandAll(const double* values, double* row) const {
  for (const Piece& piece : fPieces) {
    if (piece.fPosition >= 0) {
      std::copy_n(values + piece.fPosition, piece.fCount, row + piece.fEffect);
    } else {
      row[piece.fEffect] = ValueOf(piece.fEffect, values);
    }
  }
}

bool QvDesignRow::Expand(const double* values) {
  bool ok = true;
  ExpandIndices(values, fpFactorTables->GetRowParameterIndices(values, ok));
  return ok;
}

bool QvDesignRow::ExpandInHostUnits(const double* values) {
  bool ok = true;
  const std::vector<int>& indices = fpFactorTables->GetRowParameterIndices(values, ok);
  const auto value = [&](std::size_t effect) { return HostValue(effect, values); };
  fCount = static_cast<int>(Fill(value, indices, kSameNumber, fIndices.data(), fValues.data()));
  return ok;
}

void QvDesignRow::ExpandIndices(const double* values, const std::vector<int>& parameterIndices) {
  fCount = static_cast<int>(
      FillForEstimation(values, parameterIndices, kSameNumber, fIndices.data(), fValues.data()));
}

void QvDesignRow::ExpandNumbered(const double* values, const std::vector<int>& parameterIndices,
                                 const std::vector<int>& numbers, std::vector<int>& outIndices,
                                 std::vector<double>& outValues) const {
  const int* numberOf = numbers.data();
  const auto number = [numberOf](int column) { return column < 0 ? column : numberOf[column]; };
  outIndices.resize(parameterIndices.size());
  outValues.resize(parameterIndices.size());
  const std::size_t count =
      FillForEstimation(values, parameterIndices, number, outIndices.data(), outValues.data());
  outIndices.resize(count);
  outValues.resize(count);
}

double QvDesignRow::InnerProduct(const std::vector<double>& coefficients, int offset) const {
  const double* block = coefficients.data() + offset;
  double sum = 0.0;
  for (std::size_t a = 0; a < static_cast<std::size_t>(fCount); ++a) {
    sum += block[fIndices[a]] * fValues[a];
  }
  return sum;
}

void QvDesignRow::Scatter(std::vector<double>& row) const {
  for (std::size_t a = 0; a < static_cast<std::size_t>(fCount); ++a) {
    row[static_cast<std::size_t>(fIndices[a])] = fValues[a];
  }
}

void QvDesignRow::Unscatter(std::vector<double>& row) const {
  for (std::size_t a = 0; a < static_cast<std::size_t>(fCount); ++a) {
    row[static_cast<std::size_t>(fIndices[a])] = 0.0;
  }
}
