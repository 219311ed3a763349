#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/inference/Inference.h"
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

Json Levels(const char* symbol) {
  return {{"field", "level"},
          {"type", "nominal"},
          {"title", "Level"},
          {"sort", nullptr},
          {"legend", {{"orient", "bottom"}, {"columns", 3}, {"symbolType", symbol}}}};
}

/// Both axes are shares: the page makes them equally long.
ReportPlot Square(ReportPlot plot) {
  plot.spec["usermeta"] = {{"square", true}};
  return plot;
}

/// Which records a plot is over.
std::string Of(bool areHeldOut) {
  return areHeldOut ? " of the records held out" : " of the records fitted";
}

std::string Caution(bool areHeldOut) {
  return areHeldOut ? "" : " New records are usually predicted less well.";
}

/// The same number of curves for all that coincide.
std::vector<std::vector<std::string>> Coinciding(const std::vector<RocCurve>& curves) {
  std::vector<std::vector<std::string>> groups;
  std::vector<const RocCurve*> firsts;
  const auto isSame = [](const RocCurve& a, const RocCurve& b) {
    return std::ranges::equal(a.points, b.points,
                              [](const RocCurve::Point& one, const RocCurve::Point& other) {
                                constexpr double kSame = 1e-3;
                                return std::abs(one.falsePositive - other.falsePositive) < kSame &&
                                       std::abs(one.truePositive - other.truePositive) < kSame;
                              });
  };
  for (const RocCurve& curve : curves) {
    if (curve.points.empty()) continue;
    const auto found =
        std::ranges::find_if(firsts, [&](const RocCurve* first) { return isSame(*first, curve); });
    if (found == firsts.end()) {
      firsts.push_back(&curve);
      groups.push_back({LevelText(curve.level)});
    } else {
      groups[static_cast<std::size_t>(found - firsts.begin())].push_back(LevelText(curve.level));
    }
  }
  return groups;
}

std::string CoincidingText(const std::vector<RocCurve>& curves) {
  std::string text;
  for (const std::vector<std::string>& group : Coinciding(curves)) {
    if (group.size() < 2) continue;
    std::string names;
    for (std::size_t i = 0; i < group.size(); ++i) {
      names += (i == 0 ? "" : i + 1 == group.size() ? " and " : ", ") + group[i];
    }
    text += fmt::format(" The curves of {} coincide.", names);
  }
  return text;
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
                       {"color", Levels("stroke")},
                       {"strokeDash", Levels("stroke")},
                       {"order", {{"field", "x"}}}}}};
  plots.push_back(Square(
      {"ROC curves" + Of(data.heldOut),
       "A curve far above the dashed diagonal tells its level well from all others; the "
       "area under it is 1 for a perfect and 0.5 for a useless prediction." +
           Caution(data.heldOut),
       facts + CoincidingText(data.curves), Layered({LineBetween(0, 0, 1, 1), line}), columns}));
}

/// The 95% interval of a share that was observed among so many (Wilson, Probable Inference, the Law
/// of Succession, and Statistical Inference, Journal of the American Statistical Association 22,
/// 1927).
std::pair<double, double> WilsonInterval(double share, double count) {
  constexpr double kTail = 0.025;
  if (!(count > 0.0)) return {0.0, 1.0};
  const double z = NormalQuantile(1.0 - kTail, kTail);
  const double more = z * z / count;
  const double middle = share + more / 2.0;
  const double half = std::sqrt(std::max(0.0, more * (share * (1.0 - share) + more / 4.0)));
  return {std::max(0.0, (middle - half) / (1.0 + more)),
          std::min(1.0, (middle + half) / (1.0 + more))};
}

