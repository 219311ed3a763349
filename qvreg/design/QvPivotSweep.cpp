#include "qvreg/design/QvPivotSweep.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <span>

#include "qvreg/common/QvBlockSweep.h"
#include "qvreg/common/QvPlatform.h"
#include "qvreg/common/QvStatusCodes.h"

using QvCommon::QvBitSet;
using QvCommon::QvStatus;

namespace {

/// Less than this share of a diagonal may be much changed by rounding.
constexpr double kDoubtfulShare = 1e-4;
/// A form that refinement changes by no more than this share has settled.
constexpr double kSettledShare = 1e-6;
constexpr int kMostRefinements = 10;
/// Refinement that shrinks the form's change by less does not converge.
constexpr double kSlowestDecrease = 0.25;

/// Refinement squares the error: after a change as small as this one, coefficients are as accurate
/// as doubles allow.
constexpr double kLastChange = 0x1p-27;
/// Coefficients that would change by no more than this stay as they are.
constexpr double kNegligibleChange = 1e-12;
/// An inverse of more columns would take longer to refine than to find.
constexpr std::size_t kMostRefinedColumns = 1000;

/// A row x of n elements left of the diagonal, and the diagonal x[n], enter -X g twice: subtracts
/// g[n] x from the sums of the columns, and returns minus the row's own product with g.
QVREG_FMA_CLONES
double SubtractRow(std::size_t n, const double* QVREG_RESTRICT x, const double* QVREG_RESTRICT g,
                   double* QVREG_RESTRICT sums) {
  constexpr std::size_t kLanes = 8;
  std::array<double, kLanes> products{};
  const double own = g[n];
  std::size_t j = 0;
  for (; j + kLanes <= n; j += kLanes) {
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
      sums[j + lane] -= own * x[j + lane];
      products[lane] -= g[j + lane] * x[j + lane];
    }
  }
  for (; j < n; ++j) {
    sums[j] -= own * x[j];
    products[0] -= g[j] * x[j];
  }
  return std::accumulate(products.begin(), products.end(), 0.0) - own * x[n];
}

std::size_t Index(int i) { return static_cast<std::size_t>(i); }

}  // namespace

bool QvPivotSweep::IsDoubtful(int k) const {
  // A comparison that is false for what is not a number: such a column is dropped as it is.
  return !fProducts.IsEmpty() && fMatrix.GetElem(k, k) < kDoubtfulShare * fDiagonal[Index(k)];
}

void QvPivotSweep::LoadCoefficients(int row) {
  fCoefficients.clear();
  for (const int j : fKept) fCoefficients.push_back(-fMatrix.GetElem(row, j));
}

void QvPivotSweep::StoreCoefficients(int row) {
  for (std::size_t i = 0; i < fKept.size(); ++i) fMatrix.SetElem(row, fKept[i], -fCoefficients[i]);
}

void QvPivotSweep::RecomputePivot(int k, double tolerance) {
  LoadCoefficients(k);
  double form = RefineForm(tolerance * fDiagonal[Index(k)]);
  if (form <= RoundingOfForm(k)) form = 0.0;
  StoreRow(k, form);
}

double QvPivotSweep::RefineForm(double enough) {
  double form = fScale * fProducts.QuadraticForm(fCoefficients, fGradient);
  double last = std::numeric_limits<double>::infinity();
  // Refinement only lowers the form: a column that depends on the others needs none.
  for (int step = 0; step < kMostRefinements && form > enough; ++step) {
    const double decrease = FindCorrection();
    if (!(decrease < kSlowestDecrease * last)) break;
    for (std::size_t i = 0; i < fCoefficients.size(); ++i) fCoefficients[i] += fCorrection[i];
    form = fScale * fProducts.QuadraticForm(fCoefficients, fGradient);
    if (decrease <= kSettledShare * form) break;
    last = decrease;
  }
  return form;
}

const double* QvPivotSweep::InverseRow(std::size_t i) {
  if (!fInverse.empty()) return fInverse.data() + i * (i + 1) / 2;
  fRow.resize(fKept.size());
  fMatrix.GetRowElems(fKept[i], std::span(fKept).first(i + 1), fRow);
  return fRow.data();
}

void QvPivotSweep::PackInverse() {
  const std::size_t n = fKept.size();
  fInverse.resize(n * (n + 1) / 2);
  for (std::size_t i = 0; i < n; ++i) {
    fMatrix.GetRowElems(fKept[i], std::span(fKept).first(i + 1),
                        std::span(fInverse).subspan(i * (i + 1) / 2, i + 1));
  }
}

double QvPivotSweep::FindCorrection() {
  const std::size_t n = fKept.size();
  fCorrection.resize(n);
  fScaled.resize(n);
  for (std::size_t i = 0; i < n; ++i) fScaled[i] = fScale * fGradient[i];
  for (std::size_t i = 0; i < n; ++i) {
    fCorrection[i] = SubtractRow(i, InverseRow(i), fScaled.data(), fCorrection.data());
  }
  double decrease = 0.0;
  for (std::size_t i = 0; i < n; ++i) decrease -= fCorrection[i] * fScaled[i];
  return decrease;
}

double QvPivotSweep::RoundingOfForm(int k) const {
  // The coefficients are rounded, and so are columns that are products of covariates.
  constexpr double kUnit = 2.0 * std::numeric_limits<double>::epsilon();
  double size = std::sqrt(fDiagonal[Index(k)]);
  for (std::size_t i = 0; i < fKept.size(); ++i) {
    size += std::abs(fCoefficients[i]) * std::sqrt(fDiagonal[Index(fKept[i])]);
  }
  const double error = std::max(kUnit, std::sqrt(fRounding)) * size;
  return error * error;
}

