#include "host/report/PlotsJson.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "host/report/ValidationJson.h"

namespace qvhost {

namespace {

using Json = nlohmann::ordered_json;

/// A member of each element, as a list.
template <typename Element>
Json ListOf(const std::vector<Element>& elements, double Element::*member) {
  Json list = Json::array();
  for (const Element& element : elements) list.push_back(element.*member);
  return list;
}

Json ScatterJson(const ScatterPlot& plot) {
  using Cell = ScatterPlot::Cell;
  const auto isOne = [](const Cell& cell) { return cell.weight == 1.0; };
  const bool areAllOne = std::ranges::all_of(plot.cells, isOne);
  return {{"rectangle", plot.size ? Json(*plot.size) : Json(nullptr)},
          {"x", ListOf(plot.cells, &Cell::x)},
          {"y", ListOf(plot.cells, &Cell::y)},
          {"weight", areAllOne ? Json(nullptr) : ListOf(plot.cells, &Cell::weight)},
          {"outside", plot.outside},
          {"x_scale", plot.isLogarithmic ? "log10" : "linear"}};
}

Json LinearJson(const LinearPlots& plots) {
  return {{"residuals", ScatterJson(plots.residuals)},
          {"observed", ScatterJson(plots.observed)},
          {"leverage", ScatterJson(plots.leverage)},
          {"quantiles",
           {{"normal", ListOf(plots.quantiles, &QuantilePoint::normal)},
            {"residual", ListOf(plots.quantiles, &QuantilePoint::residual)}}}};
}

Json LogisticJson(const LogisticPlots& plots) {
  Json iterations = Json::array();
  for (const IterationPoint& point : plots.iterations) {
    iterations.push_back({{"iteration", point.iteration},
                          {"log_likelihood", point.logLikelihood},
                          {"halvings", point.halvings}});
  }
  Json curves = Json::array();
  for (const RocCurve& curve : plots.curves) {
    curves.push_back({{"level", curve.level},
                      {"auc", curve.area ? Json(*curve.area) : Json(nullptr)},
                      {"false_positive", ListOf(curve.points, &RocCurve::Point::falsePositive)},
                      {"true_positive", ListOf(curve.points, &RocCurve::Point::truePositive)}});
  }
  return {{"held_out", plots.heldOut},
          {"iterations", std::move(iterations)},
          {"curves", std::move(curves)},
          {"calibration", CalibrationJson(plots.calibration)}};
}

}  // namespace

Json PlotsJson(const FitPlots& plots) {
  return plots.linear ? LinearJson(*plots.linear) : LogisticJson(plots.logistic.value());
}

}  // namespace qvhost
