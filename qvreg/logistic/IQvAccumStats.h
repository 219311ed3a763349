#pragma once

#include <vector>

#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/settings/QvConst.h"

/// What one pass over the data accumulates for the optimizer: log-likelihood, score vector and
/// information matrix at the current estimates. Used from one thread at a time.
class IQvAccumStats {
 public:
  IQvAccumStats() = default;
  IQvAccumStats(const IQvAccumStats&) = delete;
  IQvAccumStats& operator=(const IQvAccumStats&) = delete;

  virtual ~IQvAccumStats() = default;
  /// Sets every sum to zero; `separationCheck` tracks extreme probabilities in the next pass.
  virtual void Reset(QvConst::QvEstimationMethod method, bool separationCheck) = 0;
  /// True when the estimates satisfy the model's constraints.
  virtual bool CheckConstraints() = 0;
  /// Adds a sparse design row with its local category (reference last) and weight; `llOnly` leaves
  /// score and information alone. 0, or -1 for a row that cannot be added.
  virtual int UpdateForRow(const std::vector<int>& indices, const std::vector<double>& values,
                           int category, double weight, bool llOnly) = 0;
  [[nodiscard]] virtual double GetLL() const = 0;
  [[nodiscard]] virtual const std::vector<double>& GetScores() const = 0;
  /// Writes the information matrix, the negative Hessian of the log-likelihood.
  virtual void GetHessian(QvCommon::QvSymMatrix& out) const = 0;
  virtual void GetCounts(int& validRows, int& invalidCalls, double& weight) const = 0;
  /// The extreme probabilities of the observed category, and the smallest one computed.
  virtual void GetMinMaxProbabilities(double& minObserved, double& maxObserved,
                                      double& minComputed) const = 0;
  /// Half of what a step is divided by at each step-halving.
  [[nodiscard]] virtual double GetStepAdjustmentFactor() const = 0;
  virtual void Display(bool llOnly) const = 0;
};
