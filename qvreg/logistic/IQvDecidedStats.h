#pragma once

#include <vector>

#include "qvreg/common/QvSymMatrix.h"

/// What accumulated statistics tell of decided answers, beside IQvAccumStats.
///
/// A category is decided for a row when it was not observed there and its probability has fallen to
/// next to nothing of what it is over all rows. The information matrix and the scores are sums over
/// pairs of a row's categories; a pair with a decided category is decided. Data are separated when
/// the undecided pairs alone leave a direction of the parameters open (Albert and Anderson, On the
/// existence of maximum likelihood estimates in logistic regression models, Biometrika 71, 1984).
/// Used from one thread at a time.
class IQvDecidedStats {
 public:
  IQvDecidedStats() = default;
  IQvDecidedStats(const IQvDecidedStats&) = delete;
  IQvDecidedStats& operator=(const IQvDecidedStats&) = delete;

  virtual ~IQvDecidedStats() = default;
  /// Writes what the undecided pairs, and what the decided ones, add to the information matrix.
  virtual void GetUndecidedInformation(QvCommon::QvSymMatrix& out) const = 0;
  virtual void GetDecidedInformation(QvCommon::QvSymMatrix& out) const = 0;
  /// What the decided pairs add to the scores.
  [[nodiscard]] virtual const std::vector<double>& GetDecidedScores() const = 0;
};
