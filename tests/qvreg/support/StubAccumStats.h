#pragma once

#include <vector>

#include "qvreg/logistic/IQvAccumStats.h"

namespace qvtest {

/// Statistics without sums: tests override what they ask for, UpdateForRow at least.
class StubAccumStats : public IQvAccumStats {
 public:
  void Reset(QvConst::QvEstimationMethod /*method*/, bool /*separationCheck*/) override {}
  bool CheckConstraints() override { return true; }
  [[nodiscard]] double GetLL() const override { return 0.0; }
  [[nodiscard]] const std::vector<double>& GetScores() const override { return noScores_; }
  void GetHessian(QvCommon::QvSymMatrix& /*out*/) const override {}
  void GetCounts(int& /*rows*/, int& /*invalid*/, double& /*weight*/) const override {}
  void GetMinMaxProbabilities(double& /*minObserved*/, double& /*maxObserved*/,
                              double& /*minComputed*/) const override {}
  [[nodiscard]] double GetStepAdjustmentFactor() const override { return 1.0; }
  void Display(bool /*llOnly*/) const override {}

 private:
  std::vector<double> noScores_;
};

}  // namespace qvtest
