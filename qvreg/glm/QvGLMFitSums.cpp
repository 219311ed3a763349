#include "qvreg/glm/QvGLMFitSums.h"

#include <algorithm>

#include "qvreg/common/QvPlatform.h"

using QvCommon::QvTwofold;

// Weighted before squared throughout: the square alone may leave the range of a double.
QVREG_FMA_CLONES
void QvGLMFitSums::Add(double w, double y, double residual) {
  if (w == 0.0) return;
  fResiduals.Add(QvTwofold::Product(w, residual).Times(residual));
  const double deviation = y - fMean;
  const QvTwofold weighted = QvTwofold::Product(w, deviation);
  fSquares.Add(weighted.Times(deviation));
  if (!fbCentred) return;
  fDeviations.Add(weighted);
  fWeights.Add({w, 0.0});
  if (fbEmpty) fFirst = y;
  fbEmpty = false;
  fbConstant = fbConstant && y == fFirst;
}

double QvGLMFitSums::GetTotalSum() const {
  if (!fbCentred) return fSquares.Value();
  // Nothing but rounding would be left of it.
  if (fbConstant) return 0.0;
  // What the mean lacks, in two parts.
  const double lacks = fDeviations.Value() / fWeights.Value();
  QvTwofold rest = fDeviations;
  rest.Add(fWeights.Times(-lacks));
  const double lacksToo = rest.Value() / fWeights.Value();
  QvTwofold total = fSquares;
  total.Add(fDeviations.Times(-lacks));
  total.Add(fDeviations.Times(-lacksToo));
  return std::max(total.Value(), 0.0);
}
