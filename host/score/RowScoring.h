#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "host/fit/FitResult.h"
#include "host/fit/SavedModel.h"
#include "host/fit/ScoredRows.h"
#include "host/score/ScoringModel.h"

namespace qvhost {

/// A value of the records to be scored. A plain value.
struct ScoredValue {
  int position = 0;  ///< In the component's records.
  std::optional<SavedScale> scale;
};

/// How many rows were scored, and why others were not. Any thread may add.
struct ScoreCounts {
  std::atomic<long long> scored = 0;
  std::atomic<long long> missing = 0;    ///< A missing value or an unknown level.
  std::atomic<long long> unseen = 0;     ///< A combination of levels that the fit did not have.
  std::atomic<long long> notFinite = 0;  ///< No finite number.
};

/// How to score rows. Borrows model and counts.
struct RowScoring {
  const ScoringModel& model;
  const FitResult& fit;
  std::vector<ScoredValue> values;  ///< In the order of the rows' values.
  bool hasInterval = false;
  double confidence = 0.0;
  ScoreCounts& counts;
};

/// A scorer for one thread. Its columns are, of a linear model, `predicted`, and with an interval
/// `std_error`, `conf_low`, `conf_high`, `pred_low`, `pred_high`: the standard error s of the mean
/// of such rows, see MeanError, the limits of that mean, predicted -+ t s, and of a single one of
/// regression weight 1, predicted -+ t sqrt(r^2 + s^2), with the residual standard error r of the
/// fit and the quantile t of its residual degrees of freedom. Of a logistic model CategoryColumns,
/// and with an interval `se_LEVEL` of each probability, by the delta method. Borrows `scoring`.
[[nodiscard]] std::unique_ptr<RowScorer> MakeRowScorer(const RowScoring& scoring);

}  // namespace qvhost
