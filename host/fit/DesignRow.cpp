#include "host/fit/DesignRow.h"

#include <cmath>
#include <cstddef>

#include "host/fit/ScaledEstimates.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace qvhost {

DesignRow::DesignRow(const IQvRegOutputStats& output, QvScorer& scorer, Columns columns)
    : scorer_(scorer) {
  const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&output);
  const std::size_t blocks = logistic == nullptr ? 1 : logistic->GetDependCategories().size() - 1;
  const QvCommon::QvBitSet& kept = output.GetRedundancyIndicators();
  isKept_.resize(output.GetParamEstimates().size() / blocks);
  for (std::size_t i = 0; i < isKept_.size(); ++i) {
    isKept_[i] = columns == Columns::kAll || kept.IsIn(static_cast<int>(i));
  }
  // The rows of a linear model come divided.
  exponents_.assign(isKept_.size(), 0);
  if (logistic == nullptr) return;
  const std::vector<int>& exponents = ScaledEstimatesOf(output).exponents;
  for (std::size_t i = 0; i < exponents_.size(); ++i) exponents_[i] = -exponents[i];
}

bool DesignRow::Expand(const QvCommon::Record& record) {
  places_.clear();
  values_.clear();
  const bool isWhole = scorer_.ExpandRow(record, places_, values_);
  std::size_t count = 0;
  for (std::size_t i = 0; i < places_.size(); ++i) {
    if (places_[i] < 0 || values_[i] == 0.0) continue;
    const auto place = static_cast<std::size_t>(places_[i]);
    if (!isKept_[place]) continue;
    places_[count] = places_[i];
    values_[count] =
        exponents_[place] == 0 ? values_[i] : std::ldexp(values_[i], exponents_[place]);
    ++count;
  }
  places_.resize(count);
  values_.resize(count);
  return isWhole;
}

double DesignRow::SquareForm(const QvCommon::QvSymMatrixData& matrix, int first) const {
  double sum = 0.0;
  for (std::size_t i = 0; i < places_.size(); ++i) {
    const int row = first + places_[i];
    double product = 0.5 * matrix.GetElem(row, row) * values_[i];
    for (std::size_t j = 0; j < i; ++j) {
      product += matrix.GetElem(row, first + places_[j]) * values_[j];
    }
    sum += 2.0 * product * values_[i];
  }
  return sum;
}

double DesignRow::Form(const QvCommon::QvSymMatrixData& matrix, int i, int j) const {
  if (i == j) return SquareForm(matrix, i * BlockSize());
  double sum = 0.0;
  for (std::size_t a = 0; a < places_.size(); ++a) {
    const int row = i * BlockSize() + places_[a];
    double product = 0.0;
    for (std::size_t b = 0; b < places_.size(); ++b) {
      product += matrix.GetElem(row, j * BlockSize() + places_[b]) * values_[b];
    }
    sum += product * values_[a];
  }
  return sum;
}

}  // namespace qvhost
