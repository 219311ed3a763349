#pragma once

#include <optional>

namespace qvhost {

/// The probability that a chi-square variable of `degrees` degrees of freedom exceeds `statistic`
/// (of which what lies below 0 through rounding counts as 0). None when there is no statistic or
/// no degree of freedom.
[[nodiscard]] std::optional<double> UpperChiSquare(std::optional<double> statistic, int degrees);

}  // namespace qvhost
