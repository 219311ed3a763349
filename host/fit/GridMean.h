#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "host/fit/DesignRow.h"
#include "host/fit/Estimability.h"
#include "host/fit/ReferenceGrid.h"
#include "host/inference/DeltaMethod.h"
#include "qvreg/common/Record.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/parallel/QvScorer.h"

namespace qvhost {

/// The mean of rows of a grid, or a combination of such means: of the linear predictors as a
/// function of the estimates, and of a logistic model's probabilities with their gradients. In the
/// units of the estimation. A plain value.
class GridMean {
 public:
  /// Of no rows: nothing can be estimated.
  GridMean() = default;

  /// `a` times one mean plus `b` times another.
  [[nodiscard]] static GridMean Combined(const GridMean& one, double a, const GridMean& other,
                                         double b);

  [[nodiscard]] bool IsEstimable() const { return hasRows_ && open_.IsEmpty(); }
  /// The coefficients of the estimates of a category, by its place; 0 for a linear model.
  [[nodiscard]] Gradient PredictorGradient(std::size_t category) const;

  /// Whether the probabilities of every row can be estimated.
  [[nodiscard]] bool HasProbabilities() const { return !probabilities_.empty(); }
  [[nodiscard]] double Probability(std::size_t category) const { return probabilities_[category]; }
  [[nodiscard]] const Gradient& ProbabilityGradient(std::size_t category) const {
    return gradients_[category];
  }

 private:
  friend class GridMeanMaker;

  bool hasRows_ = false;
  Gradient predictor_;  ///< Of the first category; the others' parameters follow in blocks.
  std::size_t blockSize_ = 0;
  OpenParts open_;
  std::vector<double> probabilities_;  ///< Of every category; empty where there are none.
  std::vector<Gradient> gradients_;
};

/// Makes means of one place of a grid after the other. Borrows what it is made of. One thread at a
/// time; several are independent.
class GridMeanMaker {
 public:
  /// `scoring`: what QvScorer opens. Throws Error (kRunFailed) where it does not.
  GridMeanMaker(const ReferenceGrid& grid, const Estimability& estimability,
                const IQvRegOutputStats& output, const std::vector<unsigned char>& scoring);

  /// The mean of the rows that have these values.
  [[nodiscard]] GridMean Of(const ReferenceGrid::Fixed& values);

 private:
  void AddRow(double weight, GridMean& mean);
  bool AddProbabilities(double weight);

  const ReferenceGrid& grid_;
  const Estimability& estimability_;
  QvScorer scorer_;
  DesignRow row_;
  std::vector<bool> kept_;
  std::size_t categories_;  ///< 0 of a linear model.
  QvCommon::Record record_;
  Estimability::Scratch scratch_;
  GradientSum predictor_;
  std::vector<GradientSum> gradients_;  ///< For each category.
  std::vector<double> sums_;            ///< Of its probabilities.
  bool hasProbabilities_ = false;
  std::vector<double> probabilities_;
  std::vector<double> derivatives_;
  std::vector<std::size_t> columns_;
};

}  // namespace qvhost
