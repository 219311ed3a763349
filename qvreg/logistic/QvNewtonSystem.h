#pragma once

#include <vector>

#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/logistic/IQvAccumStats.h"

/// Newton's equations for the latest pass of accumulated statistics: factors the information
/// matrix, solves for the step, inverts, and measures how near the data are to being separated.
///
/// A matrix that the plain factorisation finds singular is factored again in other coordinates,
/// another basis of the parameters: columns centred by the intercepts, and directions on which only
/// decided pairs carry information, without the undecided ones, whose rounding errors would exceed
/// it. Borrows the statistics; the matrix is the caller's. Operations throw std::bad_alloc. Used
/// from one thread at a time.
class QvNewtonSystem {
 public:
  /// Of `order` parameters in as many blocks of one length as there are intercepts, each block led
  /// by its intercept; `nIntercepts` is 0 for a model without.
  /// `isStopped` is asked in between while a large matrix is factored or inverted; once it answered
  /// true it must go on to.
  QvNewtonSystem(
      const IQvAccumStats& stats, int order, int nIntercepts,
      QvCommon::QvStopQuery isStopped = [] { return false; });

  /// Fills `matrix` with the information of the latest pass and factors it; what LTChol returns:
  /// 0 when every pivot is sound by the tolerance `tol`, kStopped when stopped.
  int Factor(double tol, QvCommon::QvSymMatrix& matrix);
  /// With the factor in place: the Newton step; 0, or 1 for scores of another length.
  int Solve(const QvCommon::QvSymMatrix& factor, std::vector<double>& step) const;
  /// With the factor in place: replaces it by the inverse of the information matrix; false when
  /// stopped.
  bool Invert(QvCommon::QvSymMatrix& factor) const;

  /// Frees what the latest factor holds besides the caller's matrix.
  void Clear() { fDirections = {}; }

  /// LTChol's measure of the undecided information, centred by the intercepts: towards 0 when data
  /// are separated. But 1 when the direction of its smallest pivot has a score of undecided pairs
  /// beside that of the decided ones: few records may carry little information and yet balance all
  /// others, which makes the maximum finite. Undefined when stopped.
  [[nodiscard]] double SeparationMeasure(double tol) const;

 private:
  using Vector = std::vector<double>;

  /// A matrix in the order of fOrder, with its factor at the tolerance of rounding.
  struct Elimination {
    QvCommon::QvSymMatrix matrix;
    QvCommon::QvSymMatrix factor;
    double roundingShare = 0.0;

    [[nodiscard]] bool IsOpen(int k) const { return !(factor.GetElem(k, k) > 0.0); }
    /// Column k of the matrix less its regression on its first `limit` columns, as a direction.
    [[nodiscard]] Vector Direction(int k, int limit) const;
    /// The columns from `first` on, less their regression on those before; some when stopped.
    [[nodiscard]] QvCommon::QvSymMatrix Centred(int first,
                                                const QvCommon::QvStopQuery& isStopped) const;
  };

  [[nodiscard]] QvCommon::QvSymMatrix Ordered(const QvCommon::QvSymMatrix& matrix) const;
  [[nodiscard]] Vector Ordered(const Vector& values) const;
  [[nodiscard]] Elimination Eliminate() const;
  /// The information matrix in the coordinates fDirections, which it makes.
  [[nodiscard]] QvCommon::QvSymMatrix Transformed(double tol);
  void AddDecided(double tol, const std::vector<bool>& isOpen, QvCommon::QvSymMatrix& out) const;
  /// True when the score along `direction` is that of the decided pairs.
  [[nodiscard]] bool IsScoreDecided(const Elimination& undecided, const Vector& direction) const;

  const IQvAccumStats& fStats;
  const IQvDecidedStats* fpDecided;
  int fNIntercepts;
  QvCommon::QvStopQuery fIsStopped;
  /// The parameters, intercepts first.
  std::vector<int> fOrder;
  /// The coordinates of the latest factor; empty for the parameters themselves.
  std::vector<Vector> fDirections;
  std::vector<bool> fIsOpen;
};
