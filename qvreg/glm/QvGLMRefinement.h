#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/common/QvDoubleDouble.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/design/QvDesignRow.h"

/// Iterative refinement of least-squares estimates (Bjorck, Numerical Methods for Least Squares
/// Problems, 1996, section 2.9): residuals and their gradient are formed in double-double during a
/// pass over the records, and the generalized inverse at hand turns the gradient into a correction.
///
/// A step is a pass of AddRecord and then Step, which says whether another pass follows: while a
/// correction still changes an estimate by more than 1e-11 of it, and corrections shrink. A change
/// counts as none that rounding another estimate to a double may cause as well. Corrections shrink
/// when each takes less off the residual sum. One that does not, or that would change the sum as
/// none can, comes from an inverse too inaccurate for it and is not made; of the estimates before
/// and after the last one those stay that are closer to the minimum.
///
/// Holds a number in double-double and three doubles per parameter. Used from one thread at a time.
class QvGLMRefinement {
 public:
  /// For p parameters and at most `mostSteps` steps, at least one. May throw std::bad_alloc.
  QvGLMRefinement(int p, int mostSteps)
      : fGradient(static_cast<std::size_t>(p)),
        fChanges(static_cast<std::size_t>(p)),
        fBefore(static_cast<std::size_t>(p)),
        fMostSteps(mostSteps) {}

  /// The residual y - row x estimates; the row is without the dependent y.
  [[nodiscard]] static QvCommon::QvDoubleDouble ResidualOf(const QvDesignRow& row, double y,
                                                           const std::vector<double>& estimates);
  /// Adds a record: its design row, residual and weight w.
  void AddRecord(const QvDesignRow& row, QvCommon::QvDoubleDouble residual, double w);
  /// The gradient that AddRecord sums, for records that are added otherwise.
  [[nodiscard]] std::vector<QvCommon::QvDoubleDouble>& GetGradient() { return fGradient; }
  /// Exchanges the gradient that AddRecord sums for another of as many parameters.
  void SwapGradient(std::vector<QvCommon::QvDoubleDouble>& gradient) { fGradient.swap(gradient); }
  /// Ends a pass: corrects the estimates. True when another pass and step may improve them.
  /// `residualSum` is the weighted sum of squared residuals of this pass. `factor` times `inverse`
  /// is the generalized inverse of X'WX, whose leading rows stand for the parameters.
  bool Step(const QvCommon::QvSymMatrix& inverse, double factor, double residualSum,
            std::vector<double>& estimates);
  /// After a step: the weighted sum of squared residuals of the estimates that it left; rounding
  /// may make it negative.
  [[nodiscard]] double GetResidualSum() const { return fResidualSum; }

 private:
  /// Finds the changes; by how much they lower the residual sum.
  double FindChanges(const QvCommon::QvSymMatrix& inverse, double factor,
                     const std::vector<double>& estimates);
  /// The largest change as a share of its estimate, those aside that rounding explains.
  [[nodiscard]] double LargestChange(const QvCommon::QvSymMatrix& inverse,
                                     const std::vector<double>& estimates) const;
  /// Makes the changes, and keeps what was before.
  void Correct(double residualSum, std::vector<double>& estimates);

  std::vector<QvCommon::QvDoubleDouble> fGradient;
  std::vector<double> fChanges;  ///< To the estimates, of the step at hand.
  std::vector<double> fBefore;   ///< The estimates before the last step.
  int fMostSteps;
  int fSteps = 0;
  double fDecrease = 0.0;   ///< Of the residual sum by the last step.
  double fSumBefore = 0.0;  ///< The residual sum before the last step.
  double fResidualSum = 0.0;
};
