#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace qvhost {

/// A row of a plot of estimates with intervals.
struct IntervalRow {
  std::string name;
  double estimate = 0.0;
  double low = 0.0;
  double high = 0.0;
  double strength = 0.0;   ///< The size of the test statistic.
  bool isPerUnit = false;  ///< Of a covariate, whose unit no other row has.
};

/// Estimates with intervals below one another, and a line where there is no effect. On a
/// logarithmic scale that is at 1, else at 0.
///
/// The axis is made for most of the rows: what goes on beyond it ends in an arrowhead. REQUIRES:
/// one row or more; on a logarithmic scale, numbers above 0.
struct IntervalPlot {
  std::vector<IntervalRow> rows;
  std::string quantity;  ///< What the numbers are.
  bool isLogarithmic = false;

  [[nodiscard]] nlohmann::json Spec() const;
  [[nodiscard]] nlohmann::json Columns() const;
  /// How many of the intervals do not hold the value without effect, and what is cut, as sentences.
  [[nodiscard]] std::string Facts() const;
};

}  // namespace qvhost
