#pragma once

#include <deque>
#include <vector>

namespace qvhost {

/// The latest iterations of a logistic estimation: tells whether estimates keep growing while the
/// log-likelihood stands still, as they do where no largest likelihood exists. One thread at a
/// time.
class IterationHistory {
 public:
  /// The state after an iteration, or at the start: the log-likelihood, and the estimates of the
  /// parameters that are not redundant. One that changed nothing is no iteration.
  void Add(double logLikelihood, const std::vector<double>& estimates);
  [[nodiscard]] bool IsEmpty() const { return points_.empty(); }

  /// Whether the log-likelihood changed by no more than kStill of the first one in each of the last
  /// kSteps iterations.
  [[nodiscard]] bool IsStill() const;
  /// Whether `gain`, of a log-likelihood, is as small as that.
  [[nodiscard]] bool IsNothing(double gain) const;
  /// What the estimates gained in the latest iteration; empty before there is one.
  [[nodiscard]] std::vector<double> LastStep() const;
  /// The same, and 0 for an estimate that has not gained about the same in each of the last kSteps
  /// iterations.
  [[nodiscard]] std::vector<double> Growth() const;
  [[nodiscard]] bool IsGrowing() const;

  /// The latest iteration, and the first one since the last Forget, in which estimates were growing
  /// while the log-likelihood stood still: later ones suffer from rounding, earlier ones from what
  /// has not settled yet.
  struct Sight {
    std::vector<double> step;    ///< As LastStep.
    std::vector<double> growth;  ///< As Growth.
  };
  [[nodiscard]] const std::vector<Sight>& Sights() const { return sights_; }
  void Forget() { sights_.clear(); }

  static constexpr int kSteps = 3;
  static constexpr double kStill = 1e-8;

 private:
  struct Point {
    double logLikelihood;
    std::vector<double> estimates;
  };
  [[nodiscard]] bool HasSteps() const { return points_.size() > kSteps; }
  /// What an estimate gained in a step, 1 being the latest.
  [[nodiscard]] double Gain(std::size_t parameter, int stepsBack) const;

  double firstLogLikelihood_ = 0.0;
  std::deque<Point> points_;   ///< The latest last, kSteps + 1 at most.
  std::vector<Sight> sights_;  ///< Two at most.
};

}  // namespace qvhost
