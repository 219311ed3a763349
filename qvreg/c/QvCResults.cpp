#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qvreg/c/QvCComponent.h"
#include "qvreg/c/qvreg_c.h"
#include "qvreg/common/Constants.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/design/QvFactorCounts.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/logistic/QvLogOutputStats.h"

using QvCCheck::NotNull;
using QvCCheck::Valid;

namespace {

/// Calls `visit` with the statistics as those of their model.
template <typename Visit>
decltype(auto) Visited(const qvreg_results* results, Visit&& visit) {
  const IQvRegOutputStats& stats = Valid(results).fStats;
  if (const auto* linear = dynamic_cast<const QvGLMOutputStats*>(&stats)) return visit(*linear);
  return visit(dynamic_cast<const QvLogOutputStats&>(stats));
}

/// Throws the refusal of a matrix that the model does not have.
const QvCommon::QvSymMatrixData& Require(const QvCommon::QvSymMatrixData* covariance) {
  if (covariance != nullptr) return *covariance;
  throw QvCRefusal(QVREG_NOT_SERVED,
                   "The model has no covariance matrix; look at how its iterations ended.");
}

template <typename Matrix>
double Element(const Matrix& matrix, size_t i, size_t j) {
  return matrix.GetElem(static_cast<int>(i), static_cast<int>(j));
}

/// Copies the lower triangle of the covariance matrix to a host's buffer.
void CopyPacked(const QvCommon::QvSymMatrixData* covariance, double* elements, size_t capacity,
                size_t* count) {
  const QvCommon::QvSymMatrixData& from = Require(covariance);
  QvCCopyPacked(static_cast<size_t>(from.GetOrder()), elements, capacity, count,
                [&](size_t i, size_t j) { return Element(from, i, j); });
}

bool IsServed(IQvRegOutputStats& stats, int32_t stat) {
  const bool isOfLinear = stat == QVREG_FIT_RMSE || stat == QVREG_FIT_R_SQUARE;
  return isOfLinear == (stats.GetModelType() == QvConst::QvRegModelGLM);
}

const QvFactorCounts::Counts& CountsOf(const qvreg_results* results, int32_t factor) {
  const QvFactorCounts& counts = Valid(results).fStats.GetFactorCounts();
  QvCCheck::Below(factor, static_cast<size_t>(counts.GetNFactors()), "factor");
  return *counts.GetCountsPtr(factor);
}

void CopyPairs(const QvFactorCounts::Counts& pairs, double* firsts, double* seconds,
               size_t capacity, size_t* count) {
  const QvCList list(pairs.size(), capacity, count);
  if (!list.IsWanted(firsts, seconds)) return;
  for (size_t i = 0; i < pairs.size(); ++i) {
    if (firsts != nullptr) firsts[i] = pairs[i].first;
    if (seconds != nullptr) seconds[i] = pairs[i].second;
  }
}

int32_t VerdictOf(QvRecordVerdict verdict, const QvCommon::QvStatus& status) {
  switch (verdict) {
    case QvRecordVerdict::kValid:
      return QVREG_VERDICT_VALID;
    case QvRecordVerdict::kMissing:
      return QVREG_VERDICT_MISSING;
    case QvRecordVerdict::kBadWeight:
      return QVREG_VERDICT_BAD_WEIGHT;
    case QvRecordVerdict::kError:
      break;
  }
  throw QvCRefusal(QvCReport(status));
}

/// The length of a design row: a linear model's ends with the dependent.
size_t RowLength(IQvRegOutputStats& stats) {
  const bool isLinear = stats.GetModelType() == QvConst::QvRegModelGLM;
  return stats.GetParameters().size() + (isLinear ? 1 : 0);
}

const QvLogOutputStats& LogisticOf(const qvreg_results* results) {
  if (const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&Valid(results).fStats)) {
    return *logistic;
  }
  throw QvCRefusal(QVREG_WRONG_MODEL,
                   "Only a logistic model has these results, and this one is linear; ask for the "
                   "model first.");
}

}  // namespace

