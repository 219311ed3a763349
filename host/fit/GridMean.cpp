#include "host/fit/GridMean.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "host/fit/RecordFit.h"
#include "host/fit/ScaledEstimates.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace qvhost {
namespace {

std::size_t CategoriesOf(const IQvRegOutputStats& output) {
  const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&output);
  return logistic == nullptr ? 0 : logistic->GetDependCategories().size();
}

}  // namespace

GridMean GridMean::Combined(const GridMean& one, double a, const GridMean& other, double b) {
  GridMean sum;
  sum.hasRows_ = one.hasRows_ && other.hasRows_;
  sum.blockSize_ = one.blockSize_;
  sum.predictor_ = qvhost::Combined(one.predictor_, a, other.predictor_, b);
  sum.open_.Add(one.open_, a);
  sum.open_.Add(other.open_, b);
  if (!one.HasProbabilities() || !other.HasProbabilities()) return sum;
  for (std::size_t k = 0; k < one.probabilities_.size(); ++k) {
    sum.probabilities_.push_back(a * one.probabilities_[k] + b * other.probabilities_[k]);
    sum.gradients_.push_back(qvhost::Combined(one.gradients_[k], a, other.gradients_[k], b));
  }
  return sum;
}

Gradient GridMean::PredictorGradient(std::size_t category) const {
  Gradient gradient = predictor_;
  for (std::size_t& parameter : gradient.parameters) parameter += category * blockSize_;
  return gradient;
}

GridMeanMaker::GridMeanMaker(const ReferenceGrid& grid, const Estimability& estimability,
                             const IQvRegOutputStats& output,
                             const std::vector<unsigned char>& scoring)
    : grid_(grid),
      estimability_(estimability),
      row_(output, scorer_, DesignRow::Columns::kAll),
      kept_(KeptParameters(output)),
      categories_(CategoriesOf(output)),
      record_(grid.RecordSize()),
      scratch_(estimability),
      predictor_(static_cast<std::size_t>(row_.BlockSize())),
      gradients_(categories_, GradientSum(kept_.size())),
      derivatives_(categories_ == 0 ? 0 : categories_ - 1) {
  if (record_.Size() != grid.RecordSize()) throw std::bad_alloc();
  OpenScorer(scoring, scorer_);
}

bool GridMeanMaker::AddProbabilities(double weight) {
  double code = 0.0;
  const QvCommon::QvStatus status = scorer_.Score(record_, code, probabilities_);
  if (status.GetCode() == QvStatusCode::kTooManyParameters) throw std::bad_alloc();
  const auto isNumber = [](double p) { return LibraryNumber(p).has_value(); };
  if (status.IsError() || !std::ranges::all_of(probabilities_, isNumber)) return false;
  for (std::size_t k = 0; k < categories_; ++k) {
    sums_[k] += weight * probabilities_[k];
    DeriveProbability(probabilities_, k, derivatives_);
    for (std::size_t m = 0; m + 1 < categories_; ++m) {
      gradients_[k].Add(m * static_cast<std::size_t>(row_.BlockSize()), row_.Places(),
                        row_.Values(), weight * derivatives_[m]);
    }
  }
  return true;
}

void GridMeanMaker::AddRow(double weight, GridMean& mean) {
  const bool isWhole = row_.Expand(record_);
  const bool isKnown = isWhole || estimability_.AddMissing(record_, weight, mean.open_);
  // A row that cannot be made for another reason tells nothing.
  mean.hasRows_ = mean.hasRows_ && isKnown;
  predictor_.Add(0, row_.Places(), row_.Values(), weight);
  if (!hasProbabilities_) return;
  columns_.assign(row_.Places().begin(), row_.Places().end());
  hasProbabilities_ = isWhole &&
                      estimability_.PartsOf(columns_, row_.Values(), scratch_).IsEmpty() &&
                      AddProbabilities(weight);
}

GridMean GridMeanMaker::Of(const ReferenceGrid::Fixed& values) {
  GridMean mean;
  mean.hasRows_ = true;
  mean.blockSize_ = static_cast<std::size_t>(row_.BlockSize());
  hasProbabilities_ = categories_ > 0;
  sums_.assign(categories_, 0.0);
  const std::optional<double> total =
      grid_.Walk(values, [&](const ReferenceGrid::Values& row, double weight) {
        grid_.Fill(row, record_);
        AddRow(weight, mean);
      });
  const double share = 1.0 / total.value_or(1.0);
  const Gradient all = predictor_.Take(share);
  mean.open_.Multiply(share);
  mean.open_.Add(estimability_.PartsOf(all.parameters, all.weights, scratch_), 1.0);
  for (std::size_t i = 0; i < all.parameters.size(); ++i) {
    if (!kept_[all.parameters[i]]) continue;
    mean.predictor_.parameters.push_back(all.parameters[i]);
    mean.predictor_.weights.push_back(all.weights[i]);
  }
  mean.hasRows_ = mean.hasRows_ && total.has_value();
  for (std::size_t k = 0; k < categories_; ++k) {
    Gradient gradient = gradients_[k].Take(share);
    if (!hasProbabilities_ || !mean.hasRows_) continue;
    mean.probabilities_.push_back(share * sums_[k]);
    mean.gradients_.push_back(std::move(gradient));
  }
  return mean;
}

}  // namespace qvhost
