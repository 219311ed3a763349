#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/logistic/IQvAccumStats.h"
#include "tests/qvreg/support/StubRegModel.h"

namespace qvtest {

/// A made-up log-likelihood to be maximised: what statistics, data handler and model of a run
/// answer, without any data. Tests set the public fields before the run.
class ScriptedObjective {
 public:
  using Doubles = std::vector<double>;

  /// Of n parameters starting at `start`, with K categories: the log-likelihood
  /// -1 - sum (beta - 2)^2 / 2, whose information is the unit matrix. A Newton step solves it.
  ScriptedObjective(Doubles start, int K);

  /// The log-likelihood of a trial step.
  std::function<double(const Doubles&)> trialLL;
  /// That of a full pass; the same as of a trial unless set.
  std::function<double(const Doubles&)> fullLL;
  std::function<Doubles(const Doubles&)> scores;
  std::function<QvCommon::QvSymMatrix(const Doubles&)> information;
  double minObserved = 0.3;
  double maxObserved = 0.7;
  double minComputed = 0.3;
  double weight = 50.0;
  double stepAdjustment = 1.0;
  /// The pass, counted from 1, that answers `failure`; 0 for none.
  int failingPass = 0;
  QvCommon::QvStatus failure{303, false};
  /// Called at the end of every pass with its number.
  std::function<void(int)> afterPass;

  Doubles beta;
  StubRegModel model;
  /// Every call in order: "set", "reset m s" with method and separation flag, "ll", "full",
  /// "clean".
  std::vector<std::string> calls;
  /// The estimates at every pass.
  std::vector<Doubles> visited;

  [[nodiscard]] IQvAccumStats& Stats() { return stats_; }
  [[nodiscard]] IQvDataHandler& Handler() { return handler_; }
  [[nodiscard]] int Passes() const { return static_cast<int>(visited.size()); }

 private:
  class Stats_ final : public IQvAccumStats {
   public:
    explicit Stats_(ScriptedObjective& owner) : owner_(owner) {}

    void Reset(QvConst::QvEstimationMethod method, bool separationCheck) override;
    bool CheckConstraints() override { return true; }
    int UpdateForRow(const std::vector<int>&, const Doubles&, int, double, bool) override {
      return 0;
    }
    [[nodiscard]] double GetLL() const override { return logLikelihood; }
    [[nodiscard]] const Doubles& GetScores() const override { return scores; }
    void GetHessian(QvCommon::QvSymMatrix& out) const override { out = information; }
    void GetCounts(int& validRows, int& invalidCalls, double& weight) const override;
    void GetMinMaxProbabilities(double& lowest, double& highest,
                                double& lowestOfAll) const override;
    [[nodiscard]] double GetStepAdjustmentFactor() const override { return owner_.stepAdjustment; }
    void Display(bool llOnly) const override;

    double logLikelihood = 0.0;
    Doubles scores;
    QvCommon::QvSymMatrix information;

   private:
    ScriptedObjective& owner_;
  };

  class Handler_ final : public IQvDataHandler {
   public:
    explicit Handler_(ScriptedObjective& owner) : owner_(owner) {}

    void SetStatsModel(IQvAccumStats* stats, const IQvRegModel* ofModel) override;
    void ResetAccumStats(QvConst::QvEstimationMethod method, bool separationCheck) override;
    void CleanStatsModel() override { owner_.calls.emplace_back("clean"); }
    QvCommon::QvStatus ComputeStatsForOptimizer(bool llOnly) override;
    [[nodiscard]] const std::vector<QvCommon::QvStatus>& GetWarnings() const override {
      return warnings_;
    }
    void Display() const override {}

   private:
    ScriptedObjective& owner_;
    std::vector<QvCommon::QvStatus> warnings_;
  };

  QvCommon::QvStatus Pass(bool llOnly);

  Stats_ stats_{*this};
  Handler_ handler_{*this};
};

}  // namespace qvtest
