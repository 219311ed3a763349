#pragma once

#include <vector>

#include "host/fit/IterationHistory.h"
#include "host/fit/RecordWalk.h"
#include "host/table/CodedTable.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/logistic/QvIterationReporter.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "qvreg/settings/QvLogRegSettings.h"

namespace qvhost {

/// How the records separate the levels of the dependent.
enum class Separation {
  kNone,           ///< Records overlap, along the direction that was checked.
  kQuasiComplete,  ///< Some records are separated, and none contradicts it.
  kComplete        ///< Every record is, by the estimates too.
};

/// Checks every record that was used: where the direction moves none of them away from its own
/// level, and some towards it, larger estimates always fit better, and the likelihood has no
/// maximum (Albert and Anderson, On the existence of maximum likelihood estimates in logistic
/// regression models, Biometrika 71, 1984).
///
/// `direction` has a value for each parameter, in the order of the output's estimates: the change
/// of each estimate in an iteration, in which the log odds of separated records change by about 1.
/// The `output` is that of the `component`. Makes one pass over the table. Throws Cancelled when
/// interrupted, Error (kRunFailed) when the table cannot be read to its end.
[[nodiscard]] Separation CheckSeparation(const CodedTable& table, IQvRegComponent& component,
                                         const QvLogOutputStats& output,
                                         const std::vector<double>& direction,
                                         const WalkOptions& walk);

/// How the estimation of a logistic model ended, over all builds that it took.
struct OptimizationEnding {
  QvOptimizationOutcome outcome = kOptContinue;
  int iterations = 0;
  int stepHalvings = 0;
  /// Of separated levels: the change of each estimate in the last iteration, 0 where it does not
  /// keep growing. Empty for any other outcome.
  std::vector<double> growth = {};
};

/// Decides whether the estimation of a logistic model continues where the library stopped before a
/// maximum was reached, and how it ended.
///
/// What looks like separation from the probabilities and the information matrix of one iteration
/// may still have a maximum far away. So separation is reported only when estimates keep growing
/// while the log-likelihood is stationary, and no record contradicts it. Until then, or until the
/// estimates settle or the user's limits are reached, the model is built again from where it
/// stopped, without the library's own test. A build costs five passes beside those of its
/// iterations, so it makes at least a few of them.
///
/// Borrows what it is made of. One thread at a time.
class Continuation {
 public:
  /// `settings` are those of the first build; `history` receives the iterations of all; `walk` is
  /// for the passes that are made between builds.
  Continuation(QvLogRegSettings& settings, const CodedTable& table, IterationHistory& history,
               WalkOptions walk);

  /// To be called after each build, with its component and output: whether another one is to
  /// follow, for which it has changed the settings. Throws as CheckSeparation does.
  [[nodiscard]] bool IsNeededAfter(IQvRegComponent& component, const QvLogOutputStats& output);

  /// How all builds together ended, once none is to follow.
  [[nodiscard]] const OptimizationEnding& Ending() const { return ending_; }

 private:
  void Count(const QvLogOutputStats& output);
  /// Whether the estimates changed little only since the step was halved often: the whole step
  /// exceeds the criterion.
  [[nodiscard]] bool IsHalvedToSettle(const QvLogOutputStats& output) const;
  /// Whether the records confirm the separation that the latest iterations suggest; the ending then
  /// says so.
  [[nodiscard]] bool IsSeparated(IQvRegComponent& component, const QvLogOutputStats& output);
  /// Whether another build could only repeat what this one found.
  [[nodiscard]] bool IsStuck(const QvLogOutputStats& output) const;
  void PrepareBuild(const QvLogOutputStats& output);

  QvLogRegSettings& settings_;
  const CodedTable& table_;
  IterationHistory& history_;
  const WalkOptions walk_;
  const int maxIterations_;
  const bool checksSeparation_;
  const double logLikelihoodCriterion_;
  int builds_ = 0;
  double logLikelihoodBefore_ = 0.0;  ///< Of the build before, where there was one.
  OptimizationEnding ending_;
};

}  // namespace qvhost
