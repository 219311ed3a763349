#pragma once

#include <functional>
#include <vector>

#include "host/fit/Interrupt.h"
#include "host/fit/IterationHistory.h"
#include "host/fit/OptimizationEnding.h"
#include "host/table/CodedTable.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "qvreg/settings/QvLogRegSettings.h"

namespace qvhost {

/// Decides whether the estimation of a logistic model goes on where the library stopped before a
/// maximum was reached, and how it ended.
///
/// What looks like separation from the probabilities and the information matrix of one iteration
/// may still have a largest likelihood far away. So it is claimed only when it was seen: estimates
/// keep growing while the log-likelihood stands still, and no record contradicts it. Until then,
/// or until the estimates settle or the user's limits are reached, the model is built again from
/// where it stopped, without the library's test; a build costs five passes beside those of its
/// iterations, of which it has a few at least where they are not spent.
///
/// Borrows what it is made of. One thread at a time.
class Continuation {
 public:
  /// `settings` are those of the first build; `history` receives the iterations of all.
  Continuation(QvLogRegSettings& settings, const CodedTable& table, IterationHistory& history,
               const Interrupt& interrupt, std::function<void(long long)> progress);

  /// To be asked after each build, with its output: whether another one is to follow, for which it
  /// has changed the settings. `progress` above is told of the records that it reads meanwhile.
  /// Throws Cancelled when interrupted.
  [[nodiscard]] bool GoesOn(const QvLogOutputStats& output);

  /// How all builds together ended, once none is to follow.
  [[nodiscard]] const OptimizationEnding& Ending() const { return ending_; }

 private:
  void Count(const QvLogOutputStats& output);
  /// Whether the records confirm what the latest iterations look like; the ending then says so.
  [[nodiscard]] bool IsSeparationSeen(const QvLogOutputStats& output);
  /// Whether another build could only repeat what this one found.
  [[nodiscard]] bool IsStuck(const QvLogOutputStats& output) const;
  void PrepareBuild(const QvLogOutputStats& output);

  QvLogRegSettings& settings_;
  const CodedTable& table_;
  IterationHistory& history_;
  const Interrupt& interrupt_;
  std::function<void(long long)> progress_;
  const int maxIterations_;
  const bool isSeparationLookedFor_;
  const double logLikelihoodCriterion_;
  int builds_ = 0;
  double logLikelihoodBefore_ = 0.0;  ///< Of the build before, where there was one.
  OptimizationEnding ending_;
};

}  // namespace qvhost
