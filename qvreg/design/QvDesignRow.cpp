#include "qvreg/design/QvDesignRow.h"

#include "qvreg/design/QvFactorTables.h"
#include "qvreg/settings/QvRegrParameter.h"

void QvDesignRow::Setup(const QvFactorTables& tables,
                        const std::vector<QvRegrParameter>& effectParameters) {
  fpFactorTables = &tables;
  fPowers.clear();
  fPowerOffsets.assign(1, 0);
  for (const QvRegrParameter& parameter : effectParameters) {
    for (std::size_t i = 0; i < parameter.GetCovariates().size(); ++i) {
      fPowers.push_back({parameter.GetCovariates()[i], parameter.GetCovariateMultiplicities()[i]});
    }
    fPowerOffsets.push_back(fPowers.size());
  }
  fIndices.assign(effectParameters.size() + 1, 0);
  fValues.assign(effectParameters.size() + 1, 0.0);
  fCount = 0;
}

double QvDesignRow::CovariateValue(std::size_t effect, const double* values) const {
  double product = 1.0;
  for (std::size_t i = fPowerOffsets[effect]; i < fPowerOffsets[effect + 1]; ++i) {
    const double value = values[fPowers[i].fVariable];
    for (int power = 0; power < fPowers[i].fMultiplicity; ++power) product *= value;
  }
  return product;
}

void QvDesignRow::Append(int index, double value) {
  fIndices[static_cast<std::size_t>(fCount)] = index;
  fValues[static_cast<std::size_t>(fCount)] = value;
  ++fCount;
}

bool QvDesignRow::Expand(const double* values) {
  bool ok = true;
  const std::vector<int>& indices = fpFactorTables->GetRowParameterIndices(values, ok);
  fCount = 0;
  for (std::size_t effect = 0; effect < indices.size(); ++effect) {
    if (indices[effect] < 0) continue;
    const double value = CovariateValue(effect, values);
    if (value != 0.0) Append(indices[effect], value);
  }
  return ok;
}

double QvDesignRow::InnerProduct(const std::vector<double>& coefficients) const {
  double sum = 0.0;
  for (std::size_t a = 0; a < static_cast<std::size_t>(fCount); ++a) {
    sum += coefficients[static_cast<std::size_t>(fIndices[a])] * fValues[a];
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
