#include <cstddef>
#include <string>
#include <vector>

#include "host/report/PlotsJson.h"
#include "host/report/ValidationFromJson.h"

namespace qvhost {

namespace {

using Numbers = std::vector<double>;

/// So many numbers.
Numbers List(const JsonReader& json, const char* key, std::size_t count) {
  const JsonReader member = json.At(key);
  auto numbers = member.As<Numbers>();
  member.Require(numbers.size() == count);
  return numbers;
}

ScatterPlot Scatter(const JsonReader& json) {
  ScatterPlot plot;
  if (!json.At("rectangle").IsNull()) {
    const Numbers size = List(json, "rectangle", 2);
    plot.size = {size[0], size[1]};
  }
  plot.outside = json.Get<double>("outside");
  const JsonReader scale = json.At("x_scale");
  plot.isLogarithmic = scale.As<std::string>() == "log10";
  scale.Require(plot.isLogarithmic || scale.As<std::string>() == "linear");
  const auto x = json.Get<Numbers>("x");
  const Numbers y = List(json, "y", x.size());
  const Numbers weight =
      json.At("weight").IsNull() ? Numbers(x.size(), 1.0) : List(json, "weight", x.size());
  for (std::size_t i = 0; i < x.size(); ++i) plot.cells.push_back({x[i], y[i], weight[i]});
  return plot;
}

LinearPlots Linear(const JsonReader& json) {
  LinearPlots plots;
  plots.residuals = Scatter(json.At("residuals"));
  plots.observed = Scatter(json.At("observed"));
  plots.leverage = Scatter(json.At("leverage"));
  const JsonReader quantiles = json.At("quantiles");
  const auto normal = quantiles.Get<Numbers>("normal");
  const Numbers residual = List(quantiles, "residual", normal.size());
  for (std::size_t i = 0; i < normal.size(); ++i) {
    plots.quantiles.push_back({normal[i], residual[i]});
  }
  return plots;
}

RocCurve Curve(const JsonReader& json) {
  RocCurve curve;
  curve.level = json.Get<std::string>("level");
  curve.area = json.Find<double>("auc");
  const auto falsePositive = json.Get<Numbers>("false_positive");
  const Numbers truePositive = List(json, "true_positive", falsePositive.size());
  for (std::size_t i = 0; i < falsePositive.size(); ++i) {
    curve.points.push_back({falsePositive[i], truePositive[i]});
  }
  return curve;
}

LogisticPlots Logistic(const JsonReader& json) {
  LogisticPlots plots;
  plots.heldOut = json.Get<bool>("held_out");
  plots.iterations = json.List("iterations", [](const JsonReader& point) {
    return IterationPoint{point.Get<int>("iteration"), point.Get<double>("log_likelihood"),
                          point.Get<int>("halvings")};
  });
  plots.curves = json.List("curves", Curve);
  plots.calibration = ReadCalibration(json);
  return plots;
}

}  // namespace

FitPlots ReadPlots(const JsonReader& json, ModelKind kind) {
  FitPlots plots;
  if (kind == ModelKind::kLinear) {
    plots.linear = Linear(json);
  } else {
    plots.logistic = Logistic(json);
  }
  return plots;
}

}  // namespace qvhost
