#include "qvreg/c/qvreg_c_scaled.h"

#include "qvreg/c/QvCCall.h"
#include "qvreg/c/QvCCheck.h"
#include "qvreg/c/QvCHandles.h"
#include "qvreg/c/QvCList.h"
#include "qvreg/c/QvCMatrix.h"
#include "qvreg/c/QvCStruct.h"
#include "qvreg/common/Constants.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/logistic/QvLogOutputStats.h"

using QvCCheck::Valid;

namespace {

/// Calls `visit` with the statistics as those of their model.
template <typename Visit>
auto Visited(const qvreg_results* results, Visit&& visit) {
  const IQvRegOutputStats& stats = Valid(results).fStats;
  if (const auto* linear = dynamic_cast<const QvGLMOutputStats*>(&stats)) return visit(*linear);
  return visit(dynamic_cast<const QvLogOutputStats&>(stats));
}

}  // namespace

int32_t qvreg_scaled_get_summary(const qvreg_results* results, qvreg_scaled_summary* summary,
                                 qvreg_error* error) {
  return QvCCall(error, [&] {
    const auto* linear = dynamic_cast<const QvGLMOutputStats*>(&Valid(results).fStats);
    QvCStruct::Fill(summary, "summary", [&](qvreg_scaled_summary& to) {
      to.dependent_exponent = linear == nullptr ? 0 : linear->GetDependentExponent();
      to.rmse = linear == nullptr ? QvMV::gMissingValue : linear->GetScaledRootMeanSquareError();
    });
  });
}

int32_t qvreg_scaled_get_exponents(const qvreg_results* results, int32_t* exponents,
                                   size_t capacity, size_t* count, qvreg_error* error) {
  return QvCCall(error, [&] {
    Visited(results, [&](const auto& stats) {
      QvCCopyList(stats.GetParameterExponents(), exponents, capacity, count);
    });
  });
}

int32_t qvreg_scaled_get_estimates(const qvreg_results* results, double* estimates, size_t capacity,
                                   size_t* count, qvreg_error* error) {
  return QvCCall(error, [&] {
    Visited(results, [&](const auto& stats) {
      QvCCopyList(stats.GetScaledEstimates(), estimates, capacity, count);
    });
  });
}

int32_t qvreg_scaled_get_covariance_packed(const qvreg_results* results, double* elements,
                                           size_t capacity, size_t* count, qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCommon::QvSymMatrixData& from = QvCRequireCovariance(
        Visited(results, [](const auto& stats) { return stats.GetScaledCovarianceMatrix(); }));
    QvCCopyPacked(
        static_cast<size_t>(from.GetOrder()), elements, capacity, count,
        [&](size_t i, size_t j) { return from.GetElem(static_cast<int>(i), static_cast<int>(j)); });
  });
}