void AddCalibration(ReportPlots& plots, const LogisticPlots& data) {
  if (data.calibration.empty()) return;
  Json columns = {{"level", Json::array()}, {"w", Json::array()}};
  std::vector<double> xs;
  std::vector<double> ys;
  std::vector<double> lows;
  std::vector<double> highs;
  const CalibrationGroup* largest = &data.calibration.front();
  const auto difference = [](const CalibrationGroup& group) {
    return std::abs(group.observed - group.meanPredicted);
  };
  for (const CalibrationGroup& group : data.calibration) {
    columns["level"].push_back(LevelText(group.level));
    columns["w"].push_back(group.weight);
    xs.push_back(group.meanPredicted);
    ys.push_back(group.observed);
    const auto [low, high] = WilsonInterval(group.observed, group.weight);
    lows.push_back(low);
    highs.push_back(high);
    if (difference(group) > difference(*largest)) largest = &group;
  }
  columns["x"] = PlotNumbers(xs);
  columns["y"] = PlotNumbers(ys);
  columns["low"] = PlotNumbers(lows);
  columns["high"] = PlotNumbers(highs);
  const Json x = Share("x", "Mean predicted probability");
  const Json y = Share("y", "Observed share");
  const Json tooltip = Json::array({{{"field", "level"}, {"title", "Level"}},
                                    {{"field", "x"}, {"title", "Predicted"}},
                                    {{"field", "y"}, {"title", "Observed"}},
                                    {{"field", "low"}, {"title", "Low"}},
                                    {{"field", "high"}, {"title", "High"}},
                                    {{"field", "w"}, {"title", "Records"}, {"format", ",~r"}}});
  Json low = Share("low", "Observed share");
  const Json interval = {
      {"mark", {{"type", "rule"}, {"style", "range"}}},
      {"encoding",
       {{"x", x}, {"y", low}, {"y2", {{"field", "high"}}}, {"color", Levels("circle")}}}};
  const Json points = {
      {"mark", {{"type", "point"}, {"style", "group"}}},
      {"encoding", {{"x", x}, {"y", y}, {"color", Levels("circle")}, {"tooltip", tooltip}}}};
  plots.push_back(
      Square({"Calibration" + Of(data.heldOut),
              "A point is a tenth of the records by predicted probability: on the dashed diagonal "
              "the level is as frequent as predicted, above it more frequent. A line is the 95% "
              "interval of what was observed (Wilson)." +
                  Caution(data.heldOut),
              fmt::format("{} groups; the largest difference between observed and predicted is {}, "
                          "of a group of {} records.",
                          data.calibration.size(), NumberText(difference(*largest), 3),
                          NumberText(largest->weight)),
              Layered({LineBetween(0, 0, 1, 1), interval, points}), columns}));
}

/// Names that need not be turned to stand below their columns, even on a phone.
bool AreShort(const std::vector<std::string>& names) {
  constexpr std::size_t kMostLetters = 30;
  std::size_t letters = 0;
  for (const std::string& name : names) letters = std::max(letters, name.size());
  return letters * names.size() <= kMostLetters;
}

/// Observed and predicted levels of one set of records.
void AddClassification(ReportPlots& plots, const std::vector<std::string>& names,
                       const std::vector<std::vector<double>>& counts, bool areHeldOut) {
  const std::size_t size = names.size();
  Json columns = {
      {"o", Json::array()}, {"p", Json::array()}, {"w", Json::array()}, {"s", Json::array()}};
  double total = 0.0;
  double correct = 0.0;
  for (std::size_t i = 0; i < size; ++i) {
    const double row = std::accumulate(counts[i].begin(), counts[i].end(), 0.0);
    for (std::size_t k = 0; k < size; ++k) {
      columns["o"].push_back(names[i]);
      columns["p"].push_back(names[k]);
      columns["w"].push_back(counts[i][k]);
      columns["s"].push_back(row > 0.0 ? counts[i][k] / row : 0.0);
    }
    total += row;
    correct += counts[i][i];
  }
  if (!(total > 0.0)) return;
  Json x = {{"field", "p"}, {"type", "nominal"}, {"sort", nullptr}, {"title", "Predicted"}};
  if (AreShort(names)) x["axis"] = {{"labelAngle", 0}};
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
                        {"legend",
                         {{"orient", "bottom"},
                          {"direction", "horizontal"},
                          {"format", ".0%"},
                          {"symbolType", "square"},
                          {"values", {0.25, 0.5, 0.75, 1.0}}}},
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
  plots.push_back(
      {"Observed and predicted levels" + Of(areHeldOut),
       "A row is an observed level: the stronger the colour on the diagonal, the more "
       "of its records are predicted right.",
       fmt::format("{:.1f}%{} are predicted right.", 100.0 * correct / total, Of(areHeldOut)),
       std::move(spec), columns});
}

}  // namespace

