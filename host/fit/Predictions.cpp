#include "host/fit/Predictions.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <numeric>
#include <optional>
#include <span>

#include "host/fit/MeanError.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/RecordFit.h"
#include "host/fit/ScaledEstimates.h"
#include "host/fit/ScoredRows.h"
#include "host/table/TableWriter.h"
#include "qvreg/common/Constants.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/parallel/QvScorer.h"

namespace qvhost {

namespace {

using Type = WrittenColumn::Type;

constexpr std::size_t kObserved = 0;
constexpr std::size_t kPredicted = 1;
constexpr std::size_t kResidual = 2;  // Of a linear model,
constexpr std::size_t kStdError = 3;
constexpr std::size_t kFirstProbability = 2;  // and of a logistic one.

/// What scorers of both kinds of model have in common.
class PredictionScorer : public RowScorer {
 public:
  /// Borrows the model; `bytes` are what it scores with.
  PredictionScorer(const BuiltPredictor& model, const std::vector<unsigned char>& bytes)
      : model_(model) {
    OpenScorer(bytes, scorer_);
  }

  void Score(const QvCommon::Record& record, std::span<double> row) final {
    if (model_.part < 0) return ScoreFitted(record, row);
    record_ = record;
    record_[model_.part] = 0.0;
    ScoreFitted(record_, row);
  }

 protected:
  /// Scores a record as if it were one of those fitted.
  virtual void ScoreFitted(const QvCommon::Record& record, std::span<double> row) = 0;

  /// What is predicted for a record, none where it cannot be; `values` as the library leaves them.
  std::optional<double> Predicted(const QvCommon::Record& record, std::vector<double>& values) {
    QvCommon::QvStatus status;
    if (!model_.output.GetRecordValidator().IsValid4Scoring(record, status)) return std::nullopt;
    double predicted = QvMV::gMissingValue;
    status = scorer_.Score(record, predicted, values);
    // Without memory nothing is known of the record.
    if (status.GetCode() == QvStatusCode::kTooManyParameters) throw std::bad_alloc();
    return status.IsError() ? std::nullopt : LibraryNumber(predicted);
  }

  const BuiltPredictor& model_;
  QvScorer scorer_;

 private:
  QvCommon::Record record_{0};
};

class LinearScorer final : public PredictionScorer {
 public:
  LinearScorer(const BuiltPredictor& model, const std::vector<unsigned char>& bytes,
               const QvGLMOutputStats& output)
      : PredictionScorer(model, bytes), error_(output, model.residualStdError, scorer_) {}

  [[nodiscard]] std::vector<WrittenColumn> Columns() const override {
    return {{"observed", Type::kNumber},
            {"predicted", Type::kNumber},
            {"residual", Type::kNumber},
            {"std_error", Type::kNumber}};
  }

  void ScoreFitted(const QvCommon::Record& record, std::span<double> row) override {
    const std::optional<double> observed = LibraryNumber(record[ModelBinding::kDependent]);
    row[kObserved] = observed.value_or(kNoScore);
    const std::optional<double> predicted = Predicted(record, unused_);
    if (!predicted) return;
    row[kPredicted] = *predicted;
    if (observed) row[kResidual] = Finite(*observed - *predicted).value_or(kNoScore);
    row[kStdError] = error_.Of(record).value_or(kNoScore);
  }

 private:
  MeanError error_;
  std::vector<double> unused_;
};

class LogisticScorer final : public PredictionScorer {
 public:
  LogisticScorer(const BuiltPredictor& model, const std::vector<unsigned char>& bytes)
      : PredictionScorer(model, bytes), order_(model.categories.codes.size()) {
    std::iota(order_.begin(), order_.end(), std::size_t{0});
    std::ranges::sort(order_, {}, [&](std::size_t place) { return model.categories.codes[place]; });
  }

  [[nodiscard]] std::vector<WrittenColumn> Columns() const override {
    const PredictedCategories& categories = model_.categories;
    std::vector<WrittenColumn> columns = {{"observed", Type::kText}, {"predicted", Type::kText}};
    for (const std::size_t place : order_) {
      const auto code = static_cast<std::size_t>(categories.codes[place]);
      columns.push_back({"p_" + categories.levels.at(code), Type::kNumber});
    }
    return columns;
  }

  void ScoreFitted(const QvCommon::Record& record, std::span<double> row) override {
    const double observed = record[ModelBinding::kDependent];
    if (observed >= 0.0) row[kObserved] = observed;
    const std::optional<double> code = Predicted(record, probabilities_);
    const auto isNumber = [](double p) { return LibraryNumber(p).has_value(); };
    if (!code || *code < 0.0 || !std::ranges::all_of(probabilities_, isNumber)) return;
    row[kPredicted] = *code;
    for (std::size_t i = 0; i < order_.size(); ++i) {
      row[kFirstProbability + i] = probabilities_.at(order_[i]);
    }
  }

 private:
  std::vector<std::size_t> order_;  ///< Places in the library's order, by the codes.
  std::vector<double> probabilities_;
};

std::unique_ptr<RowScorer> ScorerOf(const BuiltPredictor& model,
                                    const std::vector<unsigned char>& bytes) {
  const auto* linear = dynamic_cast<const QvGLMOutputStats*>(&model.output);
  if (linear != nullptr) return std::make_unique<LinearScorer>(model, bytes, *linear);
  return std::make_unique<LogisticScorer>(model, bytes);
}

}  // namespace

std::string WritePredictions(const WholeFile& file, const CodedTable& table,
                             const BuiltPredictor& model, int threads,
                             const std::function<void(long long records)>& progress,
                             const Interrupt& interrupt) {
  const std::vector<unsigned char> bytes = ScoringBytesOf(model.component);
  return WriteScoredRows(file, table, model.categories.levels,
                         [&] { return ScorerOf(model, bytes); },
                         {.interrupt = interrupt, .threads = threads, .progress = progress});
}

}  // namespace qvhost
