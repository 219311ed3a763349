#include "host/fit/RecordFit.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "host/Error.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/ScaledEstimates.h"
#include "host/fit/StatusText.h"
#include "host/inference/DeltaMethod.h"
#include "host/inference/Inference.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace qvhost {

namespace {

double WeightAt(const QvCommon::Record& record, int position) {
  return position < 0 ? 1.0 : record[position];
}

/// Solves a system of the order of `solution`, which holds the right side; the matrix stands by
/// rows. False where a pivot is 0. By elimination with row pivots.
bool Solve(std::vector<double>& matrix, std::vector<double>& solution) {
  const std::size_t order = solution.size();
  const auto at = [&](std::size_t i, std::size_t j) -> double& { return matrix[i * order + j]; };
  for (std::size_t k = 0; k < order; ++k) {
    std::size_t pivot = k;
    for (std::size_t i = k + 1; i < order; ++i) {
      if (std::abs(at(i, k)) > std::abs(at(pivot, k))) pivot = i;
    }
    if (!(std::abs(at(pivot, k)) > kLeastRest)) return false;
    if (pivot != k) {
      for (std::size_t j = k; j < order; ++j) std::swap(at(pivot, j), at(k, j));
      std::swap(solution[pivot], solution[k]);
    }
    for (std::size_t i = k + 1; i < order; ++i) {
      const double factor = at(i, k) / at(k, k);
      for (std::size_t j = k + 1; j < order; ++j) at(i, j) -= factor * at(k, j);
      solution[i] -= factor * solution[k];
    }
  }
  for (std::size_t k = order; k-- > 0;) {
    for (std::size_t j = k + 1; j < order; ++j) solution[k] -= at(k, j) * solution[j];
    solution[k] /= at(k, k);
  }
  return true;
}

}  // namespace

std::vector<unsigned char> ScoringBytesOf(IQvRegComponent& component) {
  std::vector<unsigned char> bytes;
  const QvCommon::QvStatus status = component.WriteScoring(bytes);
  if (status.IsError()) throw Error(ExitCode::kRunFailed, StatusText(status));
  return bytes;
}

void OpenScorer(const std::vector<unsigned char>& bytes, QvScorer& scorer) {
  const QvCommon::QvStatus status = scorer.Open(bytes);
  if (status.IsError()) throw Error(ExitCode::kRunFailed, StatusText(status));
}

RecordFit::RecordFit(const FittedModel& model)
    : model_(model),
      row_(model.output, scorer_),
      covariance_(ScaledEstimatesOf(model.output).covariance),
      kept_(model.output.GetRedundancyIndicators().Count()) {
  OpenScorer(model.scoring, scorer_);
}

std::unique_ptr<RecordFit> RecordFit::Of(const FittedModel& model) {
  if (dynamic_cast<const QvLogOutputStats*>(&model.output) == nullptr) {
    return std::make_unique<LinearRecordFit>(model);
  }
  return std::make_unique<LogisticRecordFit>(model);
}

bool RecordFit::Read(const QvCommon::Record& record) {
  QvCommon::QvStatus status;
  if (!model_.validator.IsValidRecord(record, status) || !row_.Expand(record)) return false;
  freqWeight_ = WeightAt(record, model_.freqWeight);
  regressionWeight_ = WeightAt(record, model_.regressionWeight);
  return Take(record);
}

LinearRecordFit::LinearRecordFit(const FittedModel& model) : RecordFit(model) {
  multipliers_.resize(1);
}

bool LinearRecordFit::Take(const QvCommon::Record& record) {
  const ScaledEstimates scaled = ScaledEstimatesOf(model_.output);
  predicted_ = 0.0;
  for (std::size_t i = 0; i < row_.Places().size(); ++i) {
    predicted_ += row_.Values()[i] * scaled.estimates[static_cast<std::size_t>(row_.Places()[i])];
  }
  observed_ = record[ModelBinding::kDependent];
  residual_ = std::ldexp(observed_, -scaled.dependentExponent) - predicted_;
  fitted_ = std::ldexp(predicted_, scaled.dependentExponent);
  multipliers_[0] = RegressionWeight() * residual_;
  leverage_.reset();
  return true;
}

double LinearRecordFit::Rest() {
  if (!leverage_) leverage_ = RegressionWeight() * row_.Form(covariance_);
  return 1.0 - *leverage_;
}

std::optional<double> LinearRecordFit::Leverage() {
  const double leverage = 1.0 - Rest();
  // Rounding may take one of 0 or 1 beyond it.
  return std::isfinite(leverage) ? std::optional(std::clamp(*leverage_, 0.0, 1.0)) : std::nullopt;
}

std::optional<double> LinearRecordFit::Standardized() {
  const double rest = Rest();
  if (!model_.residualStdError || !(rest >= kLeastRest)) return std::nullopt;
  return Finite(std::sqrt(RegressionWeight() / rest) * residual_ / *model_.residualStdError);
}

