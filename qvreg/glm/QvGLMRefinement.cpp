#include "qvreg/glm/QvGLMRefinement.h"

#include <cmath>
#include <cstddef>

#include "qvreg/common/QvPlatform.h"

using QvCommon::QvTwofold;

namespace {

/// The residual y - sum of coefficients[indices[a]] values[a] over n non-zeros; adds w times the
/// residual times each value to the gradient.
QVREG_FMA_CLONES
QvTwofold AccumulateGradient(int n, const int* indices, const double* values, double y, double w,
                             const double* coefficients, QvTwofold* gradient) {
  QvTwofold residual{y, 0.0};
  for (int a = 0; a < n; ++a) {
    residual.Add(QvTwofold::Product(-coefficients[indices[a]], values[a]));
  }
  const QvTwofold weighted = QvTwofold::Sum(residual.fHigh, residual.fLow).Times(w);
  for (int a = 0; a < n; ++a) gradient[indices[a]].Add(weighted.Times(values[a]));
  return residual;
}

}  // namespace

double QvGLMRefinement::AddRecord(const QvDesignRow& row, double y, double w,
                                  const std::vector<double>& estimates) {
  return AccumulateGradient(row.GetCount(), row.GetIndices().data(), row.GetValues().data(), y, w,
                            estimates.data(), fGradient.data())
      .Value();
}

double QvGLMRefinement::Apply(const QvCommon::QvSymMatrix& inverse, double factor,
                              std::vector<double>& estimates) const {
  double decrease = 0.0;
  for (std::size_t i = 0; i < estimates.size(); ++i) {
    QvTwofold correction;
    for (std::size_t j = 0; j < estimates.size(); ++j) {
      const double element = inverse.GetElem(static_cast<int>(i), static_cast<int>(j));
      // A gradient that is not finite spoils no correction that it has no part in.
      if (element != 0.0) correction.Add(QvTwofold::Product(element, fGradient[j].Value()));
    }
    const double change = factor * correction.Value();
    if (!std::isfinite(change)) continue;
    estimates[i] += change;
    decrease += change * fGradient[i].Value();
  }
  return decrease;
}
