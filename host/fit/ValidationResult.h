#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/fit/ValidationOptions.h"

namespace qvhost {

/// How well records are predicted that the fit did not see. A plain value; numbers that do not
/// exist are absent.
struct ValidationScore {
  long long records = 0;  ///< Scored.
  double weight = 0.0;    ///< Their frequency weights.
  std::optional<double> rSquare;
  std::optional<double> rmse;
  std::optional<double> meanAbsoluteError;
  std::optional<double> logLoss;  ///< This and the rest: of a logistic model.
  std::optional<double> brier;
  std::optional<double> accuracy;
  std::optional<double> auc;          ///< Of more than two levels Hand's and Till's mean.
  std::optional<double> aucWeighted;  ///< Mean over the levels, by their weights.
};

/// What the levels of the dependent are told apart by.
struct ValidationLevel {
  std::string level;
  double weight = 0.0;        ///< Of the records scored that have it.
  std::optional<double> auc;  ///< It against all others.
};

/// A tenth of the records scored, by the probability of a level.
struct CalibrationGroup {
  std::string level;
  int group = 0;  ///< From 1 on.
  double weight = 0.0;
  double meanPredicted = 0.0;
  double observed = 0.0;  ///< The share that has the level.
};

/// What became of the records held out, of all folds together.
struct HeldOutUse {
  /// A column with levels that the fit has not seen.
  struct UnseenColumn {
    std::string column;
    long long records = 0;  ///< With such a level.
    std::vector<std::string> levels = {};
  };
  /// A level of the dependent that the fit has not seen.
  struct UnknownCategory {
    std::string category;
    long long records = 0;
  };

  long long heldOut = 0;
  long long missing = 0;     ///< Not usable: a value is missing.
  long long badWeight = 0;   ///< Not usable: a weight is missing or not above 0.
  long long unscorable = 0;  ///< Usable, but with levels, or a combination, that have no estimate.
  std::vector<UnseenColumn> unseenColumns = {};
  long long unseenCombinations = 0;  ///< Unscorable, with no unseen level.
  std::vector<UnknownCategory> unknownCategories = {};
};

/// One of several folds.
struct FoldScore {
  long long training = 0;  ///< Records that were fitted.
  long long heldOut = 0;
  ValidationScore score;
};

/// What --split, --holdout and --folds found. A plain value.
struct ValidationResult {
  ValidationOptions options;
  long long training = 0;  ///< Records that were fitted; of folds, the fewest.
  HeldOutUse use;
  ValidationScore score;  ///< Over all records scored.
  /// Of a logistic model: in the order of the fit's levels.
  std::vector<ValidationLevel> levels;
  std::vector<std::vector<double>> classification;  ///< Rows observed, columns predicted.
  std::vector<CalibrationGroup> calibration;
  std::vector<FoldScore> folds;
  std::optional<ValidationScore> mean;               ///< Over the folds,
  std::optional<ValidationScore> standardDeviation;  ///< with one less than their number.
};

}  // namespace qvhost
