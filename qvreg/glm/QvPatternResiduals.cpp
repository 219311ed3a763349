#include "qvreg/glm/QvPatternResiduals.h"

#include <array>
#include <numeric>

using QvCommon::QvDoubleDouble;
using QvCommon::QvKernels;

void QvPatternResiduals::SetUp(const QvDesignRow& row, const QvFactorTables& tables,
                               std::size_t nParameters, bool isRefined) {
  fbRefined = isRefined;
  fNumbers.resize(nParameters);
  std::iota(fNumbers.begin(), fNumbers.end(), 0);
  fNValues = CountValues(row, tables, fNumbers);
  fNLanes = QvKernels::WholeLanes(fNValues);
  SetUpRows(row, tables, fNumbers, fNLanes, 2 * (fNValues + (isRefined ? fNLanes : 0)));
  for (std::vector<double>* columns : {&fColumns, &fCoefficients, &fCoefficientLows}) {
    columns->assign(kRows * fNValues, 0.0);
  }
}

std::size_t QvPatternResiduals::Add(std::span<const double* const> records, const double* weights,
                                    const double* dependents, const std::vector<double>& estimates,
                                    QvGLMFitSums& sums, std::vector<QvDoubleDouble>& gradient) {
  fpEstimates = &estimates;
  fpSums = &sums;
  fpGradient = &gradient;
  return Take(records, weights, dependents);
}

void QvPatternResiduals::MoveTo(QvGLMFitSums& sums, std::vector<QvDoubleDouble>& gradient) {
  fpSums = &sums;
  fpGradient = &gradient;
  SettleAll();
}

void QvPatternResiduals::Begin(int pattern, double* entry) {
  const std::span<const int> columns = GetPatterns().GetColumns(pattern);
  const std::span<const int> places = GetPatterns().GetPlaces(pattern);
  for (std::size_t k = 0; k < columns.size(); ++k) {
    const auto place = static_cast<std::size_t>(places[k]);
    QvDoubleDouble sum{entry[place], entry[fNValues + place]};
    sum.Add({(*fpEstimates)[static_cast<std::size_t>(columns[k])], 0.0});
    entry[place] = sum.fHigh;
    entry[fNValues + place] = sum.fLow;
  }
}

void QvPatternResiduals::FillColumns() {
  for (std::size_t r = 0; r < GetRowCount(); ++r) {
    const double* row = GetRow(r);
    const double* entry = GetEntry(GetRowPatterns()[r]);
    for (std::size_t j = 0; j < fNValues; ++j) {
      fColumns[j * kRows + r] = row[j];
      fCoefficients[j * kRows + r] = entry[j];
      fCoefficientLows[j * kRows + r] = entry[fNValues + j];
    }
  }
}

void QvPatternResiduals::AddPanel() {
  FillColumns();
  fHigh = fbRefined ? GetDependents() : Numbers{};
  fLow.fill(0.0);
  fpKernels->fSubtractRowProducts(fNValues, fColumns.data(), fCoefficients.data(),
                                  fCoefficientLows.data(), fHigh.data(), fLow.data());
  Numbers residuals{};
  for (std::size_t r = 0; r < GetRowCount(); ++r) {
    residuals[r] = (fbRefined ? 0.0 : GetDependents()[r]) + (fHigh[r] + fLow[r]);
  }
  fpSums->AddMany(GetRowCount(), GetWeights().data(), GetDependents().data(), residuals.data(),
                  *fpKernels);
  if (fbRefined) AddToGradients();
}

void QvPatternResiduals::AddToGradients() {
  std::array<double*, kRows> sums{};
  for (std::size_t r = 0; r < GetRowCount(); ++r) {
    const QvDoubleDouble weighted = QvDoubleDouble::Sum(fHigh[r], fLow[r]).Times(GetWeights()[r]);
    fHigh[r] = weighted.fHigh;
    fLow[r] = weighted.fLow;
    sums[r] = GetEntry(GetRowPatterns()[r]) + 2 * fNValues;
  }
  fpKernels->fAddWeightedRows(GetRowCount(), fNLanes, fHigh.data(), fLow.data(), GetRow(0),
                              sums.data());
}

void QvPatternResiduals::Move(int pattern, const double* entry) {
  if (!fbRefined) return;
  const std::span<const int> columns = GetPatterns().GetColumns(pattern);
  const std::span<const int> places = GetPatterns().GetPlaces(pattern);
  const double* gradient = entry + 2 * fNValues;
  for (std::size_t k = 0; k < columns.size(); ++k) {
    const auto place = static_cast<std::size_t>(places[k]);
    (*fpGradient)[static_cast<std::size_t>(columns[k])].Add(
        {gradient[place], gradient[fNLanes + place]});
  }
}
