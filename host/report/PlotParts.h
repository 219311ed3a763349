#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qvhost {

/// Parts that specifications of plots share.

/// The numbers with as many decimals as a plot can show of them; those that do not exist are null.
[[nodiscard]] nlohmann::json PlotNumbers(const std::vector<double>& values);

/// A channel of numbers, whose scale need not hold 0.
[[nodiscard]] nlohmann::json Quantity(std::string_view field, std::string_view title);

/// A line across the plot at this value of the channel `x` or `y`.
[[nodiscard]] nlohmann::json RuleAt(std::string_view channel, double value);

/// A dashed line between two points.
[[nodiscard]] nlohmann::json LineBetween(double x1, double y1, double x2, double y2);

/// A plot of layers in the page's usual size, whose data are `rows`.
[[nodiscard]] nlohmann::json Layered(nlohmann::json layers);

/// A row of a plot of estimates with intervals.
struct IntervalRow {
  std::string name;
  double estimate = 0.0;
  double low = 0.0;
  double high = 0.0;
};

/// Estimates with intervals below one another, and a line where there is no effect. On a
/// logarithmic scale that is at 1, else at 0.
struct IntervalPlot {
  std::vector<IntervalRow> rows;
  std::string quantity;  ///< What the numbers are.
  bool isLogarithmic = false;

  [[nodiscard]] nlohmann::json Spec() const;
  [[nodiscard]] nlohmann::json Columns() const;
  /// How many of the intervals do not hold the value without effect, as a sentence.
  [[nodiscard]] std::string Facts() const;
};

}  // namespace qvhost