void QvPivotSweep::StoreRow(int k, double pivot) {
  fMatrix.SetElem(k, k, pivot);
  StoreCoefficients(k);
  if (pivot <= 0.0) return;
  for (int l = k + 1; l < fMatrix.GetOrder(); ++l) {
    // The rounding of the coefficients, which the gradient shows, enters here to the first order.
    double rounding = 0.0;
    for (std::size_t i = 0; i < fKept.size(); ++i) {
      rounding += fGradient[i] * fMatrix.GetElem(l, fKept[i]);
    }
    fMatrix.SetElem(l, k, fScale * (fProducts.Product(l, fCoefficients) - rounding));
  }
}

void QvPivotSweep::NoteRedundant(int k) {
  if (!std::isfinite(fDiagonal[Index(k)])) return;
  // Before later pivots change the row, which should not concern it, by what rounding left there.
  LoadCoefficients(k);
  for (double& coefficient : fCoefficients) coefficient = -coefficient;
  fRedundant.Add(k, fKept, fCoefficients, fDiagonal);
}

double QvPivotSweep::FindRelativeChange() {
  fProducts.QuadraticForm(fCoefficients, fGradient);
  FindCorrection();
  double change = 0.0;
  for (std::size_t i = 0; i < fCoefficients.size(); ++i) {
    if (fCorrection[i] == 0.0) continue;
    change = std::max(change, std::abs(fCorrection[i] / fCoefficients[i]));
  }
  return change;
}

bool QvPivotSweep::RefineCoefficients(double negligible) {
  double last = std::numeric_limits<double>::infinity();
  for (int step = 0; step < kMostRefinements; ++step) {
    const double change = FindRelativeChange();
    if (step == 0 && change <= negligible) return false;
    if (!(change < kSlowestDecrease * last)) break;
    for (std::size_t i = 0; i < fCoefficients.size(); ++i) fCoefficients[i] += fCorrection[i];
    if (change <= kLastChange) break;
    last = change;
  }
  return true;
}

bool QvPivotSweep::RefineRows(int first) {
  bool refined = false;
  for (int row = first; row < fMatrix.GetOrder(); ++row) {
    LoadCoefficients(row);
    fProducts.SelectRow(row);
    if (!RefineCoefficients(kNegligibleChange)) continue;
    StoreCoefficients(row);
    refined = true;
  }
  return refined;
}

bool QvPivotSweep::RefineInverse(QvCancelInfo& cancel) {
  if (fKept.size() > kMostRefinedColumns) return true;
  // The inverse that finds the corrections stays as it is until all its columns are refined.
  PackInverse();
  std::vector<double> refined;
  refined.reserve(fInverse.size());
  int unit = 0;
  for (const int row : fKept) {
    if (cancel.IsCancel()) return false;
    LoadCoefficients(row);
    for (double& coefficient : fCoefficients) coefficient = -coefficient;
    fProducts.SelectUnit(unit, -1.0 / fScale);
    RefineCoefficients(0.0);
    ++unit;
    refined.insert(refined.end(), fCoefficients.begin(), fCoefficients.begin() + unit);
  }
  std::size_t next = 0;
  for (std::size_t i = 0; i < fKept.size(); ++i) {
    for (std::size_t j = 0; j <= i; ++j) fMatrix.SetElem(fKept[i], fKept[j], refined[next++]);
  }
  return true;
}

QvStatus QvPivotSweep::SweepPivots(int nPivots, double tolerance, QvBitSet& kept,
                                   QvCancelInfo& cancel) {
  const QvStatus cancelled(QvStatusCode::kCancelled, false);
  const QvCommon::QvStopQuery isStopped = [&cancel] { return cancel.IsCancel(); };
  QvCommon::QvBlockSweep blocks(fMatrix, tolerance, fDiagonal, kept, isStopped);
  for (int k = 0; k < nPivots; ++k) {
    if (cancel.IsCancel() || !blocks.Advance(k)) return cancelled;
    if (!fProducts.IsEmpty()) fProducts.SelectRow(k);
    if (IsDoubtful(k)) {
      // All that was swept so far enters.
      if (!blocks.Settle()) return cancelled;
      RecomputePivot(k, tolerance);
    }
    if (!blocks.Sweep(k)) return {QvStatusCode::kTooManyParameters, false};
    if (!kept.IsIn(k)) {
      // All that was swept so far enters its row, too.
      if (std::isfinite(fDiagonal[Index(k)]) && !blocks.Settle()) return cancelled;
      NoteRedundant(k);
      continue;
    }
    fKept.push_back(k);
    if (!fProducts.IsEmpty()) fProducts.KeepRow();
  }
  return blocks.Settle() ? QvStatus() : cancelled;
}

QvStatus QvPivotSweep::Run(int nPivots, int size, double tolerance, QvBitSet& kept,
                           QvCancelInfo& cancel) {
  const QvStatus noMemory(QvStatusCode::kTooManyParameters, false);
  if (!fMatrix.EndCompensation(fProducts)) return noMemory;
  if (fScale != 1.0) fMatrix.MultiplyByNumber(fScale);
  if (!fMatrix.GetDiagonal(fDiagonal) || !kept.Resize(size, false)) return noMemory;
  kept.Clear();
  const QvStatus status = SweepPivots(nPivots, tolerance, kept, cancel);
  if (status.IsError()) return status;
  if (fProducts.IsEmpty() || !RefineRows(nPivots)) return {};
  return RefineInverse(cancel) ? QvStatus() : QvStatus(QvStatusCode::kCancelled, false);
}
