#include <algorithm>
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

constexpr int kDigits = 4;

/// An empty text would not show.
std::string LevelText(const std::string& level) { return level.empty() ? "''" : Printable(level); }

Json Share(const char* field, const std::string& title) {
  return {{"field", field},
          {"type", "quantitative"},
          {"title", title},
          {"scale", {{"domain", {0, 1}}}}};
}

Json Levels(const std::string& title) {
  return {{"field", "level"},
          {"type", "nominal"},
          {"title", title},
          {"sort", nullptr},
          {"legend", {{"orient", "bottom"}, {"columns", 3}, {"symbolType", "stroke"}}}};
}

void AddIterations(ReportPlots& plots, const std::vector<IterationPoint>& iterations) {
  if (iterations.size() < 2) return;
  std::vector<double> values;
  Json columns = {{"i", Json::array()}, {"h", Json::array()}};
  int halvings = 0;
  for (const IterationPoint& point : iterations) {
    columns["i"].push_back(point.iteration);
    columns["h"].push_back(point.halvings);
    values.push_back(point.logLikelihood);
    halvings += point.halvings;
  }
  columns["y"] = values;
  const Json x = {{"field", "i"},
                  {"type", "quantitative"},
                  {"title", "Iteration"},
                  {"axis", {{"tickMinStep", 1}, {"format", "d"}}}};
  const Json y = Quantity("y", "Log-likelihood");
  const Json tooltip = Json::array({{{"field", "i"}, {"title", "Iteration"}},
                                    {{"field", "y"}, {"title", "Log-likelihood"}},
                                    {{"field", "h"}, {"title", "Step-halvings"}}});
  constexpr int kLogLikelihoodDigits = 8;
  plots.push_back(
      {"Iteration history",
       "The log-likelihood rises steeply and then levels off where the estimation has converged.",
       fmt::format("From {} to {} in {} iteration{}, with {} step-halving{}.",
                   NumberText(values.front(), kLogLikelihoodDigits),
                   NumberText(values.back(), kLogLikelihoodDigits), iterations.size() - 1,
                   iterations.size() == 2 ? "" : "s", halvings, halvings == 1 ? "" : "s"),
       Layered(
           {{{"mark", {{"type", "line"}, {"style", "curve"}}}, {"encoding", {{"x", x}, {"y", y}}}},
            {{"mark", {{"type", "point"}, {"style", "estimate"}}},
             {"encoding", {{"x", x}, {"y", y}, {"tooltip", tooltip}}}}}),
       columns});
}

/// Which records curves are over.
std::string Over(const LogisticPlots& data) {
  return data.heldOut ? " Over records that were held out of the fit."
                      : " Over the records that were fitted: new records are predicted less well.";
}

void AddCurves(ReportPlots& plots, const LogisticPlots& data) {
  Json columns = {{"level", Json::array()}};
  std::vector<double> xs;
  std::vector<double> ys;
  std::string facts;
  for (const RocCurve& curve : data.curves) {
    if (curve.points.empty()) continue;
    const std::string level = LevelText(curve.level);
    const std::string area = curve.area ? NumberText(curve.area, kDigits) : "none";
    facts += fmt::format("{}Area of {}: {}.", facts.empty() ? "" : " ", level, area);
    for (const RocCurve::Point& point : curve.points) {
      columns["level"].push_back(level);
      xs.push_back(point.falsePositive);
      ys.push_back(point.truePositive);
    }
  }
  if (xs.empty()) return;
  columns["x"] = PlotNumbers(xs);
  columns["y"] = PlotNumbers(ys);
  const Json line = {{"mark", {{"type", "line"}, {"style", "curve"}}},
                     {"encoding",
                      {{"x", Share("x", "False positive rate")},
                       {"y", Share("y", "True positive rate")},
                       {"color", Levels("Level")},
                       {"strokeDash", Levels("Level")},
                       {"order", {{"field", "x"}}}}}};
  plots.push_back(
      {"ROC curves",
       "A curve far above the dashed diagonal tells its level well from all others; the "
       "area under it is 1 for a perfect and 0.5 for a useless prediction." +
           Over(data),
       facts, Layered({LineBetween(0, 0, 1, 1), line}), columns});
}

