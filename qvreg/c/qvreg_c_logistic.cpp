#include "qvreg/c/qvreg_c_logistic.h"

#include "qvreg/c/QvCCall.h"
#include "qvreg/c/QvCCheck.h"
#include "qvreg/c/QvCHandles.h"
#include "qvreg/c/QvCList.h"
#include "qvreg/c/QvCMatrix.h"
#include "qvreg/c/QvCRecord.h"
#include "qvreg/c/QvCStruct.h"
#include "qvreg/logistic/QvLogOutputStats.h"

using QvCCheck::NotNull;
using QvCCheck::Valid;

namespace {

const QvLogOutputStats& LogisticOf(const qvreg_results* results) {
  if (const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&Valid(results).fStats)) {
    return *logistic;
  }
  throw QvCRefusal(QVREG_WRONG_MODEL,
                   "Only a logistic model has these results, and this one is linear; ask for the "
                   "model first.");
}

}  // namespace

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
                  [&](size_t i, size_t j) {
                    return table->GetElem(static_cast<int>(i), static_cast<int>(j));
                  });
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
    const QvCommon::Record expanded = QvCMakeRecord(record, record_size, run->DesignRecordSize());
    int32_t& answer = NotNull(is_expanded, "is_expanded");
    std::vector<int> places;
    std::vector<double> numbers;
    const bool isExpanded = stats.ExpandRow(expanded, places, numbers);
    const QvCList list(places.size(), capacity, count);
    if (list.IsWanted(indices, values)) {
      list.Copy(places, indices);
      list.Copy(numbers, values);
    }
    answer = isExpanded ? 1 : 0;
  });
}
