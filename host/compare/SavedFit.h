#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace qvhost {

/// A parameter of a fit that was saved. A plain value.
struct SavedParameter {
  std::string category;  ///< The dependent's level; empty of a linear model.
  std::string label;
  std::set<std::string> factors;
  std::map<std::string, int> covariates;  ///< Each with its power.
  double estimate = 0.0;
  std::optional<double> stdError;
  bool redundant = false;
};

/// A number of a fit that comparisons show. A plain value.
struct SavedStatistic {
  std::string key;  ///< As in `fit` of the JSON.
  std::optional<double> value;
};

/// What comparisons take from a fit that was saved. A plain value; what does not exist is none.
struct SavedFit {
  std::string file;
  bool isLogistic = false;
  std::string formula;
  std::string data;
  std::string where;  ///< Empty for none.
  std::string dependent;
  std::string reference;  ///< Of a logistic model.
  long long used = 0;     ///< Records.
  std::string digest;     ///< Of the records used.
  std::optional<double> degreesOfFreedom;
  std::string covariance;  ///< `model`, `hc0`, …
  std::vector<SavedParameter> parameters;
  std::vector<SavedStatistic> statistics;
  bool isSound = true;  ///< Converged, and nothing separated.

  /// Parameters that are not redundant.
  [[nodiscard]] int Kept() const;
  /// The statistic of this key; none when it is null or the model does not have it.
  [[nodiscard]] std::optional<double> Statistic(const std::string& key) const;
};

}  // namespace qvhost
