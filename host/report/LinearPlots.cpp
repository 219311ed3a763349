#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/report/PlotParts.h"
#include "host/report/ReportPlot.h"
#include "host/report/TextTable.h"

namespace qvhost {

namespace {

using Json = nlohmann::json;

struct Range {
  double low = 0.0;
  double high = 0.0;

  [[nodiscard]] std::string Text() const {
    constexpr int kDigits = 4;
    return fmt::format("{} to {}", NumberText(low, kDigits), NumberText(high, kDigits));
  }
};

Range RangeOf(const std::vector<double>& values, double width) {
  const auto [low, high] = std::ranges::minmax(values);
  return {low, high + width};
}

/// What the axes of a plot of records are called.
struct Axes {
  std::string x;
  std::string y;
};

/// The powers of ten between two weights, and, where there is none, these: the keys of a legend.
Json WeightKeys(const Range& weights) {
  Json keys = Json::array();
  constexpr double kTen = 10.0;
  double key = kTen;
  while (key < weights.high) {
    if (key > weights.low) keys.push_back(key);
    key *= kTen;
  }
  keys.insert(keys.begin(), weights.low);
  keys.push_back(weights.high);
  // The last power of ten and the most records lie too close to be told apart.
  constexpr double kClose = 2.0;
  const std::size_t size = keys.size();
  if (size > 2 && weights.high < kClose * keys[size - 2].get<double>()) keys.erase(size - 2);
  return keys;
}

/// Records as points or, of many, as rectangles that are darker the more records are in them.
class RecordPlot {
 public:
  explicit RecordPlot(const ScatterPlot& plot)
      : size_(plot.size), outside_(plot.outside), isLogarithmic_(plot.isLogarithmic) {
    for (const ScatterPlot::Cell& cell : plot.cells) {
      xs_.push_back(cell.x);
      ys_.push_back(cell.y);
      weights_.push_back(cell.weight);
    }
  }

  [[nodiscard]] bool IsEmpty() const { return xs_.empty(); }
  /// Of what is drawn; on a logarithmic scale, of the numbers.
  [[nodiscard]] Range X() const {
    const Range x = RangeOf(xs_, size_ ? size_->at(0) : 0.0);
    return isLogarithmic_ ? Range{std::pow(kTen, x.low), std::pow(kTen, x.high)} : x;
  }
  [[nodiscard]] Range Y() const { return RangeOf(ys_, size_ ? size_->at(1) : 0.0); }
  /// Points far apart, as those of rectangles, are seen on a logarithmic scale alone.
  void SpreadX() {
    constexpr double kFar = 100.0;
    if (size_ || IsEmpty()) return;
    const Range x = X();
    isSpread_ = x.low > 0.0 && x.high / x.low > kFar;
  }

  [[nodiscard]] double Weight() const {
    return std::accumulate(weights_.begin(), weights_.end(), 0.0);
  }

  [[nodiscard]] std::string Facts(const Axes& axes) const {
    const auto cells = static_cast<long long>(xs_.size());
    std::string drawn = size_
                            ? fmt::format("{} rectangle{} for {} records", CountText(cells),
                                          cells == 1 ? "" : "s", CountText(std::llround(Weight())))
                            : fmt::format("{} point{}", CountText(cells), cells == 1 ? "" : "s");
    if (outside_ > 0.0) {
      drawn += fmt::format(
          "; {} more {} beyond the axes, as of a number with some far away the central 99.9% are "
          "shown",
          CountText(std::llround(outside_)), outside_ == 1.0 ? "lies" : "lie");
    }
    return fmt::format("{}. {}: {}. {}: {}.", drawn, axes.x, X().Text(), axes.y, Y().Text());
  }

