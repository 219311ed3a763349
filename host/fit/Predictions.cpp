#include "host/fit/Predictions.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <span>

#include "host/fit/MeanError.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/RecordFit.h"
#include "host/fit/ScaledEstimates.h"
#include "host/fit/ScoredRows.h"
#include "host/table/TableWriter.h"
#include "qvreg/glm/QvGLMOutputStats.h"

namespace qvhost {

namespace {

using Type = WrittenColumn::Type;

constexpr std::size_t kObserved = 0;
constexpr std::size_t kPredicted = 1;
constexpr std::size_t kResidual = 2;  // Of a linear model,
constexpr std::size_t kStdError = 3;
constexpr std::size_t kCategory = 1;  // And of a logistic one: the first of its columns.

/// What scorers of both kinds of model have in common.
class PredictionScorer : public RowScorer {
 public:
  /// Borrows the model; `bytes` are what it scores with.
  PredictionScorer(const BuiltPredictor& model, const std::vector<unsigned char>& bytes)
      : model_(model), predictor_(model.output, bytes) {}

  void Score(const QvCommon::Record& record, std::span<double> row) final {
    if (model_.part < 0) return ScoreFitted(record, row);
    record_ = record;
    record_[model_.part] = 0.0;
    ScoreFitted(record_, row);
  }

 protected:
  /// Scores a record as if it were one of those fitted.
  virtual void ScoreFitted(const QvCommon::Record& record, std::span<double> row) = 0;

  /// Whether something is predicted for a record, which the predictor then has.
  bool Predict(const QvCommon::Record& record) {
    return predictor_.Predict(record) == RecordPredictor::Outcome::kPredicted;
  }

  const BuiltPredictor& model_;
  RecordPredictor predictor_;

 private:
  QvCommon::Record record_{0};
};

class LinearScorer final : public PredictionScorer {
 public:
  LinearScorer(const BuiltPredictor& model, const std::vector<unsigned char>& bytes,
               const QvGLMOutputStats& output)
      : PredictionScorer(model, bytes),
        error_(output, model.residualStdError, predictor_.Scorer()) {}

  [[nodiscard]] std::vector<WrittenColumn> Columns() const override {
    return {{"observed", Type::kNumber},
            {"predicted", Type::kNumber},
            {"residual", Type::kNumber},
            {"std_error", Type::kNumber}};
  }

  void ScoreFitted(const QvCommon::Record& record, std::span<double> row) override {
    const std::optional<double> observed = LibraryNumber(record[ModelBinding::kDependent]);
    row[kObserved] = observed.value_or(kNoScore);
    if (!Predict(record)) return;
    row[kPredicted] = predictor_.Value();
    if (observed) row[kResidual] = Finite(*observed - predictor_.Value()).value_or(kNoScore);
    row[kStdError] = error_.Of(record).value_or(kNoScore);
  }

 private:
  MeanError error_;
};

class LogisticScorer final : public PredictionScorer {
 public:
  LogisticScorer(const BuiltPredictor& model, const std::vector<unsigned char>& bytes)
      : PredictionScorer(model, bytes), categories_(model.categories) {}

  [[nodiscard]] std::vector<WrittenColumn> Columns() const override {
    std::vector<WrittenColumn> columns = {{"observed", Type::kText}};
    categories_.AppendTo(columns);
    return columns;
  }

  void ScoreFitted(const QvCommon::Record& record, std::span<double> row) override {
    const double observed = record[ModelBinding::kDependent];
    if (observed >= 0.0) row[kObserved] = observed;
    if (Predict(record)) categories_.Fill(predictor_, row.subspan(kCategory));
  }

 private:
  CategoryColumns categories_;
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