std::optional<double> LinearRecordFit::Studentized() {
  const std::optional<double> standardized = Standardized();
  if (!standardized) return std::nullopt;
  const double df = model_.degreesOfFreedom;
  // The variance of the others is that of all times (df - t^2) / (df - 1).
  return Finite(*standardized * std::sqrt((df - 1.0) / (df - *standardized * *standardized)));
}

std::optional<double> LinearRecordFit::CooksDistance() {
  const std::optional<double> standardized = Standardized();
  if (!standardized) return std::nullopt;
  const double rest = Rest();
  return Finite(*standardized * *standardized * std::max(1.0 - rest, 0.0) / (rest * kept_));
}

LogisticRecordFit::LogisticRecordFit(const FittedModel& model)
    : RecordFit(model),
      categories_(dynamic_cast<const QvLogOutputStats&>(model.output).GetDependCategories()),
      order_(categories_.size() - 1),
      forms_(order_ * order_) {
  multipliers_.resize(order_);
}

bool LogisticRecordFit::Take(const QvCommon::Record& record) {
  hasForms_ = false;
  double code = 0.0;
  const QvCommon::QvStatus status = scorer_.Score(record, code, probabilities_);
  if (status.GetCode() == QvStatusCode::kTooManyParameters) throw std::bad_alloc();
  if (status.IsError()) return false;
  predicted_ = static_cast<int>(code);
  const auto found =
      std::ranges::find(categories_, static_cast<int>(record[ModelBinding::kDependent]));
  own_ = static_cast<std::size_t>(found - categories_.begin());
  if (own_ > order_) return false;
  for (std::size_t k = 0; k < order_; ++k) {
    multipliers_[k] = RegressionWeight() *
                      (k == own_ ? ProbabilityOfOthers(probabilities_, k) : -probabilities_[k]);
  }
  return true;
}

double LogisticRecordFit::LogProbability() const {
  const double others = ProbabilityOfOthers(probabilities_, own_);
  return others < 0.5 ? std::log1p(-others) : std::log(probabilities_[own_]);
}

std::optional<double> LogisticRecordFit::DevianceResidual() const {
  const double size = std::sqrt(-2.0 * RegressionWeight() * LogProbability());
  return Finite(order_ == 1 && own_ == order_ ? -size : size);
}

std::optional<double> LogisticRecordFit::PearsonResidual(std::size_t place) const {
  const double odds = ProbabilityOfOthers(probabilities_, place) / probabilities_[place];
  const double weight = RegressionWeight();
  return Finite(place == own_ ? std::sqrt(weight * odds) : -std::sqrt(weight / odds));
}

double LogisticRecordFit::Weight(std::size_t i, std::size_t j) const {
  return RegressionWeight() * probabilities_[i] *
         (i == j ? ProbabilityOfOthers(probabilities_, i) : -probabilities_[j]);
}

const std::vector<double>& LogisticRecordFit::Forms() {
  if (hasForms_) return forms_;
  hasForms_ = true;
  for (std::size_t i = 0; i < order_; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      const double form = row_.Form(covariance_, static_cast<int>(i), static_cast<int>(j));
      forms_[i * order_ + j] = forms_[j * order_ + i] = form;
    }
  }
  return forms_;
}

std::optional<double> LogisticRecordFit::Leverage() {
  const std::vector<double>& forms = Forms();
  double trace = 0.0;
  for (std::size_t i = 0; i < order_; ++i) {
    for (std::size_t j = 0; j < order_; ++j) trace += Weight(i, j) * forms[j * order_ + i];
  }
  return std::isfinite(trace) ? std::optional(std::max(trace, 0.0)) : std::nullopt;
}

std::optional<double> LogisticRecordFit::CooksDistance() {
  // Without the record the score at the estimates is -X's and the information that of all less
  // X'WX. By Woodbury's formula one step moves them by -V X'u with (I - W X V X') u = s, and the
  // distance is u' X V X' u.
  const std::vector<double>& forms = Forms();
  system_.assign(order_ * order_, 0.0);
  for (std::size_t i = 0; i < order_; ++i) {
    for (std::size_t k = 0; k < order_; ++k) {
      const double weight = Weight(i, k);
      for (std::size_t j = 0; j < order_; ++j) {
        system_[i * order_ + j] -= weight * forms[k * order_ + j];
      }
    }
    system_[i * order_ + i] += 1.0;
  }
  solution_ = multipliers_;
  if (!Solve(system_, solution_)) return std::nullopt;
  double sum = 0.0;
  for (std::size_t i = 0; i < order_; ++i) {
    for (std::size_t j = 0; j < order_; ++j) {
      sum += solution_[i] * forms[i * order_ + j] * solution_[j];
    }
  }
  return Finite(std::max(sum, 0.0) / kept_);
}

}  // namespace qvhost
