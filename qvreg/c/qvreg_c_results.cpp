#include "qvreg/c/qvreg_c_results.h"

#include <string>

#include "qvreg/c/QvCCall.h"
#include "qvreg/c/QvCCheck.h"
#include "qvreg/c/QvCCounts.h"
#include "qvreg/c/QvCHandles.h"
#include "qvreg/c/QvCList.h"
#include "qvreg/c/QvCMatrix.h"
#include "qvreg/c/QvCRecord.h"
#include "qvreg/c/QvCStruct.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/design/QvFactorCounts.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/logistic/QvLogOutputStats.h"

using QvCCheck::NotNull;
using QvCCheck::Valid;

namespace {

const QvCommon::QvSymMatrixData& CovarianceOf(const qvreg_results* results) {
  return QvCRequireCovariance(Valid(results).fStats.GetCovarianceMatrix());
}

double Element(const QvCommon::QvSymMatrixData& matrix, size_t i, size_t j) {
  return matrix.GetElem(static_cast<int>(i), static_cast<int>(j));
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

/// Throws the refusal for counts that are not kept.
const QvFactorCounts::Counts& Kept(const QvFactorCounts::Counts* counts, const char* what) {
  if (counts != nullptr) return *counts;
  throw QvCRefusal(QVREG_NOT_SERVED, std::string("The model does not count ") + what + ".");
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

const QvCommon::QvBitSet& NonFiniteOf(const IQvRegOutputStats& stats) {
  if (const auto* linear = dynamic_cast<const QvGLMOutputStats*>(&stats)) {
    return linear->GetNonFiniteParameters();
  }
  return dynamic_cast<const QvLogOutputStats&>(stats).GetNonFiniteParameters();
}

/// The length of a design row: a linear model's ends with the dependent.
size_t RowLength(IQvRegOutputStats& stats) {
  const bool isLinear = stats.GetModelType() == QvConst::QvRegModelGLM;
  return stats.GetParameters().size() + (isLinear ? 1 : 0);
}

}  // namespace

void qvreg_results_destroy(qvreg_results* results) { DestroyHandle(results); }

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
    const QvCommon::QvBitSet& concerned = NonFiniteOf(Valid(results).fStats);
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

int32_t qvreg_results_get_param_stats(const qvreg_results* results, size_t index,
                                      qvreg_param_stats* stats, qvreg_error* error) {
  return QvCCall(error, [&] {
    const std::vector<QvRegrParameterStats>& all = Valid(results).fStats.GetParamStats();
    const QvRegrParameterStats& from = all[QvCCheck::Below(index, all.size(), "parameter")];
    QvCStruct::Fill(stats, "stats", [&](qvreg_param_stats& to) {
      to.estimate = from.fEstimate;
      to.parameter_index = from.fParameterIndex;
      to.is_redundant = from.fbRedundant ? 1 : 0;
      to.effect_index = from.fEffectIndex;
    });
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
    const QvCommon::QvSymMatrixData& from = CovarianceOf(results);
    const auto n = static_cast<size_t>(from.GetOrder());
    QvCCheck::Below(row, n, "row");
    QvCCheck::Below(column, n, "column");
    NotNull(value, "value") = Element(from, row, column);
  });
}

int32_t qvreg_results_get_covariance_packed(const qvreg_results* results, double* elements,
                                            size_t capacity, size_t* count, qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCommon::QvSymMatrixData& from = CovarianceOf(results);
    QvCCopyPacked(static_cast<size_t>(from.GetOrder()), elements, capacity, count,
                  [&](size_t i, size_t j) { return Element(from, i, j); });
  });
}

int32_t qvreg_results_get_covariance_full(const qvreg_results* results, double* elements,
                                          size_t row_stride, size_t capacity, size_t* count,
                                          qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCommon::QvSymMatrixData& from = CovarianceOf(results);
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

int32_t qvreg_results_get_active_categories(const qvreg_results* results, int32_t factor,
                                            int32_t* n_active, qvreg_error* error) {
  return QvCCall(error, [&] {
    CountsOf(results, factor);
    NotNull(n_active, "n_active") = results->fStats.GetFactorCounts().GetNActiveCategories(factor);
  });
}

int32_t qvreg_results_get_dependent_counts(const qvreg_results* results, double* weighted,
                                           double* unweighted, size_t capacity, size_t* count,
                                           qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvFactorCounts& counts = Valid(results).fStats.GetFactorCounts();
    CopyPairs(Kept(counts.GetDependCountsPtr(), "categories of its dependent"), weighted,
              unweighted, capacity, count);
  });
}

