#include "qvreg/glm/QvGLMFitSums.h"

#include <algorithm>
#include <array>

#include "qvreg/common/QvPlatform.h"

using QvCommon::QvDoubleDouble;
using QvCommon::QvKernels;

namespace {

/// A record's share in the sums.
struct Terms {
  QvDoubleDouble residual;
  QvDoubleDouble square;
  QvDoubleDouble deviation;
};

/// Weighted before squared: the square alone may leave the range of a double.
QVREG_FMA_CLONES
Terms TermsOf(double w, double residual, double deviation) {
  const QvDoubleDouble weighted = QvDoubleDouble::Product(w, deviation);
  return {QvDoubleDouble::Product(w, residual).Times(residual), weighted.Times(deviation),
          weighted};
}

}  // namespace

void QvGLMFitSums::Add(double w, double y, double residual) {
  if (w == 0.0) return;
  const Terms terms = TermsOf(w, residual, y - fMean);
  fResiduals.Add(terms.residual);
  fSquares.Add(terms.square);
  if (!fbCentred) return;
  fDeviations.Add(terms.deviation);
  fWeights.Add({w, 0.0});
  NoteDependent(y);
}

void QvGLMFitSums::NoteDependent(double y) {
  if (fbEmpty) fFirst = y;
  fbEmpty = false;
  fbConstant = fbConstant && y == fFirst;
}

void QvGLMFitSums::AddMany(std::size_t n, const double* weights, const double* ys,
                           const double* residuals, const QvKernels& kernels) {
  std::array<double, QvKernels::kRows> used{};
  std::array<double, QvKernels::kRows> deviations{};
  for (std::size_t r = 0; r < n; ++r) {
    used[r] = weights[r];
    deviations[r] = ys[r] - fMean;
  }
  const auto addMoments = [&](const double* numbers, QvDoubleDouble& first,
                              QvDoubleDouble& second) {
    std::array<double, 2> firstSum{first.fHigh, first.fLow};
    std::array<double, 2> secondSum{second.fHigh, second.fLow};
    kernels.fAddMoments(used.data(), numbers, firstSum.data(), secondSum.data());
    first = {firstSum[0], firstSum[1]};
    second = {secondSum[0], secondSum[1]};
  };
  QvDoubleDouble ofResiduals;
  addMoments(residuals, ofResiduals, fResiduals);
  addMoments(deviations.data(), fDeviations, fSquares);
  if (!fbCentred) return;
  std::array<double, QvKernels::kRows> ones{};
  std::array<double, QvKernels::kRows> zeros{};
  ones.fill(1.0);
  kernels.fAddWeightedColumns(1, ones.data(), used.data(), zeros.data(), &fWeights.fHigh,
                              &fWeights.fLow);
  NoteDependents(n, weights, ys);
}

void QvGLMFitSums::NoteDependents(std::size_t n, const double* weights, const double* ys) {
  std::size_t first = 0;
  while (first < n && weights[first] == 0.0) ++first;
  if (first == n) return;
  NoteDependent(ys[first]);
  bool isConstant = fbConstant;
  for (std::size_t r = first; r < n; ++r) isConstant &= (ys[r] == fFirst) | (weights[r] == 0.0);
  fbConstant = isConstant;
}

double QvGLMFitSums::GetTotalSum() const {
  if (!fbCentred) return fSquares.Value();
  // Nothing but rounding would be left of it.
  if (fbConstant) return 0.0;
  // What the mean is off by, in two parts.
  const double error = fDeviations.Value() / fWeights.Value();
  QvDoubleDouble rest = fDeviations;
  rest.Add(fWeights.Times(-error));
  const double remainder = rest.Value() / fWeights.Value();
  QvDoubleDouble total = fSquares;
  total.Add(fDeviations.Times(-error));
  total.Add(fDeviations.Times(-remainder));
  return std::max(total.Value(), 0.0);
}

void QvGLMFitSums::Merge(const QvGLMFitSums& other) {
  fResiduals.Add(other.fResiduals);
  fSquares.Add(other.fSquares);
  fDeviations.Add(other.fDeviations);
  fWeights.Add(other.fWeights);
  if (other.fbEmpty) return;
  if (fbEmpty) fFirst = other.fFirst;
  fbEmpty = false;
  fbConstant = fbConstant && other.fbConstant && fFirst == other.fFirst;
}

void QvGLMFitSums::Write(QvCommon::QvByteWriter& writer) const {
  writer.PutDouble(fMean);
  writer.PutBool(fbCentred);
  writer.PutBool(fbEmpty);
  writer.PutBool(fbConstant);
  writer.PutDouble(fFirst);
  for (const QvDoubleDouble& sum : {fResiduals, fSquares, fDeviations, fWeights}) {
    writer.PutDouble(sum.fHigh);
    writer.PutDouble(sum.fLow);
  }
}

void QvGLMFitSums::Read(QvCommon::QvByteReader& reader) {
  const bool isSameMean = reader.GetDouble() == fMean;
  if (reader.GetBool() != fbCentred || !isSameMean) return reader.Fail();
  fbEmpty = reader.GetBool();
  fbConstant = reader.GetBool();
  fFirst = reader.GetDouble();
  for (QvDoubleDouble* sum : {&fResiduals, &fSquares, &fDeviations, &fWeights}) {
    sum->fHigh = reader.GetDouble();
    sum->fLow = reader.GetDouble();
  }
}
