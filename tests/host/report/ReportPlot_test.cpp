#include "host/report/ReportPlot.h"

#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

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
  EXPECT_EQ(plots[0].facts, "Wholly on one side of 0 lie 1 of 1 interval.");
}

TEST(ForestPlots, OfALogisticModelAreOddsRatiosOfEachLevel) {
  const ReportPlots plots = ForestPlots(SampleLogisticFit());
  ASSERT_EQ(plots.size(), 2U);
  EXPECT_EQ(plots[1].title, "Odds ratios of y = low against mid, with 90% intervals");
  EXPECT_EQ(plots[0].columns["name"], Json({"g=a"})) << "x has no interval";
  EXPECT_NEAR(plots[0].columns["estimate"][0].get<double>(), std::exp(-1.5), 1e-5);
  EXPECT_EQ(plots[0].spec["layer"][2]["encoding"]["x"]["scale"]["type"], "log");
}

TEST(ForestPlots, CutIntervalsThatWouldHideAllOthers) {
  FitResult fit = SampleLogisticFit();
  EXPECT_EQ(ForestPlots(fit)[0].facts.find("cut"), std::string::npos);
  fit.parameters[1].statistics.confLow = -800.0;
  const ReportPlot plot = ForestPlots(fit)[0];
  EXPECT_NE(plot.facts.find("Intervals are cut at 0.0001 and 10,000."), std::string::npos);
  EXPECT_EQ(plot.columns["low"], Json({1e-4})) << "no logarithm of 0";
}

TEST(ForestPlots, ShowSixtyParametersAndSaySo) {
  FitResult fit = SampleFit();
  const ParameterResult cell = fit.parameters[1];
  fit.parameters.assign(61, cell);
  const ReportPlot plot = ForestPlots(fit)[0];
  EXPECT_EQ(plot.columns["name"].size(), 60U);
  EXPECT_NE(plot.facts.find("Not drawn: 1 more parameters."), std::string::npos);
  fit.parameters.pop_back();
  EXPECT_EQ(ForestPlots(fit)[0].facts.find("Not drawn"), std::string::npos);
}

TEST(MarginPlots, AreThereWhereTheFitHasMargins) {
  FitResult fit = SampleFit();
  EXPECT_TRUE(MarginPlots(fit).empty());
  fit.margins = {{"g", "a", "b", {}, 2.0, {0.5, 4.0, 0.01, 1.0, 3.0}}};
  const ReportPlots plots = MarginPlots(fit);
  ASSERT_EQ(plots.size(), 1U);
  EXPECT_EQ(plots[0].columns["name"], Json({"g: a - b"}));
  EXPECT_EQ(plots[0].columns["high"], Json({3.0}));
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
            "11 records, counted in 2 rectangles. Fitted y: 1 to 2.5. Observed y: 1 to 3.25.");
}

TEST(LogisticPlots, TellAreasAndIterations) {
  FitResult fit = SampleLogisticFit();
  LogisticPlots& data = fit.plots.emplace().logistic.emplace();
  data.iterations = {{0, -100.0, 0}, {1, -60.0, 2}};
  data.curves = {{"high", 0.875, {{0.0, 0.0}, {0.25, 1.0}, {1.0, 1.0}}}, {"none", {}, {}}};
  data.calibration = {{"high", 1, 10.0, 0.25, 0.5}};
  const ReportPlots plots = LogisticPlotsOf(fit);
  ASSERT_EQ(plots.size(), 3U);
  EXPECT_EQ(plots[0].facts, "From -100 to -60 in 1 iteration, with 2 step-halvings.");
  EXPECT_EQ(plots[1].facts, "Area of high: 0.875.");
  EXPECT_EQ(plots[1].columns["x"].size(), 3U);
  EXPECT_NE(plots[1].aid.find("that were fitted"), std::string::npos);
  EXPECT_EQ(plots[2].facts,
            "1 groups; the largest difference between observed and predicted is 0.25.");
  data.heldOut = true;
  EXPECT_NE(LogisticPlotsOf(fit)[1].aid.find("held out of the fit"), std::string::npos);
}

TEST(ClassificationPlots, ShowSharesOfTheObservedLevels) {
  FitResult fit = SampleLogisticFit();
  const ReportPlots plots = ClassificationPlots(fit);
  ASSERT_EQ(plots.size(), 1U);
  EXPECT_EQ(plots[0].columns["s"], Json({0.8, 0.2, 0.0, 0.0, 0.75, 0.25, 1.0, 0.0, 0.0}));
  EXPECT_EQ(plots[0].facts, "57.5% of all records are predicted right.");
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
