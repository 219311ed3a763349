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

}  // namespace qvhost