void qvreg_results_destroy(qvreg_results* results) { QvCDestroy(results); }

int32_t qvreg_results_get_summary(const qvreg_results* results, qvreg_summary* summary,
                                  qvreg_error* error) {
  return QvCCall(error, [&] {
    IQvRegOutputStats& from = Valid(results).fStats;
    QvCStruct::Fill(summary, "summary", [&](qvreg_summary& to) {
      to.model = from.GetModelType();
      to.n_parameters = static_cast<int32_t>(from.GetParameters().size());
      to.n_kept = from.GetRedundancyIndicators().Count();
      to.n_factors = from.GetFactorCounts().GetNFactors();
      to.total_frequency_weight = from.GetTotalFreqWeight();
      to.total_regression_weight = from.GetTotalRegrWeight();
      to.degrees_of_freedom = from.GetNDegFreedom();
    });
  });
}

int32_t qvreg_results_get_fit_stat(const qvreg_results* results, int32_t stat, double* value,
                                   qvreg_error* error) {
  return QvCCall(error, [&] {
    IQvRegOutputStats& from = Valid(results).fStats;
    double& to = NotNull(value, "value");
    if (stat < QVREG_FIT_RMSE || stat > QVREG_FIT_MCFADDEN_R_SQUARE) {
      throw QvCRefusal(QVREG_BAD_ARGUMENT, "There is no fit statistic " + std::to_string(stat) +
                                               "; pass one of qvreg_fit_stat.");
    }
    if (!IsServed(from, stat)) {
      throw QvCRefusal(QVREG_NOT_SERVED, "The model does not serve fit statistic " +
                                             std::to_string(stat) +
                                             ", which belongs to the other model.");
    }
    to = from.GetModelFitStat(static_cast<QvConst::QvModelFitStat>(stat));
  });
}

int32_t qvreg_results_get_record_counts(const qvreg_results* results, qvreg_record_counts* counts,
                                        qvreg_error* error) {
  return QvCCall(error, [&] { Valid(results).fRun->CopyRecordCounts(counts); });
}

int32_t qvreg_results_get_parameters(const qvreg_results* results, qvreg_parameters** parameters,
                                     qvreg_error* error) {
  return QvCCall(error, [&] {
    auto copy = std::make_unique<qvreg_parameters>();
    copy->fParameters = Valid(results).fStats.GetParameters();
    NotNull(parameters, "parameters");
    *parameters = copy.release();
  });
}

int32_t qvreg_results_get_estimates(const qvreg_results* results, double* estimates,
                                    size_t capacity, size_t* count, qvreg_error* error) {
  return QvCCall(error, [&] {
    QvCCopyList(Valid(results).fStats.GetParamEstimates(), estimates, capacity, count);
  });
}

int32_t qvreg_results_get_redundant(const qvreg_results* results, int32_t* redundant,
                                    size_t capacity, size_t* count, qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCommon::QvBitSet& kept = Valid(results).fStats.GetRedundancyIndicators();
    const QvCList list(static_cast<size_t>(kept.Size()), capacity, count);
    if (!list.IsWanted(redundant)) return;
    for (int i = 0; i < kept.Size(); ++i) redundant[i] = kept.IsIn(i) ? 0 : 1;
  });
}

int32_t qvreg_results_get_non_finite(const qvreg_results* results, int32_t* non_finite,
                                     size_t capacity, size_t* count, qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCommon::QvBitSet& concerned = Visited(
        results, [](const auto& stats) -> const auto& { return stats.GetNonFiniteParameters(); });
    const QvCList list(static_cast<size_t>(concerned.Size()), capacity, count);
    if (!list.IsWanted(non_finite)) return;
    for (int i = 0; i < concerned.Size(); ++i) non_finite[i] = concerned.IsIn(i) ? 1 : 0;
  });
}

