#pragma once

#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "host/fit/FitPlots.h"
#include "qvreg/component/ProgressListener.h"

namespace qvhost {

/// The latest iterations of a logistic estimation: tells whether estimates keep growing while the
/// log-likelihood is stationary, as they do where no maximum exists. One thread at a time.
class IterationHistory {
 public:
  /// The state after an iteration, or at the start: the log-likelihood, and the estimates of the
  /// parameters that are not redundant. A state with the same estimates as the one before is
  /// ignored.
  void Add(double logLikelihood, const std::vector<double>& estimates);
  [[nodiscard]] bool IsEmpty() const { return points_.empty(); }

  /// Whether the log-likelihood changed negligibly in each of the last kSteps iterations.
  [[nodiscard]] bool IsStationary() const;
  /// Whether a change of the log-likelihood is at most kNegligible times the first one.
  [[nodiscard]] bool IsNegligible(double change) const;
  /// The change of each estimate in the latest iteration; empty before there is one.
  [[nodiscard]] std::vector<double> LastStep() const;
  /// The same, and 0 for an estimate that did not change by about the same in each of the last
  /// kSteps iterations.
  [[nodiscard]] std::vector<double> Growth() const;
  [[nodiscard]] bool IsGrowing() const;

  /// An iteration in which estimates grew while the log-likelihood was stationary.
  struct Candidate {
    std::vector<double> step;    ///< As LastStep.
    std::vector<double> growth;  ///< As Growth.
  };
  /// The first such iteration since the last ClearCandidates, and the latest: later ones suffer
  /// from rounding, earlier ones from estimates that have not settled yet.
  [[nodiscard]] const std::vector<Candidate>& Candidates() const { return candidates_; }
  void ClearCandidates() { candidates_.clear(); }

  /// How often the step of the latest iteration was halved.
  void SetHalvings(int halvings) { halvings_ = halvings; }
  [[nodiscard]] int Halvings() const { return halvings_; }

  static constexpr int kSteps = 3;
  static constexpr double kNegligible = 1e-8;

 private:
  struct Point {
    double logLikelihood;
    std::vector<double> estimates;
  };
  [[nodiscard]] bool HasSteps() const { return points_.size() > kSteps; }
  /// The change of an estimate in a step, 1 being the latest.
  [[nodiscard]] double Change(std::size_t parameter, int stepsBack) const;

  int halvings_ = 0;
  double firstLogLikelihood_ = 0.0;
  std::deque<Point> points_;           ///< The latest last, kSteps + 1 at most.
  std::vector<Candidate> candidates_;  ///< Two at most.
};

/// Receives the iterations of a logistic model, formats them for a progress line and adds them to a
/// history. One thread: the one that builds the model.
class IterationListener : public ProgressListener {
 public:
  /// `onChange` is called when another iteration begins.
  explicit IterationListener(std::function<void()> onChange) : onChange_(std::move(onChange)) {}

  void ReportProgress(ProgressReport* report) override;

  /// The next build continues after this many iterations of the builds before.
  void ContinueFrom(int iterations) { iterationsBefore_ = iterations; }

  /// The current iteration, such as `iteration 4, log-likelihood -123.457`, with the values of the
  /// one before; `estimating` before the first report.
  [[nodiscard]] const std::string& Stage() const { return stage_; }
  /// The iterations of all builds.
  [[nodiscard]] IterationHistory& History() { return history_; }
  /// What was reported of each, in their order: a build that continues starts where the one before
  /// ended, which counts once. Log-likelihoods that are not finite are left out.
  [[nodiscard]] const std::vector<IterationPoint>& Points() const { return points_; }

 private:
  void AddPoint(const IterationPoint& point);

  std::function<void()> onChange_;
  std::string stage_ = "estimating";
  int iterationsBefore_ = 0;
  IterationHistory history_;
  std::vector<IterationPoint> points_;
};

}  // namespace qvhost
