#include "qvreg/design/QvPivotSweep.h"

#include <cstddef>

#include "qvreg/component/QvStatusCodes.h"

using QvCommon::QvBitSet;
using QvCommon::QvStatus;

namespace {

/// Less than this of a diagonal may be nothing but rounding error.
constexpr double kDoubtfulShare = 1e-4;

}  // namespace

void QvPivotSweep::LookAgain(int k, double tolerance, const QvBitSet& kept) {
  const double original = fDiagonal[static_cast<std::size_t>(k)];
  const double left = fMatrix.GetElem(k, k);
  const bool isDoubtful = left > tolerance * original && left < kDoubtfulShare * original;
  if (!isDoubtful || fProducts.IsEmpty()) return;
  fRows.clear();
  fCoefficients.clear();
  for (int j = 0; j < k; ++j) {
    if (!kept.IsIn(j)) continue;
    fRows.push_back(j);
    fCoefficients.push_back(-fMatrix.GetElem(k, j));
  }
  fRows.push_back(k);
  fCoefficients.push_back(1.0);
  fMatrix.SetElem(k, k, fScale * fProducts.QuadraticForm(fRows, fCoefficients));
}

QvStatus QvPivotSweep::Run(int nPivots, int size, double tolerance, QvBitSet& kept,
                           QvCancelInfo& cancel) {
  const QvStatus noMemory(QvStatusCode::kTooManyParameters, false);
  if (!fMatrix.EndCompensation(fProducts)) return noMemory;
  if (fScale != 1.0) fMatrix.MultiplyByNumber(fScale);
  if (!fMatrix.GetDiagonal(fDiagonal) || !kept.Resize(size, false)) return noMemory;
  kept.Clear();
  for (int k = 0; k < nPivots; ++k) {
    if (cancel.IsCancel()) return {QvStatusCode::kCancelled, false};
    LookAgain(k, tolerance, kept);
    if (!fMatrix.Sweep(k, tolerance, fDiagonal, kept, true)) return noMemory;
  }
  return {};
}
