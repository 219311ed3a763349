#include "host/report/ReportPlot.h"

#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/report/IntervalPlot.h"
#include "host/report/PlotParts.h"
#include "tests/host/report/SampleFit.h"

namespace qvhost {
namespace {

using Json = nlohmann::json;

TEST(ForestPlots, LeaveOutInterceptsAndWhatIsRedundant) {
  const ReportPlots plots = ForestPlots(SampleFit());
  ASSERT_EQ(plots.size(), 1U);
  EXPECT_EQ(plots[0].title, "Estimates with 90% intervals");
  EXPECT_EQ(plots[0].columns["name"], Json({"g=ä:I(x^2)"}));
  EXPECT_EQ(plots[0].columns["low"], Json({-22.789}));
  EXPECT_EQ(plots[0].facts, "1 of 1 interval excludes 0.");
}

TEST(ForestPlots, OfALogisticModelAreOddsRatiosOfEachLevel) {
  const ReportPlots plots = ForestPlots(SampleLogisticFit());
  ASSERT_EQ(plots.size(), 2U);
  EXPECT_EQ(plots[1].title, "Odds ratios of y = low against mid, with 90% intervals");
  EXPECT_EQ(plots[0].columns["name"], Json({"g=a"})) << "x has no interval";
  EXPECT_NEAR(plots[0].columns["estimate"][0].get<double>(), std::exp(-1.5), 1e-5);
  EXPECT_EQ(plots[0].spec["layer"][2]["encoding"]["x"]["scale"]["type"], "log");
}

TEST(ForestPlots, NameWhatTheDataTellNextToNothingOf) {
  FitResult fit = SampleLogisticFit();
  EXPECT_EQ(ForestPlots(fit)[0].facts.find("Not drawn"), std::string::npos);
  fit.parameters[3].statistics = {300.0, 2.0, 0.05, 300.0, 1300.0};
  ReportPlot plot = ForestPlots(fit)[0];
  EXPECT_EQ(plot.columns["name"], Json({"g=a"}));
  EXPECT_NE(plot.facts.find("span more than a factor of 1,000,000: x."), std::string::npos);
  fit.parameters[1].statistics.confLow = -800.0;
  plot = ForestPlots(fit)[0];
  EXPECT_TRUE(plot.spec.is_null());
  EXPECT_EQ(plot.facts,
            "Not drawn, of intervals that span more than a factor of 1,000,000: g=a, x.");
  EXPECT_FALSE(ForestPlots(fit)[1].spec.is_null()) << "of the other level";
  EXPECT_EQ(ForestPlots(fit)[1].aid.find("as the plot above"), std::string::npos);
}

TEST(ForestPlots, OfManyParametersDrawTheStrongest) {
  FitResult fit = SampleFit();
  const ParameterResult cell = fit.parameters[1];
  fit.parameters.assign(61, cell);
  for (std::size_t i = 0; i < fit.parameters.size(); ++i) {
    fit.parameters[i].label = std::to_string(i);
    fit.parameters[i].statistics.statistic = i == 7 ? 1.5 : i % 2 == 0 ? 2.0 : -2.0;
  }
  const ReportPlot plot = ForestPlots(fit)[0];
  ASSERT_EQ(plot.columns["name"].size(), 60U);
  EXPECT_EQ(plot.columns["name"][6], "6");
  EXPECT_EQ(plot.columns["name"][7], "8");
  EXPECT_NE(plot.facts.find("Of 61 parameters the 60 with the largest |t| are drawn."),
            std::string::npos);
  fit.parameters.pop_back();
  EXPECT_EQ(ForestPlots(fit)[0].facts.find("largest"), std::string::npos);
}

TEST(ForestPlots, GiveEffectsPerUnitAScaleOfTheirOwn) {
  FitResult fit = SampleFit();
  ParameterResult level = fit.parameters[1];
  level.label = "g=c";
  level.covariates.clear();
  fit.parameters.push_back(level);
  const ReportPlots plots = ForestPlots(fit);
  ASSERT_EQ(plots.size(), 2U);
  EXPECT_EQ(plots[0].title, "Estimates with 90% intervals: levels");
  EXPECT_EQ(plots[0].columns["name"], Json({"g=c"}));
  EXPECT_EQ(plots[1].title, "Estimates with 90% intervals: per unit");
  EXPECT_EQ(plots[1].columns["name"], Json({"g=ä:I(x^2)"}));
}

/// The ends of the axis of a plot.
std::vector<double> AxisOf(const IntervalPlot& plot) {
  return plot.Spec()["layer"][4]["encoding"]["x"]["scale"]["domain"].get<std::vector<double>>();
}

TEST(IntervalPlot, HasAMarginOnBothSidesOfNoEffect) {
  const std::vector<double> linear = AxisOf({{{"a", 5.0, 4.0, 6.0}}, "", false});
  EXPECT_LT(linear[0], -0.3);
  EXPECT_GT(linear[1], 6.2);
  const std::vector<double> odds = AxisOf({{{"a", 5.0, 2.0, 12.0}}, "", true});
  EXPECT_LT(odds[0], 0.9);
  EXPECT_GT(odds[0], 0.5);
  EXPECT_LT(odds[1], 15.0);
  const std::vector<double> none = AxisOf({{{"a", 0.0, 0.0, 0.0}}, "", false});
  EXPECT_LT(none[0], 0.0);
  EXPECT_GT(none[1], 0.0);
}

TEST(IntervalPlot, EndsInAnArrowheadWhatGoesOnBeyondTheAxis) {
  IntervalPlot plot{{{"a", 1.0, 0.5, 1.5}, {"b", 2.0, 1.5, 2.5}, {"c", 1.0, -400.0, 500.0}}, ""};
  EXPECT_EQ(plot.Columns()["cut"], Json({"", "", "lr"}));
  EXPECT_EQ(plot.Columns()["drawn"], Json({true, true, true}));
  EXPECT_EQ(plot.Columns()["low"][2], -400.0) << "as the tooltip says";
  EXPECT_NEAR(plot.Columns()["to"][2].get<double>(), AxisOf(plot)[1], 1e-3);
  EXPECT_EQ(plot.Facts(),
            "2 of 3 intervals exclude 0. 1 with an arrowhead goes on beyond the axis.");
  for (int i = 0; i < 40; ++i) plot.rows.push_back({"d", 0.05 * i, 0.05 * i - 1, 0.05 * i + 1});
  plot.rows[2] = {"c", 900.0, -500.0, 2300.0};
  EXPECT_EQ(plot.Columns()["cut"][2], "r") << "an arrowhead alone, and no line without a point";
  EXPECT_EQ(plot.Columns()["drawn"][2], false);
  EXPECT_EQ(plot.Columns()["from"][2], plot.Columns()["to"][2]);
  EXPECT_LT(AxisOf(plot)[1], 20.0);
}

TEST(MarginPlots, AreThereWhereTheFitHasSeveralMargins) {
  FitResult fit = SampleFit();
  EXPECT_TRUE(MarginPlots(fit).empty());
  fit.margins = {{"g", "a", "b", {}, 2.0, {0.5, 4.0, 0.01, 1.0, 3.0}}};
  EXPECT_TRUE(MarginPlots(fit).empty()) << "a single point";
  fit.margins->push_back({"g", "c", "b", {}, 1.0, {0.5, 2.0, 0.05, 0.0, 2.0}});
  fit.margins->push_back({"x", {}, {}, {}, 1.0, {0.5, 2.0, 0.05, 0.0, 2.0}});
  const ReportPlots plots = MarginPlots(fit);
  ASSERT_EQ(plots.size(), 1U);
  EXPECT_EQ(plots[0].columns["name"], Json({"g: a - b", "g: c - b"}));
  EXPECT_EQ(plots[0].columns["high"], Json({3.0, 2.0}));
}

TEST(MarginPlots, OfSeveralLevelsShareAnAxis) {
  FitResult fit = SampleLogisticFit();
  fit.margins.emplace();
  for (const char* category : {"high", "low", "mid"}) {
    for (const char* variable : {"x", "z"}) {
      fit.margins->push_back({variable, {}, {}, category, 0.1, {0.5, 4.0, 0.01, 0.05, 0.2}});
    }
  }
  const ReportPlots plots = MarginPlots(fit);
  ASSERT_EQ(plots.size(), 1U);
  EXPECT_EQ(plots[0].title, "Average marginal effects on the probabilities of y");
  EXPECT_EQ(plots[0].columns["name"],
            Json({"x (high)", "x (low)", "x (mid)", "z (high)", "z (low)", "z (mid)"}));
}

TEST(LinearPlots, DrawPointsOrOfManyRecordsRectangles) {
  FitResult fit = SampleFit();
  LinearPlots& data = fit.plots.emplace().linear.emplace();
  data.residuals.cells = {{1.0, -2.0}, {3.0, 2.0}};
  data.observed.size = {0.5, 0.25};
  data.observed.cells = {{1.0, 1.0, 7.0}, {2.0, 3.0, 4.0}};
  data.quantiles = {{-1.0, -1.5}, {1.0, 0.5}};
  const ReportPlots plots = LinearPlotsOf(fit);
  ASSERT_EQ(plots.size(), 3U) << "nothing is known of leverages";
  EXPECT_EQ(plots[0].spec["layer"][0]["mark"]["type"], "circle");
  EXPECT_EQ(plots[0].spec["layer"][1]["encoding"]["y"]["datum"], 0.0);
  EXPECT_EQ(plots[0].facts, "2 points. Fitted y: 1 to 3. Residual: -2 to 2.");
  EXPECT_EQ(plots[1].columns["y"], Json({-1.5, 0.5}));
  EXPECT_EQ(plots[2].spec["layer"][0]["mark"]["type"], "rect");
  EXPECT_EQ(plots[2].columns["w"], Json({7.0, 4.0}));
  EXPECT_EQ(plots[2].facts,
            "2 rectangles for 11 records. Fitted y: 1 to 2.5. Observed y: 1 to 3.25.");
}

TEST(LinearPlots, CountExactlyAndSayWhatLiesBeyond) {
  FitResult fit = SampleFit();
  LinearPlots& data = fit.plots.emplace().linear.emplace();
  data.observed.size = {0.5, 0.25};
  data.observed.cells = {{1.0, 1.0, 1.0}, {2.0, 3.0, 451590.0}};
  data.observed.outside = 17.0;
  const ReportPlot plot = LinearPlotsOf(fit).at(0);
  EXPECT_EQ(plot.columns["w"], Json({1.0, 451590.0}));
  EXPECT_NE(plot.facts.find("17 more lie beyond the axes"), std::string::npos) << plot.facts;
  const Json& opacity = plot.spec["layer"][0]["encoding"]["opacity"];
  EXPECT_EQ(opacity["scale"]["domain"], Json({1.0, 451590.0}));
  EXPECT_EQ(opacity["legend"]["values"],
            Json({1.0, 10.0, 100.0, 1000.0, 10000.0, 100000.0, 451590.0}));
  data.observed.cells[1].weight = 1.0;
  EXPECT_EQ(LinearPlotsOf(fit)[0].spec["layer"][0]["encoding"]["opacity"], Json({{"value", 1.0}}));
}

TEST(LinearPlots, SpreadLeveragesThatAreFarApart) {
  FitResult fit = SampleFit();
  LinearPlots& data = fit.plots.emplace().linear.emplace();
  const auto scale = [&] {
    return LinearPlotsOf(fit).at(0).spec["layer"][0]["encoding"]["x"]["scale"];
  };
  data.leverage.cells = {{0.001, 1.0}, {0.1, 2.0}};
  EXPECT_FALSE(scale().contains("type")) << "a factor of 100";
  data.leverage.cells[1].x = 0.11;
  EXPECT_EQ(scale()["type"], "log");
  data.leverage.cells[0].x = 0.0;
  EXPECT_FALSE(scale().contains("type"));
  data.leverage = {{{1.0, 0.5}}, {{-3.0, 1.0, 5.0}, {-1.0, 1.0, 7.0}}, 0.0, true};
  EXPECT_EQ(scale()["type"], "log");
  EXPECT_EQ(scale()["domain"], Json({0.001, 1.0}));
}

TEST(LogisticPlots, TellAreasAndIterations) {
  FitResult fit = SampleLogisticFit();
  LogisticPlots& data = fit.plots.emplace().logistic.emplace();
  data.iterations = {{0, -100.0, 0}, {1, -61.0, 2}, {2, -60.0, 0}};
  data.curves = {{"high", 0.875, {{0.0, 0.0}, {0.25, 1.0}, {1.0, 1.0}}}, {"none", {}, {}}};
  data.calibration = {{"high", 1, 10.0, 0.25, 0.5}};
  const ReportPlots iterations = IterationPlots(fit);
  ASSERT_EQ(iterations.size(), 1U);
  EXPECT_EQ(iterations[0].facts, "From -100 to -60 in 2 iterations, with 2 step-halvings.");
  EXPECT_EQ(iterations[0].columns["y"], Json({40.0, 1.0}));
  const ReportPlots plots = PredictionPlots(fit);
  ASSERT_EQ(plots.size(), 2U);
  EXPECT_EQ(plots[0].title, "ROC curves of the records fitted");
  EXPECT_EQ(plots[0].facts, "Area of high: 0.875.");
  EXPECT_EQ(plots[0].columns["x"].size(), 3U);
  EXPECT_EQ(plots[1].facts,
            "1 groups; the largest difference between observed and predicted is 0.25, of a group "
            "of 10 records.");
  // R: binom::binom.confint(5, 10, methods = "wilson")
  EXPECT_NEAR(plots[1].columns["low"][0].get<double>(), 0.2366, 1e-4);
  EXPECT_NEAR(plots[1].columns["high"][0].get<double>(), 0.7634, 1e-4);
  data.heldOut = true;
  EXPECT_EQ(PredictionPlots(fit)[1].title, "Calibration of the records held out");
  data.iterations.erase(data.iterations.begin());
  EXPECT_TRUE(IterationPlots(fit).empty()) << "a single point";
}

TEST(LogisticPlots, SayWhichCurvesCoincide) {
  FitResult fit = SampleLogisticFit();
  LogisticPlots& data = fit.plots.emplace().logistic.emplace();
  const std::vector<RocCurve::Point> best = {{0.0, 0.0}, {0.0, 1.0}, {1.0, 1.0}};
  data.curves = {{"high", 1.0, best}, {"low", 0.5, {{0.0, 0.0}, {1.0, 1.0}}}, {"mid", 1.0, best}};
  EXPECT_NE(PredictionPlots(fit)[0].facts.find(" The curves of high and mid coincide."),
            std::string::npos);
  data.curves.pop_back();
  EXPECT_EQ(PredictionPlots(fit)[0].facts.find("coincide"), std::string::npos);
}

TEST(ClassificationPlots, ShowSharesOfTheObservedLevels) {
  FitResult fit = SampleLogisticFit();
  const ReportPlots plots = ClassificationPlots(fit);
  ASSERT_EQ(plots.size(), 1U);
  EXPECT_EQ(plots[0].columns["s"], Json({0.8, 0.2, 0.0, 0.0, 0.75, 0.25, 1.0, 0.0, 0.0}));
  EXPECT_EQ(plots[0].facts, "57.5% of the records fitted are predicted right.");
  ValidationResult& validation = fit.validation.emplace();
  validation.classification = {{4.0, 0.0, 0.0}, {0.0, 0.0, 0.0}, {0.0, 12.0, 0.0}};
  ASSERT_EQ(ClassificationPlots(fit).size(), 2U);
  EXPECT_EQ(ClassificationPlots(fit)[1].facts,
            "25.0% of the records held out are predicted right.");
  fit.logistic->levels.resize(31);
  fit.logistic->classification.assign(31, std::vector<double>(31, 1.0));
  EXPECT_TRUE(ClassificationPlots(fit).empty());
}

TEST(PlotNumbers, KeepAsManyDigitsAsAPlotShows) {
  EXPECT_EQ(PlotNumbers({0.123456789, 1.0}), Json({0.1235, 1.0}));
  EXPECT_EQ(PlotNumbers({100000.123, 100000.987}), Json({100000.123, 100000.987}));
  EXPECT_EQ(PlotNumbers({1234567.0, 987654321.0}), Json({1200000.0, 987700000.0}));
  EXPECT_EQ(PlotNumbers({5.0, 5.0}), Json({5.0, 5.0}));
  EXPECT_EQ(PlotNumbers({0.0}), Json({0.0}));
  EXPECT_TRUE(PlotNumbers({}).empty());
}

}  // namespace
}  // namespace qvhost