int32_t qvreg_results_get_dependent_offsets(const qvreg_results* results, double* offsets,
                                            double* weights, size_t capacity, size_t* count,
                                            qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvFactorCounts& counts = Valid(results).fStats.GetFactorCounts();
    CopyPairs(Kept(counts.GetDepCountsWithOffsetPtr(), "offsets of its dependent"), offsets,
              weights, capacity, count);
  });
}

int32_t qvreg_results_get_record_counts(const qvreg_results* results, qvreg_record_counts* counts,
                                        qvreg_error* error) {
  return QvCCall(error, [&] { QvCCopyCounts(Valid(results).fRun->RecordCounts(), counts); });
}

int32_t qvreg_results_check_record(const qvreg_results* results, const double* record,
                                   size_t record_size, int32_t* verdict, qvreg_error* error) {
  return QvCCall(error, [&] {
    const IQvRegOutputStats& stats = Valid(results).fStats;
    const QvCommon::Record checked = QvCMakeRecord(record, record_size, 0);
    QvCommon::QvStatus status;
    const QvRecordVerdict found = stats.GetRecordValidator().CheckRecord(checked, status);
    if (status.IsError() && status.GetCode() == QVREG_SHORT_RECORD) {
      throw QvCRefusal(QvCShortRecord(record_size, results->fRun->FullRecordSize()));
    }
    NotNull(verdict, "verdict") = VerdictOf(found, status);
  });
}

int32_t qvreg_results_check_scoring(const qvreg_results* results, const double* record,
                                    size_t record_size, int32_t* verdict, qvreg_error* error) {
  return QvCCall(error, [&] {
    const IQvRegOutputStats& stats = Valid(results).fStats;
    const QvCommon::Record checked =
        QvCMakeRecord(record, record_size, results->fRun->DesignRecordSize());
    QvCommon::QvStatus status;
    const bool isValid = stats.GetRecordValidator().IsValid4Scoring(checked, status);
    if (status.IsError()) throw QvCRefusal(QvCReport(status));
    NotNull(verdict, "verdict") = isValid ? QVREG_VERDICT_VALID : QVREG_VERDICT_MISSING;
  });
}

int32_t qvreg_results_is_in_range(const qvreg_results* results, const double* record,
                                  size_t record_size, int32_t* answer, qvreg_error* error) {
  return QvCCall(error, [&] {
    const IQvRegOutputStats& stats = Valid(results).fStats;
    const QvCommon::Record checked =
        QvCMakeRecord(record, record_size, results->fRun->FullRecordSize());
    const bool isInRange = stats.GetFactorCounts().IsInRange(checked);
    NotNull(answer, "answer") = isInRange ? 1 : 0;
  });
}

int32_t qvreg_results_expand_row(const qvreg_results* results, const double* record,
                                 size_t record_size, double* row, size_t capacity, size_t* count,
                                 int32_t* is_expanded, qvreg_error* error) {
  return QvCCall(error, [&] {
    IQvRegOutputStats& stats = Valid(results).fStats;
    const std::shared_ptr<QvCRun> run = results->fRun;
    const QvCInUse use = run->Use();
    const QvCommon::Record expanded = QvCMakeRecord(record, record_size, run->DesignRecordSize());
    int32_t& answer = NotNull(is_expanded, "is_expanded");
    const QvCList list(RowLength(stats), capacity, count);
    const bool isWanted = list.IsWanted(row);
    QvCommon::QvStatus unused;
    std::vector<double> design(RowLength(stats), 0.0);
    const bool isExpanded = stats.GetRecordValidator().IsValid4Scoring(expanded, unused) &&
                            stats.ExpandRow(expanded, design);
    if (isWanted) list.Copy(design, row);
    answer = isExpanded ? 1 : 0;
  });
}

int32_t qvreg_results_cancel(const qvreg_results* results, qvreg_error* error) {
  return QvCCall(error, [&] { Valid(results).fStats.Cancel(); });
}

int32_t qvreg_results_display(const qvreg_results* results, qvreg_error* error) {
  return QvCCall(error, [&] { Valid(results).fStats.Display(); });
}
