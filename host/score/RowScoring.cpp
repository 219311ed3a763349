#include "host/score/RowScoring.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>

#include "host/fit/DesignRow.h"
#include "host/fit/MeanError.h"
#include "host/fit/RecordPredictor.h"
#include "host/fit/ScaledEstimates.h"
#include "host/fit/Standardization.h"
#include "host/inference/DeltaMethod.h"
#include "host/inference/Inference.h"
#include "qvreg/common/Constants.h"
#include "qvreg/glm/QvGLMOutputStats.h"

namespace qvhost {
namespace {

using Type = WrittenColumn::Type;

/// Puts a row's values where the component has them, and counts what becomes of it.
class ModelScorer : public RowScorer {
 public:
  explicit ModelScorer(const RowScoring& scoring)
      : scoring_(scoring),
        predictor_(scoring.model.Output(), scoring.model.Scoring()),
        record_(scoring.model.RecordSize()) {}

  void Score(const QvCommon::Record& values, std::span<double> row) final {
    for (std::size_t i = 0; i < scoring_.values.size(); ++i) {
      const ScoredValue& value = scoring_.values[i];
      const double number = values[static_cast<int>(i)];
      const bool isScaled = value.scale && number != QvMV::gMissingValue;
      record_[value.position] = isScaled ? ScaledValue(*value.scale, number) : number;
    }
    if (Counted(predictor_.Predict(record_))) Fill(record_, row);
  }

 protected:
  /// Sets a row of which the predictor has the prediction.
  virtual void Fill(const QvCommon::Record& record, std::span<double> row) = 0;

  const RowScoring& scoring_;
  RecordPredictor predictor_;

 private:
  [[nodiscard]] bool Counted(RecordPredictor::Outcome outcome) const {
    ScoreCounts& counts = scoring_.counts;
    switch (outcome) {
      case RecordPredictor::Outcome::kPredicted:
        counts.scored.fetch_add(1, std::memory_order_relaxed);
        return true;
      case RecordPredictor::Outcome::kMissing:
        counts.missing.fetch_add(1, std::memory_order_relaxed);
        break;
      case RecordPredictor::Outcome::kUnseen:
        counts.unseen.fetch_add(1, std::memory_order_relaxed);
        break;
      case RecordPredictor::Outcome::kNotFinite:
        counts.notFinite.fetch_add(1, std::memory_order_relaxed);
        break;
    }
    return false;
  }

  QvCommon::Record record_;
};

/// The root of a sum of squares that may themselves exceed every double.
double Hypotenuse(double a, double b) {
  const double large = std::max(a, b);
  if (large == 0.0) return 0.0;
  const double share = std::min(a, b) / large;
  return large * std::sqrt(1.0 + share * share);
}

class LinearModelScorer final : public ModelScorer {
 public:
  LinearModelScorer(const RowScoring& scoring, const QvGLMOutputStats& output)
      : ModelScorer(scoring),
        residualError_(scoring.fit.residualStdError),
        error_(output, residualError_, predictor_.Scorer()) {
    if (residualError_ && scoring.hasInterval) {
      quantile_ = LimitQuantile(scoring.fit.degreesOfFreedom, scoring.confidence);
    }
  }

  [[nodiscard]] std::vector<WrittenColumn> Columns() const override {
    std::vector<WrittenColumn> columns = {{"predicted", Type::kNumber}};
    if (!scoring_.hasInterval) return columns;
    for (const char* name : {"std_error", "conf_low", "conf_high", "pred_low", "pred_high"}) {
      columns.push_back({name, Type::kNumber});
    }
    return columns;
  }

 private:
  void Fill(const QvCommon::Record& record, std::span<double> row) override {
    row[0] = predictor_.Value();
    if (!scoring_.hasInterval) return;
    const std::optional<double> error = error_.Of(record);
    if (!error) return;
    row[1] = *error;
    if (!quantile_) return;
    SetLimits(*quantile_ * *error, row.subspan(2, 2));
    SetLimits(*quantile_ * Hypotenuse(*residualError_, *error), row.subspan(4, 2));
  }