  [[nodiscard]] Json Layer(const Axes& axes) const {
    Json x = Quantity("x", axes.x);
    Json y = Quantity("y", axes.y);
    if (isLogarithmic_ || isSpread_) {
      x["scale"]["type"] = "log";
      x["scale"].erase("zero");
      x["axis"] = {{"format", "~g"}, {"tickCount", 5}};
      x["title"] = axes.x + " (logarithmic scale)";
    }
    if (!size_) {
      x["scale"]["padding"] = kEdge;
      y["scale"]["padding"] = kEdge;
      const Json tooltip =
          Json::array({{{"field", "x"}, {"title", axes.x}}, {{"field", "y"}, {"title", axes.y}}});
      Json layer = {{"mark", {{"type", "circle"}, {"style", "record"}}},
                    {"encoding", {{"x", x}, {"y", y}, {"tooltip", tooltip}}}};
      return layer;
    }
    const Range across = X();
    const Range up = Y();
    x["scale"]["domain"] = {across.low, across.high};
    x["scale"]["nice"] = false;
    y["scale"]["domain"] = {up.low, up.high};
    y["scale"]["nice"] = false;
    x["field"] = "x1";
    // Both ends are computed in the page.
    const char* number = isLogarithmic_ ? "pow(10, {})" : "{}";
    const auto end = [&](const std::string& sum) { return fmt::format(fmt::runtime(number), sum); };
    const Json tooltip = Json::array({{{"field", "w"}, {"title", "Records"}, {"format", ",~r"}},
                                      {{"field", "x1"}, {"title", axes.x + " from"}},
                                      {{"field", "x2"}, {"title", "to"}},
                                      {{"field", "y"}, {"title", axes.y + " from"}},
                                      {{"field", "y2"}, {"title", "to "}}});
    return {{"transform",
             {{{"calculate", end("datum.x")}, {"as", "x1"}},
              {{"calculate", end(fmt::format("(datum.x + {})", size_->at(0)))}, {"as", "x2"}},
              {{"calculate", fmt::format("datum.y + {}", size_->at(1))}, {"as", "y2"}}}},
            {"mark", {{"type", "rect"}, {"style", "count"}}},
            {"encoding",
             {{"x", x},
              {"x2", {{"field", "x2"}}},
              {"y", y},
              {"y2", {{"field", "y2"}}},
              {"opacity", Opacity()},
              {"tooltip", tooltip}}}};
  }

  [[nodiscard]] Json Columns() const {
    Json columns = {{"x", PlotNumbers(xs_)}, {"y", PlotNumbers(ys_)}};
    // Rounded, a rectangle of one record would have none.
    if (size_) columns["w"] = weights_;
    return columns;
  }

 private:
  static constexpr double kTen = 10.0;
  /// Room for half a point, in pixels.
  static constexpr int kEdge = 8;

  [[nodiscard]] Json Opacity() const {
    const Range weights = RangeOf(weights_, 0.0);
    if (!(weights.low < weights.high)) return {{"value", 1.0}};
    return {{"field", "w"},
            {"type", "quantitative"},
            {"title", "Records"},
            {"legend",
             {{"orient", "bottom"},
              {"direction", "horizontal"},
              {"columns", 4},
              {"format", ",~r"},
              {"symbolType", "square"},
              {"values", WeightKeys(weights)}}},
            {"scale",
             {{"type", "log"}, {"domain", {weights.low, weights.high}}, {"range", {0.15, 1.0}}}}};
  }