int32_t qvreg_results_is_dependent_finite(const qvreg_results* results, int32_t* answer,
                                          qvreg_error* error) {
  return QvCCall(error, [&] {
    const auto* linear = dynamic_cast<const QvGLMOutputStats*>(&Valid(results).fStats);
    NotNull(answer, "answer") = linear == nullptr || linear->IsDependentFinite() ? 1 : 0;
  });
}

int32_t qvreg_results_get_means(const qvreg_results* results, double* means, size_t capacity,
                                size_t* count, qvreg_error* error) {
  return QvCCall(
      error, [&] { QvCCopyList(Valid(results).fStats.GetMeanValues(), means, capacity, count); });
}

int32_t qvreg_results_get_covariance(const qvreg_results* results, size_t row, size_t column,
                                     double* value, qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCommon::QvSymMatrixData& from = Require(Valid(results).fStats.GetCovarianceMatrix());
    const auto n = static_cast<size_t>(from.GetOrder());
    QvCCheck::Below(row, n, "row");
    QvCCheck::Below(column, n, "column");
    NotNull(value, "value") = Element(from, row, column);
  });
}

int32_t qvreg_results_get_covariance_packed(const qvreg_results* results, double* elements,
                                            size_t capacity, size_t* count, qvreg_error* error) {
  return QvCCall(error, [&] {
    CopyPacked(Valid(results).fStats.GetCovarianceMatrix(), elements, capacity, count);
  });
}

int32_t qvreg_results_get_covariance_full(const qvreg_results* results, double* elements,
                                          size_t row_stride, size_t capacity, size_t* count,
                                          qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCommon::QvSymMatrixData& from = Require(Valid(results).fStats.GetCovarianceMatrix());
    QvCCopyMatrix(static_cast<size_t>(from.GetOrder()), row_stride, elements, capacity, count,
                  [&](size_t i, size_t j) { return Element(from, i, j); });
  });
}

int32_t qvreg_results_get_factor_counts(const qvreg_results* results, int32_t factor,
                                        double* weighted, double* unweighted, size_t capacity,
                                        size_t* count, qvreg_error* error) {
  return QvCCall(
      error, [&] { CopyPairs(CountsOf(results, factor), weighted, unweighted, capacity, count); });
}

int32_t qvreg_results_get_dependent_counts(const qvreg_results* results, double* weighted,
                                           double* unweighted, size_t capacity, size_t* count,
                                           qvreg_error* error) {
  return QvCCall(error, [&] {
    const auto* counts = Valid(results).fStats.GetFactorCounts().GetDependCountsPtr();
    if (counts == nullptr) {
      throw QvCRefusal(QVREG_NOT_SERVED, "The model does not count categories of its dependent.");
    }
    CopyPairs(*counts, weighted, unweighted, capacity, count);
  });
}

int32_t qvreg_results_check_record(const qvreg_results* results, const double* record,
                                   size_t record_size, int32_t* verdict, qvreg_error* error) {
  return QvCCall(error, [&] {
    const IQvRegOutputStats& stats = Valid(results).fStats;
    const QvCommon::Record checked =
        QvCMakeRecord(record, record_size, results->fRun->FullRecordSize());
    QvCommon::QvStatus status;
    const QvRecordVerdict found = stats.GetRecordValidator().CheckRecord(checked, status);
    NotNull(verdict, "verdict") = VerdictOf(found, status);
  });
}

int32_t qvreg_results_expand_row(const qvreg_results* results, const double* record,
                                 size_t record_size, double* row, size_t capacity, size_t* count,
                                 int32_t* is_expanded, qvreg_error* error) {
  return QvCCall(error, [&] {
    IQvRegOutputStats& stats = Valid(results).fStats;
    const std::shared_ptr<QvCRun> run = results->fRun;
    const QvCInUse use = run->Use();
    const QvCommon::Record given = QvCMakeRecord(record, record_size, run->DesignRecordSize());
    int32_t& answer = NotNull(is_expanded, "is_expanded");
    const QvCList list(RowLength(stats), capacity, count);
    const bool isWanted = list.IsWanted(row);
    QvCommon::QvStatus unused;
    std::vector<double> design(RowLength(stats), 0.0);
    const bool isExpanded =
        stats.GetRecordValidator().IsValid4Scoring(given, unused) && stats.ExpandRow(given, design);
    if (isWanted) list.Copy(design, row);
    answer = isExpanded ? 1 : 0;
  });
}