  void SetLimits(double distance, std::span<double> limits) const {
    limits[0] = Finite(predictor_.Value() - distance).value_or(kNoScore);
    limits[1] = Finite(predictor_.Value() + distance).value_or(kNoScore);
  }

  std::optional<double> residualError_;
  std::optional<double> quantile_;
  MeanError error_;
};

/// The standard errors of the probabilities that a logistic model gives a record.
class ProbabilityErrors {
 public:
  ProbabilityErrors(const IQvRegOutputStats& output, QvScorer& scorer)
      : covariance_(ScaledEstimatesOf(output).covariance), row_(output, scorer) {}

  /// Takes a record, of which these are the probabilities, in the library's order; false where it
  /// has no errors.
  bool Read(const QvCommon::Record& record, const std::vector<double>& probabilities) {
    probabilities_ = probabilities;
    order_ = probabilities.size() - 1;
    derivatives_.resize(order_);
    forms_.resize(order_ * order_);
    if (!row_.Expand(record)) return false;
    for (std::size_t i = 0; i < order_; ++i) {
      for (std::size_t j = 0; j <= i; ++j) {
        const double form = row_.Form(covariance_, static_cast<int>(i), static_cast<int>(j));
        forms_[i * order_ + j] = form;
        forms_[j * order_ + i] = form;
      }
    }
    return true;
  }

  /// Of the category at this place: the root of d' F d with the derivatives d of its probability by
  /// the linear predictors and these predictors' covariance matrix F.
  [[nodiscard]] std::optional<double> Of(std::size_t place) {
    DeriveProbability(probabilities_, place, derivatives_);
    double sum = 0.0;
    for (std::size_t i = 0; i < order_; ++i) {
      double product = 0.0;
      for (std::size_t j = 0; j < order_; ++j) product += forms_[i * order_ + j] * derivatives_[j];
      sum += product * derivatives_[i];
    }
    // Rounding may take one of 0 below it.
    return Finite(std::sqrt(std::max(sum, 0.0)));
  }

 private:
  const QvCommon::QvSymMatrixData& covariance_;
  DesignRow row_;
  std::vector<double> probabilities_;
  std::vector<double> derivatives_;
  std::vector<double> forms_;  ///< By rows.
  std::size_t order_ = 0;      ///< Categories but the reference.
};

class LogisticModelScorer final : public ModelScorer {
 public:
  explicit LogisticModelScorer(const RowScoring& scoring)
      : ModelScorer(scoring), categories_(scoring.model.Categories()) {
    if (scoring.hasInterval) errors_.emplace(scoring.model.Output(), predictor_.Scorer());
  }

  [[nodiscard]] std::vector<WrittenColumn> Columns() const override {
    std::vector<WrittenColumn> columns;
    categories_.AppendTo(columns);
    if (!errors_) return columns;
    for (const std::size_t place : categories_.Order()) {
      columns.push_back({"se_" + categories_.Level(place), Type::kNumber});
    }
    return columns;
  }

 private:
  void Fill(const QvCommon::Record& record, std::span<double> row) override {
    categories_.Fill(predictor_, row);
    if (!errors_ || !errors_->Read(record, predictor_.Probabilities())) return;
    std::size_t column = categories_.Size();
    for (const std::size_t place : categories_.Order()) {
      row[column++] = errors_->Of(place).value_or(kNoScore);
    }
  }

  CategoryColumns categories_;
  std::optional<ProbabilityErrors> errors_;
};

}  // namespace

std::unique_ptr<RowScorer> MakeRowScorer(const RowScoring& scoring) {
  const auto* linear = dynamic_cast<const QvGLMOutputStats*>(&scoring.model.Output());
  if (linear != nullptr) return std::make_unique<LinearModelScorer>(scoring, *linear);
  return std::make_unique<LogisticModelScorer>(scoring);
}

}  // namespace qvhost
