#include <algorithm>
#include <cmath>
#include <cstddef>
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

/// Records as points or, of many, as rectangles that are darker the more records are in them.
class RecordPlot {
 public:
  explicit RecordPlot(const ScatterPlot& plot) : size_(plot.size) {
    for (const ScatterPlot::Cell& cell : plot.cells) {
      xs_.push_back(cell.x);
      ys_.push_back(cell.y);
      weights_.push_back(cell.weight);
    }
  }

  [[nodiscard]] bool IsEmpty() const { return xs_.empty(); }
  [[nodiscard]] Range X() const { return RangeOf(xs_, size_ ? size_->at(0) : 0.0); }
  [[nodiscard]] Range Y() const { return RangeOf(ys_, size_ ? size_->at(1) : 0.0); }

  [[nodiscard]] std::string Facts(const Axes& axes) const {
    double weight = 0.0;
    for (const double one : weights_) weight += one;
    const std::string drawn =
        size_ ? fmt::format("{} records, counted in {} rectangles", CountText(std::llround(weight)),
                            CountText(static_cast<long long>(xs_.size())))
              : fmt::format("{} point{}", CountText(static_cast<long long>(xs_.size())),
                            xs_.size() == 1 ? "" : "s");
    return fmt::format("{}. {}: {}. {}: {}.", drawn, axes.x, X().Text(), axes.y, Y().Text());
  }

  [[nodiscard]] Json Layer(const Axes& axes) const {
    Json x = Quantity("x", axes.x);
    Json y = Quantity("y", axes.y);
    if (!size_) {
      const Json tooltip =
          Json::array({{{"field", "x"}, {"title", axes.x}}, {{"field", "y"}, {"title", axes.y}}});
      Json layer = {{"mark", {{"type", "circle"}, {"style", "record"}}},
                    {"encoding", {{"x", x}, {"y", y}, {"tooltip", tooltip}}}};
      return layer;
    }
    // The upper ends are computed in the page.
    const Json tooltip = Json::array({{{"field", "w"}, {"title", "Records"}}});
    return {{"transform",
             {{{"calculate", fmt::format("datum.x + {}", size_->at(0))}, {"as", "x2"}},
              {{"calculate", fmt::format("datum.y + {}", size_->at(1))}, {"as", "y2"}}}},
            {"mark", {{"type", "rect"}, {"style", "count"}}},
            {"encoding",
             {{"x", x},
              {"x2", {{"field", "x2"}}},
              {"y", y},
              {"y2", {{"field", "y2"}}},
              {"opacity",
               {{"field", "w"},
                {"type", "quantitative"},
                {"title", "Records"},
                {"legend", {{"orient", "bottom"}, {"direction", "horizontal"}}},
                {"scale", {{"type", "log"}, {"range", {0.2, 1.0}}}}}},
              {"tooltip", tooltip}}}};
  }

  [[nodiscard]] Json Columns() const {
    Json columns = {{"x", PlotNumbers(xs_)}, {"y", PlotNumbers(ys_)}};
    if (size_) columns["w"] = PlotNumbers(weights_);
    return columns;
  }

 private:
  std::optional<std::array<double, 2>> size_;
  std::vector<double> xs_;
  std::vector<double> ys_;
  std::vector<double> weights_;
};

void AddRecords(ReportPlots& plots, const ScatterPlot& records, const Axes& axes, Json reference,
                std::string title, std::string aid) {
  const RecordPlot plot(records);
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

void AddQuantiles(ReportPlots& plots, const std::vector<QuantilePoint>& points) {
  if (points.empty()) return;
  std::vector<double> xs;
  std::vector<double> ys;
  for (const QuantilePoint& point : points) {
    xs.push_back(point.normal);
    ys.push_back(point.residual);
  }
  const Axes axes = {"Normal quantile", "Standardized residual"};
  const Json tooltip =
      Json::array({{{"field", "x"}, {"title", axes.x}}, {{"field", "y"}, {"title", axes.y}}});
  const Json points_layer = {
      {"mark", {{"type", "circle"}, {"style", "record"}}},
      {"encoding",
       {{"x", Quantity("x", axes.x)}, {"y", Quantity("y", axes.y)}, {"tooltip", tooltip}}}};
  const Range x = RangeOf(xs, 0.0);
  const Range y = RangeOf(ys, 0.0);
  plots.push_back(
      {"Normal quantiles of the residuals",
       "Points on the dashed line have the residuals of a normal distribution; ends that bend away "
       "from it are heavier or lighter tails.",
       fmt::format("{} points. {}: {}. {}: {}.", CountText(static_cast<long long>(xs.size())),
                   axes.x, x.Text(), axes.y, y.Text()),
       Layered({points_layer, LineBetween(x.low, x.low, x.high, x.high)}),
       {{"x", PlotNumbers(xs)}, {"y", PlotNumbers(ys)}}});
}

}  // namespace

ReportPlots LinearPlotsOf(const FitResult& fit) {
  const LinearPlots& data = *fit.plots->linear;
  const std::string dependent = Printable(fit.dependent);
  ReportPlots plots;
  AddRecords(plots, data.residuals, {"Fitted " + dependent, "Residual"}, RuleAt("y", 0.0),
             "Residuals against fitted values",
             "Points should scatter evenly around 0: a bend is a missing term, a funnel is a "
             "variance that is not constant.");
  AddQuantiles(plots, data.quantiles);
  const RecordPlot observed(data.observed);
  if (!observed.IsEmpty()) {
    AddRecords(plots, data.observed, {"Fitted " + dependent, "Observed " + dependent},
               Diagonal(observed.X(), observed.Y()), "Observed against fitted values",
               "The closer points are to the dashed diagonal, the better they are predicted.");
  }
  AddRecords(plots, data.leverage, {"Leverage", "Standardized residual"}, RuleAt("y", 0.0),
             "Leverage",
             "Records at the right have unusual predictors; those that also lie far above or below "
             "0 pull the estimates most.");
  return plots;
}

}  // namespace qvhost