ReportPlots IterationPlots(const FitResult& fit) {
  const std::vector<IterationPoint>& iterations = fit.plots->logistic->iterations;
  if (iterations.empty()) return {};
  const double last = iterations.back().logLikelihood;
  std::vector<double> values;
  Json columns = {{"i", Json::array()}, {"h", Json::array()}};
  int halvings = 0;
  // A logarithmic axis has no place for 0, which is left at the end, nor for its roundings.
  constexpr double kRounding = 1e-13;
  const double least = kRounding * std::max(1.0, std::abs(last));
  for (const IterationPoint& point : iterations) {
    halvings += point.halvings;
    if (!(last - point.logLikelihood > least)) continue;
    columns["i"].push_back(point.iteration);
    columns["h"].push_back(point.halvings);
    values.push_back(last - point.logLikelihood);
  }
  if (values.size() < 2) return {};
  columns["y"] = values;
  const Json x = {{"field", "i"},
                  {"type", "quantitative"},
                  {"title", "Iteration"},
                  {"axis", {{"tickMinStep", 1}, {"format", "d"}}}};
  Json y = Quantity("y", "Left to the final log-likelihood");
  y["scale"] = {{"type", "log"}};
  y["axis"] = {{"format", "~g"}, {"tickCount", 5}};
  const Json tooltip = Json::array({{{"field", "i"}, {"title", "Iteration"}},
                                    {{"field", "y"}, {"title", "Left"}, {"format", ".4~g"}},
                                    {{"field", "h"}, {"title", "Step-halvings"}}});
  constexpr int kLogLikelihoodDigits = 8;
  return {{"Iterations",
           "What each iteration left of the way to the final log-likelihood, on a logarithmic "
           "scale: the steeper the line falls, the faster the estimation converged.",
           fmt::format("From {} to {} in {} iteration{}, with {} step-halving{}.",
                       NumberText(iterations.front().logLikelihood, kLogLikelihoodDigits),
                       NumberText(last, kLogLikelihoodDigits), iterations.size() - 1,
                       iterations.size() == 2 ? "" : "s", halvings, halvings == 1 ? "" : "s"),
           Layered({{{"mark", {{"type", "line"}, {"style", "curve"}}},
                     {"encoding", {{"x", x}, {"y", y}}}},
                    {{"mark", {{"type", "point"}, {"style", "estimate"}}},
                     {"encoding", {{"x", x}, {"y", y}, {"tooltip", tooltip}}}}}),
           columns}};
}

ReportPlots PredictionPlots(const FitResult& fit) {
  const LogisticPlots& data = *fit.plots->logistic;
  ReportPlots plots;
  AddCurves(plots, data);
  AddCalibration(plots, data);
  return plots;
}

ReportPlots ClassificationPlots(const FitResult& fit) {
  constexpr std::size_t kMostLevels = 30;
  const LogisticFit& logistic = *fit.logistic;
  const std::size_t size = logistic.levels.size();
  if (size > kMostLevels) return {};
  std::vector<std::string> names;
  for (const DependentLevel& level : logistic.levels) names.push_back(LevelText(level.level));
  ReportPlots plots;
  if (logistic.classification.size() == size) {
    AddClassification(plots, names, logistic.classification, false);
  }
  if (fit.validation && fit.validation->classification.size() == size) {
    AddClassification(plots, names, fit.validation->classification, true);
  }
  return plots;
}

}  // namespace qvhost