int32_t qvreg_logistic_get_summary(const qvreg_results* results, qvreg_logistic_summary* summary,
                                   qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvLogOutputStats& from = LogisticOf(results);
    QvCStruct::Fill(summary, "summary", [&](qvreg_logistic_summary& to) {
      to.n_categories = static_cast<int32_t>(from.GetDependCategories().size());
      to.outcome = from.GetOutcome();
      to.iterations = from.GetIterations();
      to.step_halvings = from.GetStepHalvings();
      to.initial_log_likelihood = from.GetInitialLL();
      to.final_log_likelihood = from.GetFinalLL();
      to.ll_change = from.GetLLChange();
      to.param_change = from.GetParameterChange();
    });
  });
}

int32_t qvreg_logistic_get_categories(const qvreg_results* results, int32_t* codes, double* weights,
                                      size_t capacity, size_t* count, qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvLogOutputStats& from = LogisticOf(results);
    const QvCList list(from.GetDependCategories().size(), capacity, count);
    if (!list.IsWanted(codes, weights)) return;
    list.Copy(from.GetDependCategories(), codes);
    list.Copy(from.GetDependCategoryWeights(), weights);
  });
}

int32_t qvreg_logistic_get_classification(const qvreg_results* results, double* elements,
                                          size_t row_stride, size_t capacity, size_t* count,
                                          qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCommon::QvRectMatrix* table = LogisticOf(results).GetClassificationTable();
    if (table == nullptr) {
      throw QvCRefusal(QVREG_NOT_SERVED, "The model has no classification table.");
    }
    QvCCopyMatrix(static_cast<size_t>(table->GetNRows()), row_stride, elements, capacity, count,
                  [&](size_t i, size_t j) { return Element(*table, i, j); });
  });
}

int32_t qvreg_logistic_expand_sparse(const qvreg_results* results, const double* record,
                                     size_t record_size, int32_t* indices, double* values,
                                     size_t capacity, size_t* count, int32_t* is_expanded,
                                     qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvLogOutputStats& stats = LogisticOf(results);
    const std::shared_ptr<QvCRun> run = results->fRun;
    const QvCInUse use = run->Use();
    const QvCommon::Record given = QvCMakeRecord(record, record_size, run->DesignRecordSize());
    int32_t& answer = NotNull(is_expanded, "is_expanded");
    std::vector<int> places;
    std::vector<double> numbers;
    const bool isExpanded = stats.ExpandRow(given, places, numbers);
    const QvCList list(places.size(), capacity, count);
    if (list.IsWanted(indices, values)) {
      list.Copy(places, indices);
      list.Copy(numbers, values);
    }
    answer = isExpanded ? 1 : 0;
  });
}

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
    CopyPacked(
        Visited(results, [](const auto& stats) { return stats.GetScaledCovarianceMatrix(); }),
        elements, capacity, count);
  });
}

int32_t qvreg_scaled_get_redundant_combination(const qvreg_results* results, size_t parameter,
                                               double* combination, size_t capacity, size_t* count,
                                               qvreg_error* error) {
  return QvCCall(error, [&] {
    const IQvRegOutputStats& stats = Valid(results).fStats;
    const size_t n = stats.GetParameters().size();
    QvCCheck::Below(parameter, n, "parameter");
    std::vector<double> coefficients;
    if (!stats.GetRedundantCombination(static_cast<int>(parameter), coefficients)) {
      coefficients.assign(n, 0.0);
    }
    QvCCopyList(coefficients, combination, capacity, count);
  });
}
