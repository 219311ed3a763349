// The means of covariates.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvKernels.h"
#include "qvreg/design/QvFactorTables.h"

using QvCommon::QvKernels;
using QvCommon::QvWeightUnit;

namespace {

/// Means leave no range as long as their weights add up to fewer units.
constexpr double kManyUnits = 0x1p+64;

/// The mean of values of total weight `total` once value x, of weight w, is among them, where the
/// difference of the two leaves the range of a double: a quarter of it does not.
double MovedLargeMean(double mean, double x, double total, double w) {
  return 4.0 * (mean / 4.0 + (x / 4.0 - mean / 4.0) / total * w);
}

/// The mean of values of total weight `total` once value x, of weight w, is among them.
double MovedMean(double mean, double x, double total, double w) {
  double moved = mean + (x - mean) / total * w;
  if (std::isinf(moved) && std::isfinite(x)) moved = MovedLargeMean(mean, x, total, w);
  // What is left where a mean passes through 0 is cancellation, not data.
  const bool isResidue = std::fabs(moved) < std::fabs(mean) * (2.0 * QvPower::gMachineEpsilon);
  return isResidue ? 0.0 : moved;
}

}  // namespace

double QvFactorTables::AddMeanWeight(double frequency, double regression) {
  const bool isFinite = std::isfinite(frequency) && std::isfinite(regression);
  double w = fMeanUnit.Of(frequency, regression);
  const bool fits = fMeanWeight > 0.0 && fMeanWeight + w < kManyUnits;
  if (!fits && isFinite && frequency > 0.0 && regression > 0.0) {
    const QvWeightUnit unit(frequency, regression);
    const int larger = unit.GetExponent() - fMeanUnit.GetExponent();
    if (fMeanWeight == 0.0 || larger > 0) {
      fMeanWeight = std::ldexp(fMeanWeight, -larger);
      fMeanUnit = unit;
      w = unit.Of(frequency, regression);
    }
  }
  fMeanWeight += w;
  return w;
}

void QvFactorTables::MoveMeans(MeanRows& rows) {
  for (const CovariateRun& run : fCovariateRuns) {
    if (rows.fCount > 0 && !MoveMeansTogether(rows, run)) MoveMeansOneByOne(rows, run);
  }
  rows.fCount = 0;
}

bool QvFactorTables::MoveMeansTogether(const MeanRows& rows, const CovariateRun& run) {
  // Fewer values, as of short records that come one by one, cost less without a kernel.
  constexpr std::size_t kFewValues = 32;
  if (run.fCount < QvKernels::kLanes || rows.fCount * run.fCount < kFewValues) return false;
  double* means = &fCovariateMeans[run.fPlace];
  double* sizes = fColumnSizes.GetLargest(run.fPlace);
  const std::array<const double*, 2> before{means, sizes};
  const std::array<double*, 2> after{fMoved.data(), &fMoved[run.fCount]};
  std::array<const double*, MeanRows::kMost> values{};
  for (std::size_t r = 0; r < rows.fCount; ++r) values[r] = rows.fValues[r] + run.fFirst;
  if (!QvKernels::Get().fMoveMeans(rows.fCount, values.data(), run.fCount, rows.fWeights.data(),
                                   rows.fTotals.data(), before.data(), after.data())) {
    return false;
  }
  std::copy_n(after[0], run.fCount, means);
  std::copy_n(after[1], run.fCount, sizes);
  return true;
}

void QvFactorTables::MoveMeansOneByOne(const MeanRows& rows, const CovariateRun& run) {
  for (std::size_t r = 0; r < rows.fCount; ++r) {
    const double* values = rows.fValues[r] + run.fFirst;
    for (std::size_t j = 0; j < run.fCount; ++j) {
      double& mean = fCovariateMeans[run.fPlace + j];
      fColumnSizes.MeasureVariable(run.fPlace + j, values[j]);
      mean = MovedMean(mean, values[j], rows.fTotals[r], rows.fWeights[r]);
    }
  }
}

void QvFactorTables::MergeMeans(const QvFactorTables& other) {
  if (!(other.fMeanWeight > 0.0)) return;
  double w = other.fMeanWeight;
  const int larger = other.fMeanUnit.GetExponent() - fMeanUnit.GetExponent();
  if (!(fMeanWeight > 0.0)) {
    fMeanUnit = other.fMeanUnit;
    fCovariateMeans = other.fCovariateMeans;
    fMeanWeight = w;
    return;
  }
  if (larger > 0) {
    fMeanWeight = std::ldexp(fMeanWeight, -larger);
    fMeanUnit = other.fMeanUnit;
  } else {
    w = std::ldexp(w, larger);
  }
  fMeanWeight += w;
  for (std::size_t j = 0; j < fCovariateMeans.size(); ++j) {
    fCovariateMeans[j] = MovedMean(fCovariateMeans[j], other.fCovariateMeans[j], fMeanWeight, w);
  }
}

const std::vector<double>& QvFactorTables::GetCovariateMeans() {
  if (!fbMeansComputed && !(fTotalFreqWeight > 0.0)) {
    std::fill(fCovariateMeans.begin(), fCovariateMeans.end(), QvMV::gMissingValue);
  }
  for (double& mean : fCovariateMeans) {
    if (!std::isfinite(mean)) mean = QvMV::gMissingValue;
  }
  fbMeansComputed = true;
  return fCovariateMeans;
}
