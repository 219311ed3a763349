#pragma once

#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "host/fit/DesignRow.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/common/Record.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/parallel/QvScorer.h"

/// \file
/// What a fitted model says of single records that it was fitted to.
///
/// A record of frequency weight f counts as f records, each as here. Numbers are in the units of
/// the estimation (see ScaledEstimates) unless stated otherwise.

namespace qvhost {

/// Leverages nearer to 1 are 1 but for rounding.
inline constexpr double kLeastRest = 10.0 * std::numeric_limits<double>::epsilon();

/// A model that was built, and how the records of a table are to be read. Borrows the statistics.
struct FittedModel {
  const IQvRegOutputStats& output;
  std::vector<unsigned char> scoring;  ///< What QvScorer opens.
  QvRegRecordValidator validator;      ///< Which records of the table are used.
  int freqWeight = -1;                 ///< Position in its records; -1 for none.
  int regressionWeight = -1;
  /// Of a linear model: the root of the residual variance, and its degrees of freedom.
  std::optional<double> residualStdError = std::nullopt;
  double degreesOfFreedom = 0.0;
};

/// What `component` needs to score records on any thread. Throws Error (kRunFailed).
[[nodiscard]] std::vector<unsigned char> ScoringBytesOf(IQvRegComponent& component);

/// Opens `scorer` with such bytes. Throws Error (kRunFailed).
void OpenScorer(const std::vector<unsigned char>& bytes, QvScorer& scorer);

/// One record after the other as the model has it. Borrows the model. One thread at a time; several
/// are independent.
class RecordFit {
 public:
  explicit RecordFit(const FittedModel& model);
  RecordFit(const RecordFit&) = delete;
  RecordFit& operator=(const RecordFit&) = delete;
  virtual ~RecordFit() = default;

  /// For a model of either kind.
  [[nodiscard]] static std::unique_ptr<RecordFit> Of(const FittedModel& model);

  /// Takes a record; false, and nothing to ask, for one that the model was not fitted to.
  [[nodiscard]] bool Read(const QvCommon::Record& record);

  /// Of the record read last; 1 without a weight.
  [[nodiscard]] double FreqWeight() const { return freqWeight_; }
  [[nodiscard]] double RegressionWeight() const { return regressionWeight_; }
  [[nodiscard]] const DesignRow& Row() const { return row_; }
  /// The derivatives of its log-likelihood (of a linear model: times the residual variance) are,
  /// category by category, the design row times these, the regression weight included.
  [[nodiscard]] const std::vector<double>& Multipliers() const { return multipliers_; }

  /// Its share in its own prediction, from 0 to 1; of K categories the trace of a matrix of order
  /// K - 1. Those of all records add up to the number of parameters kept. Numbers that are not
  /// finite, or that a leverage of 1 leaves open, are none.
  [[nodiscard]] virtual std::optional<double> Leverage() = 0;
  /// The residual by which outliers are told: studentized, or of the deviance.
  [[nodiscard]] virtual std::optional<double> OutlierResidual() = 0;
  /// How far the estimates move without it, in units of their covariance matrix, over the number of
  /// parameters kept.
  [[nodiscard]] virtual std::optional<double> CooksDistance() = 0;

 protected:
  /// Takes the dependent; false as Read.
  virtual bool Take(const QvCommon::Record& record) = 0;

  const FittedModel& model_;
  QvScorer scorer_;
  DesignRow row_;
  const QvCommon::QvSymMatrixData& covariance_;
  double kept_;  ///< The number of parameters that are not redundant.
  std::vector<double> multipliers_;

 private:
  double freqWeight_ = 1.0;
  double regressionWeight_ = 1.0;
};

/// That of a linear model: R's hatvalues, rstandard, rstudent and cooks.distance.
class LinearRecordFit final : public RecordFit {
 public:
  explicit LinearRecordFit(const FittedModel& model);

  /// In units of the estimation, as the residual.
  [[nodiscard]] double Predicted() const { return predicted_; }
  /// The dependent less its prediction.
  [[nodiscard]] double Residual() const { return residual_; }
  /// The prediction and the dependent in the data's units.
  [[nodiscard]] double Fitted() const { return fitted_; }
  [[nodiscard]] double Observed() const { return observed_; }
  /// The residual over its standard deviation, by the residual variance of all records.
  [[nodiscard]] std::optional<double> Standardized();
  /// That by the residual variance of all other records.
  [[nodiscard]] std::optional<double> Studentized();

  [[nodiscard]] std::optional<double> Leverage() override;
  [[nodiscard]] std::optional<double> OutlierResidual() override { return Studentized(); }
  [[nodiscard]] std::optional<double> CooksDistance() override;

 private:
  bool Take(const QvCommon::Record& record) override;
  /// 1 less the leverage: what is left of the residual's variance.
  [[nodiscard]] double Rest();

  double predicted_ = 0.0;
  double residual_ = 0.0;
  double fitted_ = 0.0;
  double observed_ = 0.0;
  std::optional<double> leverage_;  ///< Once it was asked for.
};

/// That of a logistic model. Of two categories: those of R's glm. Of more: Pregibon, Logistic
/// Regression Diagnostics (The Annals of Statistics 9, 1981), as extended by Lesaffre and Albert,
/// Multiple-group Logistic Regression Diagnostics (Applied Statistics 38, 1989).
class LogisticRecordFit final : public RecordFit {
 public:
  explicit LogisticRecordFit(const FittedModel& model);

  /// Of the categories, in the library's order.
  [[nodiscard]] const std::vector<double>& Probabilities() const { return probabilities_; }
  /// The code of the most probable category.
  [[nodiscard]] int Predicted() const { return predicted_; }
  /// The logarithm of the probability of the record's own category.
  [[nodiscard]] double LogProbability() const;
  /// The root of what the record adds to the deviance; of two categories, below 0 where it is of
  /// the reference.
  [[nodiscard]] std::optional<double> DevianceResidual() const;
  /// Of the category at this place of the library's order.
  [[nodiscard]] std::optional<double> PearsonResidual(std::size_t place) const;

  [[nodiscard]] std::optional<double> Leverage() override;
  [[nodiscard]] std::optional<double> OutlierResidual() override { return DevianceResidual(); }
  /// That of one step of Newton's iteration.
  [[nodiscard]] std::optional<double> CooksDistance() override;

 private:
  bool Take(const QvCommon::Record& record) override;
  /// An element of the record's weight matrix.
  [[nodiscard]] double Weight(std::size_t i, std::size_t j) const;
  /// X V X', computed when it is asked for first.
  const std::vector<double>& Forms();

  std::vector<int> categories_;
  std::size_t order_;  ///< K - 1.
  std::size_t own_ = 0;
  int predicted_ = 0;
  std::vector<double> probabilities_;
  bool hasForms_ = false;
  std::vector<double> forms_;  ///< By rows, as the system.
  std::vector<double> system_;
  std::vector<double> solution_;
};

}  // namespace qvhost