  std::optional<std::array<double, 2>> size_;
  double outside_ = 0.0;
  bool isLogarithmic_ = false;  ///< The numbers of x are logarithms.
  bool isSpread_ = false;       ///< They are not, but the axis is logarithmic.
  std::vector<double> xs_;
  std::vector<double> ys_;
  std::vector<double> weights_;
};

void AddRecords(ReportPlots& plots, const RecordPlot& plot, const Axes& axes, Json reference,
                std::string title, std::string aid) {
  if (plot.IsEmpty()) return;
  Json layers = Json::array({plot.Layer(axes)});
  layers.push_back(std::move(reference));
  plots.push_back({std::move(title), std::move(aid), plot.Facts(axes), Layered(std::move(layers)),
                   plot.Columns()});
}

/// From the lower left to the upper right of what both ranges have.
Json Diagonal(const Range& x, const Range& y) {
  const double low = std::max(x.low, y.low);
  const double high = std::max(low, std::min(x.high, y.high));
  return LineBetween(low, low, high, high);
}

void AddQuantiles(ReportPlots& plots, const std::vector<QuantilePoint>& points, long long records) {
  if (points.empty()) return;
  constexpr int kEdge = 8;
  std::vector<double> xs;
  std::vector<double> ys;
  for (const QuantilePoint& point : points) {
    xs.push_back(point.normal);
    ys.push_back(point.residual);
  }
  const Axes axes = {"Normal quantile", "Standardized residual"};
  const Json tooltip =
      Json::array({{{"field", "x"}, {"title", axes.x}}, {{"field", "y"}, {"title", axes.y}}});
  Json horizontal = Quantity("x", axes.x);
  Json vertical = Quantity("y", axes.y);
  horizontal["scale"]["padding"] = kEdge;
  vertical["scale"]["padding"] = kEdge;
  const Json points_layer = {
      {"mark", {{"type", "circle"}, {"style", "record"}}},
      {"encoding", {{"x", horizontal}, {"y", vertical}, {"tooltip", tooltip}}}};
  const Range x = RangeOf(xs, 0.0);
  const Range y = RangeOf(ys, 0.0);
  const std::string drawn =
      records > ScatterPlot::kMostPoints
          ? fmt::format("{} points, of {} records: all in the tails, fewer where they lie close",
                        CountText(static_cast<long long>(xs.size())), CountText(records))
          : fmt::format("{} points", CountText(static_cast<long long>(xs.size())));
  plots.push_back(
      {"Normal quantiles of the residuals",
       "Points on the dashed line have the residuals of a normal distribution; ends that bend away "
       "from it are heavier or lighter tails.",
       fmt::format("{}. {}: {}. {}: {}.", drawn, axes.x, x.Text(), axes.y, y.Text()),
       Layered({points_layer, LineBetween(x.low, x.low, x.high, x.high)}),
       {{"x", PlotNumbers(xs)}, {"y", PlotNumbers(ys)}}});
}

/// Of the records drawn beside residuals, those that have no standardized one.
std::string LeftOutText(const ScatterPlot& residuals, const ScatterPlot& leverage) {
  const auto weight = [](const ScatterPlot& plot) {
    double sum = plot.outside;
    for (const ScatterPlot::Cell& cell : plot.cells) sum += cell.weight;
    return sum;
  };
  const long long count = std::llround(weight(residuals) - weight(leverage));
  if (count <= 0) return "";
  return fmt::format(" {} record{} without a standardized residual {} left out.", CountText(count),
                     count == 1 ? "" : "s", count == 1 ? "is" : "are");
}

}  // namespace

ReportPlots LinearPlotsOf(const FitResult& fit) {
  const LinearPlots& data = *fit.plots->linear;
  const std::string dependent = Printable(fit.dependent);
  ReportPlots plots;
  AddRecords(plots, RecordPlot(data.residuals), {"Fitted " + dependent, "Residual"},
             RuleAt("y", 0.0), "Residuals against fitted values",
             "Points should scatter evenly around 0: a bend is a missing term, a funnel is a "
             "variance that is not constant.");
  AddQuantiles(plots, data.quantiles, fit.records.used);
  const RecordPlot observed(data.observed);
  if (!observed.IsEmpty()) {
    AddRecords(plots, observed, {"Fitted " + dependent, "Observed " + dependent},
               Diagonal(observed.X(), observed.Y()), "Observed against fitted values",
               "The closer points are to the dashed diagonal, the better they are predicted.");
  }
  RecordPlot leverage(data.leverage);
  leverage.SpreadX();
  if (leverage.IsEmpty()) return plots;
  AddRecords(plots, leverage, {"Leverage", "Standardized residual"}, RuleAt("y", 0.0), "Leverage",
             "Records at the right have unusual predictors; those that also lie far above or below "
             "0 pull the estimates most.");
  plots.back().facts += LeftOutText(data.residuals, data.leverage);
  return plots;
}

}  // namespace qvhost
