#include "host/report/IntervalPlot.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/report/PlotParts.h"

namespace qvhost {

namespace {

using Json = nlohmann::json;

constexpr int kRowHeight = 26;
constexpr int kPlotDigits = 5;

/// A range of the axis, on a logarithmic one of logarithms.
struct Span {
  double low = 0.0;
  double high = 0.0;

  [[nodiscard]] double Width() const { return high - low; }
};

/// Where most of the values lie: all but a few that are far from the middle half.
Span MostOf(std::vector<double> values) {
  constexpr double kFar = 4.0;
  constexpr std::size_t kOneOf = 20;
  std::ranges::sort(values);
  const Span span{values.front(), values.back()};
  const std::size_t quarter = values.size() / 4;
  const double first = values[quarter];
  const double third = values[values.size() - 1 - quarter];
  const double far = kFar * (third - first);
  const auto isFar = [&](double value) { return value < first - far || value > third + far; };
  const auto count = static_cast<std::size_t>(std::ranges::count_if(values, isFar));
  if (!(far > 0.0) || count * kOneOf > values.size()) return span;
  return {std::max(span.low, first - far), std::min(span.high, third + far)};
}

/// The axis: most of the estimates and the value without effect, their intervals as far as these
/// do not press the estimates together, and a margin.
Span AxisOf(const IntervalPlot& plot) {
  constexpr double kHalves = 4.0;
  constexpr double kMargin = 0.05;
  constexpr double kBesideNone = 0.08;
  const auto scaled = [&](double value) { return plot.isLogarithmic ? std::log(value) : value; };
  std::vector<double> estimates;
  std::vector<double> halves;
  double least = std::numeric_limits<double>::infinity();
  double most = -least;
  for (const IntervalRow& row : plot.rows) {
    const Span interval{scaled(row.low), scaled(row.high)};
    estimates.push_back(scaled(row.estimate));
    halves.push_back(interval.Width() / 2.0);
    least = std::min(least, interval.low);
    most = std::max(most, interval.high);
  }
  std::ranges::sort(halves);
  Span axis = MostOf(estimates);
  axis = {std::min(axis.low, 0.0), std::max(axis.high, 0.0)};
  const double room = std::max(axis.Width(), kHalves * halves[halves.size() / 2]);
  axis = {std::min(axis.low, std::max(least, axis.low - room)),
          std::max(axis.high, std::min(most, axis.high + room))};
  if (!(axis.Width() > 0.0)) axis = {axis.low - 1.0, axis.high + 1.0};
  const double width = axis.Width();
  axis = {axis.low - kMargin * width, axis.high + kMargin * width};
  return {std::min(axis.low, -kBesideNone * width), std::max(axis.high, kBesideNone * width)};
}

/// What is drawn of a row.
struct Drawn {
  double low = 0.0;
  double high = 0.0;
  std::string cut;       ///< `l` and `r`: the sides on which it goes on beyond the axis.
  bool hasPoint = true;  ///< Else nothing is drawn but an arrowhead.
};

/// The ends of the axis, in the numbers of the rows.
Span EndsOf(const IntervalPlot& plot) {
  const Span axis = AxisOf(plot);
  return plot.isLogarithmic ? Span{std::exp(axis.low), std::exp(axis.high)} : axis;
}

Drawn DrawnOf(const IntervalRow& row, const Span& ends) {
  // A line across the plot without its point would tell nothing.
  if (row.estimate < ends.low) return {ends.low, ends.low, "l", false};
  if (row.estimate > ends.high) return {ends.high, ends.high, "r", false};
  std::string cut;
  if (row.low < ends.low) cut += 'l';
  if (row.high > ends.high) cut += 'r';
  return {std::max(row.low, ends.low), std::min(row.high, ends.high), std::move(cut), true};
}

double Rounded(double value) { return std::stod(fmt::format("{:.{}g}", value, kPlotDigits)); }

/// An arrowhead where rows are cut at one side.
Json Arrowheads(char side, const char* field, const Json& x, const Json& y, const Json& tooltip) {
  Json place = x;
  place["field"] = field;
  return {{"transform", {{{"filter", fmt::format("indexof(datum.cut, '{}') >= 0", side)}}}},
          {"mark",
           {{"type", "point"},
            {"style", "arrowhead"},
            {"shape", side == 'l' ? "triangle-left" : "triangle-right"}}},
          {"encoding", {{"x", place}, {"y", y}, {"tooltip", tooltip}}}};
}

}  // namespace

Json IntervalPlot::Spec() const {
  const Span ends = EndsOf(*this);
  Json x = Quantity("estimate", quantity);
  x["scale"] = {{"domain", {ends.low, ends.high}}, {"nice", false}};
  if (isLogarithmic) {
    x["scale"]["type"] = "log";
    x["axis"] = {{"format", "~g"}, {"tickCount", 5}};
  }
  const Json y = {{"field", "name"}, {"type", "nominal"}, {"sort", nullptr}, {"title", nullptr}};
  const Json tooltip = Json::array({{{"field", "name"}, {"title", "Name"}},
                                    {{"field", "estimate"}, {"title", "Estimate"}},
                                    {{"field", "low"}, {"title", "Low"}},
                                    {{"field", "high"}, {"title", "High"}}});
  Json from = x;
  from["field"] = "from";
  Json spec = Layered(
      {RuleAt("x", isLogarithmic ? 1.0 : 0.0),
       {{"mark", {{"type", "rule"}, {"style", "interval"}}},
        {"encoding", {{"x", from}, {"x2", {{"field", "to"}}}, {"y", y}, {"tooltip", tooltip}}}},
       Arrowheads('l', "from", x, y, tooltip),
       Arrowheads('r', "to", x, y, tooltip),
       {{"transform", {{{"filter", "datum.drawn"}}}},
        {"mark", {{"type", "point"}, {"style", "estimate"}}},
        {"encoding", {{"x", x}, {"y", y}, {"tooltip", tooltip}}}}});
  spec["height"] = kRowHeight * static_cast<int>(rows.size());
  return spec;
}

Json IntervalPlot::Columns() const {
  const Span ends = EndsOf(*this);
  Json columns = Json::object();
  for (const char* name : {"name", "estimate", "low", "high", "from", "to", "cut", "drawn"}) {
    columns[name] = Json::array();
  }
  for (const IntervalRow& row : rows) {
    const Drawn drawn = DrawnOf(row, ends);
    columns["name"].push_back(row.name);
    columns["estimate"].push_back(Rounded(row.estimate));
    columns["low"].push_back(Rounded(row.low));
    columns["high"].push_back(Rounded(row.high));
    columns["from"].push_back(Rounded(drawn.low));
    columns["to"].push_back(Rounded(drawn.high));
    columns["cut"].push_back(drawn.cut);
    columns["drawn"].push_back(drawn.hasPoint);
  }
  return columns;
}

std::string IntervalPlot::Facts() const {
  const double none = isLogarithmic ? 1.0 : 0.0;
  const auto apart = std::ranges::count_if(
      rows, [&](const IntervalRow& row) { return row.low > none || row.high < none; });
  std::string text =
      fmt::format("{} of {} interval{} {} {}.", apart, rows.size(), rows.size() == 1 ? "" : "s",
                  apart == 1 ? "excludes" : "exclude", none);
  const Span ends = EndsOf(*this);
  const auto cut = std::ranges::count_if(
      rows, [&](const IntervalRow& row) { return !DrawnOf(row, ends).cut.empty(); });
  if (cut == 0) return text;
  return text +
         fmt::format(" {} with an arrowhead {} on beyond the axis.", cut, cut == 1 ? "goes" : "go");
}

}  // namespace qvhost
