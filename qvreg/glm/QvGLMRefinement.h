#pragma once

#include <vector>

#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/common/QvTwofold.h"
#include "qvreg/design/QvDesignRow.h"

/// One step of iterative refinement of least-squares estimates (Bjorck, Numerical Methods for Least
/// Squares Problems, 1996, section 2.9): residuals and their gradient are formed in twice working
/// precision during the residual pass, and the generalized inverse at hand turns the gradient into
/// a correction.
///
/// Holds one number in twice working precision per parameter. Used from one thread at a time.
class QvGLMRefinement {
 public:
  /// For p parameters. May throw std::bad_alloc.
  explicit QvGLMRefinement(int p) : fGradient(static_cast<std::size_t>(p)) {}

  /// Adds a record: its design row without the dependent, the dependent y and the weight w.
  /// Returns the residual y - row x estimates.
  double AddRecord(const QvDesignRow& row, double y, double w,
                   const std::vector<double>& estimates);
  /// Corrects the estimates; returns by how much that lowers the weighted sum of squared residuals.
  /// `factor` times `inverse` is the generalized inverse of X'WX, whose leading rows stand for the
  /// parameters.
  double Apply(const QvCommon::QvSymMatrix& inverse, double factor,
               std::vector<double>& estimates) const;

 private:
  std::vector<QvCommon::QvTwofold> fGradient;
};
