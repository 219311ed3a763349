#include "host/report/PlotParts.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include <fmt/format.h>

namespace qvhost {

namespace {

using Json = nlohmann::json;

/// So many steps between the smallest and the largest number are more than a screen shows.
constexpr double kSteps = 5000.0;

}  // namespace

Json PlotNumbers(const std::vector<double>& values) {
  if (values.empty()) return Json::array();
  constexpr int kMostDecimals = 300;
  const auto [low, high] = std::ranges::minmax(values);
  const double span = std::max(high - low, std::abs(high) / kSteps);
  const int decimals = span > 0.0 ? static_cast<int>(std::ceil(-std::log10(span / kSteps))) : 0;
  Json numbers = Json::array();
  for (const double value : values) {
    if (decimals < 0) {
      const double unit = std::pow(10.0, -decimals);
      numbers.push_back(std::round(value / unit) * unit);
    } else {
      numbers.push_back(
          std::stod(fmt::format("{:.{}f}", value, std::min(decimals, kMostDecimals))));
    }
  }
  return numbers;
}

Json Quantity(std::string_view field, std::string_view title) {
  return {
      {"field", field}, {"type", "quantitative"}, {"title", title}, {"scale", {{"zero", false}}}};
}

Json RuleAt(std::string_view channel, double value) {
  Json encoding = Json::object();
  encoding[std::string(channel)] = {{"datum", value}};
  // Of the plot's own data it would have a line for each row.
  return {{"data", {{"values", {Json::object()}}}},
          {"mark", {{"type", "rule"}, {"style", "reference"}}},
          {"encoding", encoding}};
}

Json LineBetween(double x1, double y1, double x2, double y2) {
  const Json ends = Json::array({{{"x", x1}, {"y", y1}}, {{"x", x2}, {"y", y2}}});
  return {{"data", {{"values", ends}}},
          {"mark", {{"type", "line"}, {"style", "reference"}}},
          {"encoding",
           {{"x", {{"field", "x"}, {"type", "quantitative"}}},
            {"y", {{"field", "y"}, {"type", "quantitative"}}}}}};
}

Json Layered(Json layers) {
  constexpr int kHeight = 320;
  return {{"width", "container"},
          {"height", kHeight},
          {"data", {{"name", "rows"}}},
          {"layer", std::move(layers)}};
}

}  // namespace qvhost
