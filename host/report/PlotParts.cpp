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
/// Limits of odds ratios that a plot shows; separated levels have wider ones.
constexpr double kLeastOdds = 1e-4;
constexpr double kMostOdds = 1e4;
constexpr int kRowHeight = 26;
constexpr int kPlotDigits = 5;
/// Room for half a point, in pixels.
constexpr int kEdge = 8;

/// Whether an interval is wider than the plot.
bool IsCut(const IntervalPlot& plot) {
  return plot.isLogarithmic && std::ranges::any_of(plot.rows, [](const IntervalRow& row) {
           return row.low < kLeastOdds || row.high > kMostOdds;
         });
}

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

Json IntervalPlot::Spec() const {
  Json x = Quantity("estimate", quantity);
  x["scale"]["padding"] = kEdge;
  if (isLogarithmic) {
    x["scale"] = {{"type", "log"}, {"padding", kEdge}};
    x["axis"] = {{"format", "~g"}, {"tickCount", 5}};
    if (IsCut(*this)) x["scale"]["domain"] = {kLeastOdds, kMostOdds};
  }
  const Json y = {{"field", "name"}, {"type", "nominal"}, {"sort", nullptr}, {"title", nullptr}};
  const Json tooltip = Json::array({{{"field", "name"}, {"title", "Name"}},
                                    {{"field", "estimate"}, {"title", "Estimate"}},
                                    {{"field", "low"}, {"title", "Low"}},
                                    {{"field", "high"}, {"title", "High"}}});
  Json spec = Layered({RuleAt("x", isLogarithmic ? 1.0 : 0.0),
                       {{"mark", {{"type", "rule"}, {"style", "interval"}, {"clip", true}}},
                        {"encoding", {{"x", x}, {"x2", {{"field", "high"}}}, {"y", y}}}},
                       {{"mark", {{"type", "point"}, {"style", "estimate"}, {"clip", true}}},
                        {"encoding", {{"x", x}, {"y", y}, {"tooltip", tooltip}}}}});
  spec["layer"][1]["encoding"]["x"]["field"] = "low";
  spec["height"] = kRowHeight * static_cast<int>(rows.size());
  return spec;
}

Json IntervalPlot::Columns() const {
  const auto rounded = [](double value) {
    return std::stod(fmt::format("{:.{}g}", value, kPlotDigits));
  };
  Json columns = {{"name", Json::array()},
                  {"estimate", Json::array()},
                  {"low", Json::array()},
                  {"high", Json::array()}};
  for (const IntervalRow& row : rows) {
    columns["name"].push_back(row.name);
    columns["estimate"].push_back(rounded(row.estimate));
    columns["low"].push_back(rounded(isLogarithmic ? std::max(row.low, kLeastOdds) : row.low));
    columns["high"].push_back(rounded(isLogarithmic ? std::min(row.high, kMostOdds) : row.high));
  }
  return columns;
}

std::string IntervalPlot::Facts() const {
  const double none = isLogarithmic ? 1.0 : 0.0;
  const auto apart = std::ranges::count_if(
      rows, [&](const IntervalRow& row) { return row.low > none || row.high < none; });
  std::string text = fmt::format("Wholly on one side of {} lie {} of {} interval{}.", none, apart,
                                 rows.size(), rows.size() == 1 ? "" : "s");
  if (IsCut(*this)) {
    text += " Intervals are cut at 0.0001 and 10,000.";
  }
  return text;
}

}  // namespace qvhost