void AddCalibration(ReportPlots& plots, const LogisticPlots& data) {
  if (data.calibration.empty()) return;
  Json columns = {{"level", Json::array()}};
  std::vector<double> xs;
  std::vector<double> ys;
  double largest = 0.0;
  for (const CalibrationGroup& group : data.calibration) {
    columns["level"].push_back(LevelText(group.level));
    xs.push_back(group.meanPredicted);
    ys.push_back(group.observed);
    largest = std::max(largest, std::abs(group.observed - group.meanPredicted));
  }
  columns["x"] = PlotNumbers(xs);
  columns["y"] = PlotNumbers(ys);
  const Json x = Share("x", "Mean predicted probability");
  const Json y = Share("y", "Observed share");
  const Json tooltip = Json::array({{{"field", "level"}, {"title", "Level"}},
                                    {{"field", "x"}, {"title", "Predicted"}},
                                    {{"field", "y"}, {"title", "Observed"}}});
  const Json line = {{"mark", {{"type", "line"}, {"style", "curve"}}},
                     {"encoding",
                      {{"x", x},
                       {"y", y},
                       {"color", Levels("Level")},
                       {"strokeDash", Levels("Level")},
                       {"order", {{"field", "x"}}}}}};
  const Json points = {
      {"mark", {{"type", "point"}, {"style", "group"}}},
      {"encoding", {{"x", x}, {"y", y}, {"color", Levels("Level")}, {"tooltip", tooltip}}}};
  plots.push_back({"Calibration",
                   "A point is a tenth of the records by predicted probability: on the dashed "
                   "diagonal the level is as frequent as predicted, above it more frequent." +
                       Over(data),
                   fmt::format("{} groups; the largest difference between observed and predicted "
                               "is {}.",
                               data.calibration.size(), NumberText(largest, 3)),
                   Layered({LineBetween(0, 0, 1, 1), line, points}), columns});
}

}  // namespace

ReportPlots LogisticPlotsOf(const FitResult& fit) {
  const LogisticPlots& data = *fit.plots->logistic;
  ReportPlots plots;
  AddIterations(plots, data.iterations);
  AddCurves(plots, data);
  AddCalibration(plots, data);
  return plots;
}

ReportPlots ClassificationPlots(const FitResult& fit) {
  constexpr std::size_t kMostLevels = 30;
  const LogisticFit& logistic = *fit.logistic;
  const std::size_t size = logistic.levels.size();
  if (size > kMostLevels || logistic.classification.size() != size) return {};
  Json columns = {
      {"o", Json::array()}, {"p", Json::array()}, {"w", Json::array()}, {"s", Json::array()}};
  double total = 0.0;
  double correct = 0.0;
  for (std::size_t i = 0; i < size; ++i) {
    double row = 0.0;
    for (const double weight : logistic.classification[i]) row += weight;
    for (std::size_t k = 0; k < size; ++k) {
      const double weight = logistic.classification[i][k];
      columns["o"].push_back(LevelText(logistic.levels[i].level));
      columns["p"].push_back(LevelText(logistic.levels[k].level));
      columns["w"].push_back(weight);
      columns["s"].push_back(row > 0.0 ? weight / row : 0.0);
    }
    total += row;
    correct += logistic.classification[i][i];
  }
  if (!(total > 0.0)) return {};
  Json x = {{"field", "p"}, {"type", "nominal"}, {"sort", nullptr}, {"title", "Predicted"}};
  constexpr std::size_t kMostFlat = 3;
  if (size <= kMostFlat) x["axis"] = {{"labelAngle", 0}};
  const Json y = {{"field", "o"}, {"type", "nominal"}, {"sort", nullptr}, {"title", "Observed"}};
  const Json tooltip = Json::array({{{"field", "o"}, {"title", "Observed"}},
                                    {{"field", "p"}, {"title", "Predicted"}},
                                    {{"field", "w"}, {"title", "Records"}},
                                    {{"field", "s"}, {"title", "Share"}, {"format", ".1%"}}});
  Json layers = Json::array();
  layers.push_back({{"mark", {{"type", "rect"}, {"style", "count"}}},
                    {"encoding",
                     {{"x", x},
                      {"y", y},
                      {"opacity",
                       {{"field", "s"},
                        {"type", "quantitative"},
                        {"title", "Share of the observed level"},
                        {"legend", nullptr},
                        {"scale", {{"domain", {0, 1}}, {"range", {0, 0.55}}}}}},
                      {"tooltip", tooltip}}}});
  constexpr std::size_t kMostTexts = 10;
  if (size <= kMostTexts) {
    layers.push_back(
        {{"mark", {{"type", "text"}, {"style", "number"}}},
         {"encoding", {{"x", x}, {"y", y}, {"text", {{"field", "w"}, {"format", ",~r"}}}}}});
  }
  Json spec = Layered(std::move(layers));
  constexpr int kRow = 44;
  constexpr int kNarrowRow = 20;
  spec["height"] = (size <= kMostTexts ? kRow : kNarrowRow) * static_cast<int>(size);
  return {{"Observed and predicted levels",
           "A row is an observed level: the stronger the colour on the diagonal, the more of its "
           "records are predicted right.",
           fmt::format("{:.1f}% of all records are predicted right.", 100.0 * correct / total),
           std::move(spec), columns}};
}

}  // namespace qvhost
