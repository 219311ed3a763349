#include <cmath>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/report/PlotParts.h"
#include "host/report/ReportPlot.h"

namespace qvhost {

namespace {

constexpr std::size_t kMostRows = 60;
/// How to read a plot that is like the one before.
constexpr const char* kAsAbove = "To be read as the plot above.";

/// An empty text would not show.
std::string LevelText(const std::string& level) { return level.empty() ? "''" : Printable(level); }

std::optional<IntervalRow> RowOf(std::string name, const std::optional<double>& estimate,
                                 const CoefficientStatistics& statistics, bool isLogarithmic) {
  if (!estimate || !statistics.confLow || !statistics.confHigh) return std::nullopt;
  IntervalRow row{std::move(name), *estimate, *statistics.confLow, *statistics.confHigh};
  if (!isLogarithmic) return row;
  row = {std::move(row.name), std::exp(row.estimate), std::exp(row.low), std::exp(row.high)};
  return std::isfinite(row.estimate) ? std::optional(std::move(row)) : std::nullopt;
}

/// The parameters of one linear predictor that a plot shows.
std::vector<IntervalRow> RowsOf(std::span<const ParameterResult> parameters, bool isLogarithmic) {
  std::vector<IntervalRow> rows;
  for (const ParameterResult& parameter : parameters) {
    if (parameter.redundant || parameter.IsIntercept()) continue;
    auto row =
        RowOf(Printable(parameter.label), parameter.estimate, parameter.statistics, isLogarithmic);
    if (row) rows.push_back(std::move(*row));
  }
  return rows;
}

/// Takes rows until there are `most`; answers how many were left out.
std::size_t Keep(std::vector<IntervalRow>& rows, std::size_t most) {
  if (rows.size() <= most) return 0;
  const std::size_t left = rows.size() - most;
  rows.resize(most);
  return left;
}

std::string OmittedText(std::size_t left, const char* things) {
  return left == 0 ? "" : fmt::format(" Not drawn: {} more {}.", left, things);
}

ReportPlot Finished(const IntervalPlot& plot, std::string title, std::string aid,
                    const std::string& more) {
  return {std::move(title), std::move(aid), plot.Facts() + more, plot.Spec(), plot.Columns()};
}

}  // namespace

ReportPlots ForestPlots(const FitResult& fit) {
  const bool isLogistic = fit.logistic.has_value();
  const std::size_t levels = isLogistic ? fit.logistic->levels.size() : 2;
  const std::size_t count = levels - 1;
  const std::size_t size = fit.parameters.size() / count;
  const std::string percent = fmt::format("{:g}%", 100.0 * fit.confidence);
  std::size_t room = kMostRows;
  ReportPlots plots;
  for (std::size_t k = 0; k < count && room > 0; ++k) {
    const auto parameters = std::span(fit.parameters).subspan(k * size, size);
    IntervalPlot plot{RowsOf(parameters, isLogistic), "Estimate", isLogistic};
    const std::size_t left = Keep(plot.rows, room);
    if (plot.rows.empty()) continue;
    room -= plot.rows.size();
    std::string title = "Estimates with " + percent + " intervals";
    std::string aid =
        "A point is an estimate and the line its interval; one that crosses the dashed line at 0 "
        "is compatible with no effect. The intercept is left out.";
    if (isLogistic) {
      plot.quantity = "Odds ratio (logarithmic scale)";
      title = fmt::format("Odds ratios of {} = {} against {}, with {} intervals",
                          Printable(fit.dependent), LevelText(fit.logistic->levels[k].level),
                          LevelText(fit.logistic->levels.back().level), percent);
      aid =
          "A point is exp(estimate) and the line its interval; one that crosses the dashed line at "
          "1 is compatible with no effect. The intercept is left out.";
    }
    if (!plots.empty()) aid = kAsAbove;
    std::string more = OmittedText(left, "parameters");
    if (room == 0 && k + 1 < count) more += " Further levels are not drawn.";
    plots.push_back(Finished(plot, std::move(title), std::move(aid), more));
  }
  return plots;
}

ReportPlots MarginPlots(const FitResult& fit) {
  if (!fit.margins || fit.margins->empty()) return {};
  std::vector<std::optional<std::string>> categories = {std::nullopt};
  if (fit.logistic) {
    categories.clear();
    for (const DependentLevel& level : fit.logistic->levels) categories.emplace_back(level.level);
    if (categories.size() == 2) categories.pop_back();
  }
  std::size_t room = kMostRows;
  ReportPlots plots;
  for (const std::optional<std::string>& category : categories) {
    IntervalPlot plot{{}, "Average effect"};
    for (const MarginResult& margin : *fit.margins) {
      if (margin.category != category) continue;
      std::string name = Printable(margin.variable);
      if (margin.level) {
        name +=
            fmt::format(": {} - {}", LevelText(*margin.level), LevelText(margin.base.value_or("")));
      }
      auto row = RowOf(std::move(name), margin.effect, margin.statistics, false);
      if (row) plot.rows.push_back(std::move(*row));
    }
    const std::size_t left = Keep(plot.rows, room);
    if (plot.rows.empty()) continue;
    room -= plot.rows.size();
    std::string title = "Average marginal effects on ";
    title += category ? fmt::format("the probability of {} = {}", Printable(fit.dependent),
                                    LevelText(*category))
                      : Printable(fit.dependent);
    const char* aid =
        "How much the prediction changes, on average over the records: for one more of a number, "
        "or from one level to the other; the dashed line is no change.";
    plots.push_back(Finished(plot, std::move(title), plots.empty() ? aid : kAsAbove,
                             OmittedText(left, "effects")));
  }
  return plots;
}

}  // namespace qvhost
