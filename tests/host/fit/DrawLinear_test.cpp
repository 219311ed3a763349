// What is drawn of a linear model beside R, whose numbers tests/reference/plots has, and beside the
// records' diagnostics, counted by hand.

#include "host/fit/DrawLinear.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "host/fit/RunFit.h"
#include "host/inference/Inference.h"
#include "host/report/Report.h"
#include "tests/host/fit/Everything.h"
#include "tests/host/fit/Fitting.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using Cell = ScatterPlot::Cell;
using Numbers = std::vector<double>;

LinearPlots Drawn(FitOptions options) {
  options.plots = true;
  return Fit(options).plots.value().linear.value();
}

LinearPlots Drawn(const std::string& sql, const std::string& formula) {
  FitOptions options = OptionsFor(sql, formula);
  options.binding.model = ModelKind::kLinear;
  return Drawn(options);
}

/// Records whose numbers lie nowhere near a border of rectangles.
std::string Waves(int count) {
  return fmt::format(
      "SELECT sin(i) AS x, 'g' || (i % 7) AS g, 0.25 * (1 + i % 9) AS f, 1 + i % 3 AS w, 3 * sin(2 "
      "* i + 1) + exp(cos(5 * i)) + i % 7 AS y FROM range({}) t(i)",
      count);
}

std::vector<std::array<double, 3>> Values(const ScatterPlot& plot) {
  std::vector<std::array<double, 3>> values;
  for (const Cell& cell : plot.cells) values.push_back({cell.x, cell.y, cell.weight});
  return values;
}

double WeightOf(const ScatterPlot& plot) {
  double sum = 0.0;
  for (const Cell& cell : plot.cells) sum += cell.weight;
  return sum;
}

void ExpectFinite(const LinearPlots& plots) {
  for (const ScatterPlot& plot : {plots.residuals, plots.observed, plots.leverage}) {
    for (const auto& cell : Values(plot)) {
      for (const double number : cell) EXPECT_TRUE(std::isfinite(number));
    }
    if (!plot.size) continue;
    for (const double side : *plot.size) {
      EXPECT_TRUE(std::isfinite(side));
      EXPECT_GT(side, 0.0);
    }
  }
  for (const QuantilePoint& point : plots.quantiles) {
    EXPECT_TRUE(std::isfinite(point.normal));
    EXPECT_TRUE(std::isfinite(point.residual));
  }
}

class DrawLinearTest : public ::testing::Test {
 protected:
  /// What is drawn, and the diagnostics of the records: fitted, residual, standardized,
  /// studentized, leverage, Cook's distance.
  [[nodiscard]] std::pair<LinearPlots, NumberTable> DrawnAndDiagnosed(FitOptions options) const {
    options.plots = true;
    options.diagnostics = folder_.File("diagnostics.parquet");
    ProgressBar none(nullptr);
    Interrupt interrupt;
    OutputFiles outputs;
    outputs.Add("--diagnostics", options.diagnostics);
    const FitResult fit = RunFit(options, none, interrupt, outputs);
    outputs.Finish();
    outputs.Commit();
    return {fit.plots.value().linear.value(), ReadNumbers(QuoteText(options.diagnostics))};
  }

  qvtest::TempFolder folder_;
};

// ---- Beside R ------------------------------------------------------------------

TEST(DrawLinear, PlotsOfCarsAreThoseOfR) {
  FitOptions options;
  options.source.data = (std::filesystem::path(QVREG_EXAMPLE_DATA) / "cars.csv").string();
  options.formula = "miles_per_gallon ~ weight + origin";
  const LinearPlots plots = Drawn(options);
  enum Column { kFitted, kObserved, kResidual, kStandardized, kLeverage, kNormal };
  const NumberTable reference = ReadNumbers(
      QuoteText((std::filesystem::path(QVREG_TEST_DATA) / "plots" / "cars.csv").string()));
  ASSERT_EQ(reference.names[kNormal], "normal");
  const auto expect = [&](const ScatterPlot& plot, Column x, Column y) {
    std::vector<std::array<double, 3>> expected;
    for (const auto& row : reference.rows) expected.push_back({*row[x], *row[y], 1.0});
    const auto found = Values(plot);
    EXPECT_FALSE(plot.size);
    ASSERT_EQ(found.size(), expected.size());
    // The order of what differs by rounding may be another.
    for (const auto& point : expected) {
      const auto isNear = [&](const std::array<double, 3>& other) {
        return std::abs(other[0] - point[0]) <= 1e-11 * std::abs(point[0]) &&
               std::abs(other[1] - point[1]) <= 1e-10 && other[2] == 1.0;
      };
      EXPECT_TRUE(std::ranges::any_of(found, isNear)) << point[0] << ' ' << point[1];
    }
  };
  expect(plots.residuals, kFitted, kResidual);
  expect(plots.observed, kFitted, kObserved);
  expect(plots.leverage, kLeverage, kStandardized);

  std::vector<std::pair<double, double>> quantiles;
  for (const auto& row : reference.rows) quantiles.emplace_back(*row[kNormal], *row[kStandardized]);
  std::ranges::sort(quantiles);
  ASSERT_EQ(plots.quantiles.size(), quantiles.size());
  for (std::size_t i = 0; i < quantiles.size(); ++i) {
    EXPECT_NEAR(plots.quantiles[i].normal, quantiles[i].first, 1e-12);
    EXPECT_NEAR(plots.quantiles[i].residual, quantiles[i].second, 1e-11);
  }
}

TEST_F(DrawLinearTest, BothWeightsAreThoseOfTheDiagnostics) {
  // Which are those of R; records that cannot be used have none.
  const auto drawn = DrawnAndDiagnosed(Everything("y"));
  const LinearPlots& plots = drawn.first;
  const NumberTable& written = drawn.second;
  const NumberTable weights =
      ReadNumbers("(SELECT f FROM " + RobustReference("everything.csv") + ")");
  const auto expect = [&](const ScatterPlot& plot, std::size_t x, std::size_t y) {
    std::vector<std::array<double, 3>> expected;
    for (std::size_t i = 0; i < written.rows.size(); ++i) {
      if (!written.rows[i][x] || !written.rows[i][y]) continue;
      expected.push_back({*written.rows[i][x], *written.rows[i][y], *weights.rows[i][0]});
    }
    std::ranges::sort(expected);
    EXPECT_EQ(Values(plot), expected);
    EXPECT_LT(expected.size(), written.rows.size());
  };
  expect(plots.residuals, 0, 1);
  expect(plots.leverage, 4, 2);
}

TEST_F(DrawLinearTest, FrequencyWeightsPlaceRecordsInTheMiddleOfTheirShare) {
  FitOptions options = OptionsFor(Waves(100), "y ~ x + g");
  options.binding.freqWeight = "w";
  const auto [plots, written] = DrawnAndDiagnosed(options);
  std::vector<std::pair<double, double>> expected;
  for (std::size_t i = 0; i < written.rows.size(); ++i) {
    expected.emplace_back(*written.rows[i][2], static_cast<double>(1 + i % 3));
  }
  std::ranges::sort(expected);
  double total = 0.0;
  for (const auto& [residual, weight] : expected) total += weight;
  ASSERT_EQ(plots.quantiles.size(), expected.size());
  double before = 0.0;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const auto& [residual, weight] = expected[i];
    EXPECT_EQ(plots.quantiles[i].residual, residual);
    EXPECT_NEAR(NormalShareBelow(plots.quantiles[i].normal), (before + weight / 2.0) / total,
                1e-14);
    before += weight;
  }
}

// ---- Many records ----------------------------------------------------------------

TEST_F(DrawLinearTest, MoreThan5000RecordsAreCountedInRectangles) {
  EXPECT_FALSE(Drawn(Waves(5000), "y ~ x + g").residuals.size);
  FitOptions options = OptionsFor(Waves(5001), "y ~ x + g");
  options.binding.freqWeight = "f";
  const auto [plots, written] = DrawnAndDiagnosed(options);
  const auto expect = [&](const ScatterPlot& plot, const Numbers& x, const Numbers& y) {
    const auto [width, height] = plot.size.value();
    EXPECT_GT(plot.cells.size(), 100U);
    EXPECT_LE(plot.cells.size(), 60U * 40U);
    for (std::size_t i = 1; i < plot.cells.size(); ++i) {
      const Cell& before = plot.cells[i - 1];
      EXPECT_LT(std::pair(before.x, before.y), std::pair(plot.cells[i].x, plot.cells[i].y));
    }
    for (const Cell& cell : plot.cells) {
      double weight = 0.0;
      for (std::size_t i = 0; i < x.size(); ++i) {
        const double across = (x[i] - cell.x) / width;
        const double up = (y[i] - cell.y) / height;
        const bool isIn = across >= 0.0 && across < 1.0 && up >= 0.0 && up < 1.0;
        if (isIn) weight += 0.25 * static_cast<double>(1 + i % 9);
      }
      EXPECT_EQ(cell.weight, weight) << cell.x << ' ' << cell.y;
    }
    double all = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) all += 0.25 * static_cast<double>(1 + i % 9);
    EXPECT_EQ(WeightOf(plot), all);
  };
  Numbers fitted;
  Numbers residual;
  Numbers observed;
  Numbers standardized;
  Numbers leverage;
  for (const auto& row : written.rows) {
    fitted.push_back(*row[0]);
    residual.push_back(*row[1]);
    observed.push_back(*row[0] + *row[1]);
    standardized.push_back(*row[2]);
    leverage.push_back(*row[4]);
  }
  expect(plots.residuals, fitted, residual);
  expect(plots.observed, fitted, observed);
  expect(plots.leverage, leverage, standardized);
}

TEST(DrawLinear, AFewRecordsFarAwayDoNotStretchTheRectangles) {
  // Of 20,000 records two lie far out: less than 0.05% at either end.
  const LinearPlots plots = Drawn(
      "SELECT sin(i) AS x, CASE WHEN i = 5 THEN 1e6 WHEN i = 6 THEN -1e9 ELSE 3 * sin(2 * i + "
      "1) END AS y, 2 AS w FROM range(20000) t(i)",
      "y ~ 1");
  EXPECT_EQ(plots.observed.outside, 2.0);
  EXPECT_EQ(WeightOf(plots.observed), 19998.0);
  EXPECT_NEAR(plots.observed.size.value()[1], 6.0 / 40.0, 0.01);
  EXPECT_NEAR(plots.observed.cells.front().y, -3.0, 0.01);
  EXPECT_EQ(plots.residuals.outside, 2.0);
  EXPECT_EQ(plots.leverage.outside, 2.0);
}

TEST(DrawLinear, RectanglesHoldAllOfRecordsThatLieTogether) {
  // Few at the ends, as of a normal distribution.
  const LinearPlots plots = Drawn(
      "SELECT cos(i) AS x, sin(sqrt(2) * i) + sin(sqrt(3) * i) + sin(sqrt(5) * i) + sin(sqrt(7) * "
      "i) + sin(sqrt(11) * i) + sin(sqrt(13) * i) AS y FROM range(20000) t(i)",
      "y ~ x");
  for (const ScatterPlot& plot : {plots.residuals, plots.observed, plots.leverage}) {
    EXPECT_EQ(plot.outside, 0.0);
    EXPECT_EQ(WeightOf(plot), 20000.0);
    EXPECT_FALSE(plot.isLogarithmic);
  }
}

TEST(DrawLinear, FrequencyWeightsSayWhichRecordsAreFew) {
  FitOptions options = OptionsFor(
      "SELECT CASE WHEN i = 5 THEN 1e6 ELSE sin(i) END AS y, CASE WHEN i = 5 THEN 9 ELSE 1 END AS "
      "w "
      "FROM range(20000) t(i)",
      "y ~ 1");
  options.binding.freqWeight = "w";
  EXPECT_EQ(Drawn(options).observed.outside, 9.0);
  options = OptionsFor(
      "SELECT CASE WHEN i = 5 THEN 1e6 ELSE sin(i) END AS y, CASE WHEN i = 5 THEN 11 ELSE 1 END AS "
      "w FROM range(20000) t(i)",
      "y ~ 1");
  options.binding.freqWeight = "w";
  EXPECT_EQ(Drawn(options).observed.outside, 0.0);
}

TEST(DrawLinear, ANumberThatNearlyAllRecordsHaveIsDrawnBesideTheOthers) {
  const LinearPlots plots =
      Drawn("SELECT CASE WHEN i < 3 THEN 1e6 + i ELSE 7 END AS y FROM range(20000) t(i)", "y ~ 1");
  EXPECT_EQ(plots.observed.outside, 0.0);
  EXPECT_EQ(WeightOf(plots.observed), 20000.0);
}

TEST_F(DrawLinearTest, LeveragesFarApartAreCountedByTheirLogarithms) {
  const auto drawn = DrawnAndDiagnosed(OptionsFor(
      "SELECT exp(3 * sin(i)) AS x, cos(7 * i) AS y FROM range(6000) t(i)", "y ~ x - 1"));
  const ScatterPlot& plot = drawn.first.leverage;
  EXPECT_TRUE(plot.isLogarithmic);
  EXPECT_EQ(plot.outside, 0.0);
  const auto [width, height] = plot.size.value();
  for (const Cell& cell : plot.cells) {
    double count = 0.0;
    for (const auto& row : drawn.second.rows) {
      const double across = (std::log10(*row[4]) - cell.x) / width;
      const double up = (*row[2] - cell.y) / height;
      if (across >= 0.0 && across < 1.0 && up >= 0.0 && up < 1.0) count += 1.0;
    }
    EXPECT_EQ(cell.weight, count) << cell.x << ' ' << cell.y;
  }
}

TEST_F(DrawLinearTest, OfManyRecordsTheQuantilesKeepTheTails) {
  const auto [plots, written] = DrawnAndDiagnosed(OptionsFor(Waves(20000), "y ~ x + g"));
  Numbers sorted;
  for (const auto& row : written.rows) sorted.push_back(*row[2]);
  std::ranges::sort(sorted);
  const std::vector<QuantilePoint>& points = plots.quantiles;
  EXPECT_GT(points.size(), 300U);
  EXPECT_LE(points.size(), 502U);
  constexpr std::size_t kTail = 12;
  for (std::size_t i = 0; i < kTail; ++i) {
    EXPECT_EQ(points[i].residual, sorted[i]);
    EXPECT_EQ(points[points.size() - 1 - i].residual, sorted[sorted.size() - 1 - i]);
    EXPECT_NEAR(points[i].normal, -points[points.size() - 1 - i].normal, 1e-12);
  }
  std::size_t place = 0;
  for (std::size_t i = 0; i < points.size(); ++i) {
    while (place < sorted.size() && sorted[place] != points[i].residual) ++place;
    ASSERT_LT(place, sorted.size()) << "no record has this residual";
    EXPECT_NEAR(NormalShareBelow(points[i].normal), (static_cast<double>(place) + 0.5) / 20000.0,
                1e-14);
    if (i > 0) {
      EXPECT_GT(points[i].normal, points[i - 1].normal);
      EXPECT_LT(points[i].normal - points[i - 1].normal, 0.4);
    }
  }
}

TEST(DrawLinear, PlotsAreTheSameWithAnyThreads) {
  FitOptions options = OptionsFor(Waves(30000), "y ~ x + g");
  options.binding.freqWeight = "f";
  options.plots = true;
  options.threads = 1;
  const std::string one = JsonReport(Fit(options));
  for (const int threads : {2, 5}) {
    options.threads = threads;
    EXPECT_EQ(JsonReport(Fit(options)), one);
  }
}

TEST(DrawLinear, WithoutAReportThereIsNothing) { EXPECT_FALSE(Fit(Waves(100), "y ~ x + g").plots); }

// ---- What does not exist ------------------------------------------------------------

TEST(DrawLinear, RecordsThatWereNotFittedAreNotDrawn) {
  FitOptions options = OptionsFor(
      "SELECT CASE WHEN i % 10 = 0 THEN NULL ELSE i END AS x, i % 4 > 0 AS train, CASE WHEN i % 7 "
      "= "
      "0 THEN -1 ELSE 2 END AS w, sin(i) AS y FROM range(140) t(i)",
      "y ~ x");
  options.binding.freqWeight = "w";
  options.binding.validation.kind = ValidationKind::kSplit;
  options.binding.validation.column = "train";
  options.plots = true;
  const FitResult fit = Fit(options);
  const LinearPlots& plots = fit.plots->linear.value();
  EXPECT_EQ(static_cast<long long>(plots.residuals.cells.size()), fit.records.used);
  EXPECT_EQ(plots.quantiles.size(), plots.residuals.cells.size());
  EXPECT_LT(fit.records.used, 100);
}

TEST(DrawLinear, ARecordOfLeverage1HasNoStandardizedResidual) {
  const LinearPlots plots =
      Drawn("SELECT * FROM (VALUES (1.0, 'a'), (2, 'a'), (4, 'b'), (3, 'a')) t(y, g)", "y ~ g");
  EXPECT_EQ(plots.residuals.cells.size(), 4U);
  EXPECT_EQ(plots.leverage.cells.size(), 3U);
  EXPECT_EQ(plots.quantiles.size(), 3U);
  EXPECT_NEAR(plots.quantiles[1].normal, 0.0, 1e-15);
}

TEST(DrawLinear, WithoutAResidualErrorThereAreNoStandardizedResiduals) {
  const LinearPlots one = Drawn("SELECT 5 AS y", "y ~ 1");
  EXPECT_EQ(Values(one.observed), (std::vector<std::array<double, 3>>{{5.0, 5.0, 1.0}}));
  EXPECT_EQ(Values(one.residuals), (std::vector<std::array<double, 3>>{{5.0, 0.0, 1.0}}));
  EXPECT_TRUE(one.leverage.cells.empty());
  EXPECT_TRUE(one.quantiles.empty());
  const LinearPlots many = Drawn("SELECT 5 AS y FROM range(6000)", "y ~ 1");
  EXPECT_TRUE(many.leverage.cells.empty());
  EXPECT_FALSE(many.leverage.size);
  EXPECT_EQ(many.residuals.cells.size(), 1U);
  EXPECT_EQ(WeightOf(many.residuals), 6000.0);
  EXPECT_EQ(many.residuals.cells[0].y, -0.5) << "one unit about 0";
  ExpectFinite(many);
}

TEST(DrawLinear, ARangeNoWiderThanRoundingIsOneRectangle) {
  const LinearPlots plots = Drawn("SELECT sin(i) + 1e6 AS y FROM range(6000) t(i)", "y ~ 1");
  ExpectFinite(plots);
  for (const ScatterPlot& plot : {plots.residuals, plots.observed, plots.leverage}) {
    EXPECT_EQ(WeightOf(plot), 6000.0);
    EXPECT_LE(plot.cells.size(), 40U);
    for (const Cell& cell : plot.cells) EXPECT_EQ(cell.x, plot.cells[0].x);
  }
  EXPECT_NEAR(plots.residuals.cells[0].x, 5e5, 1.0) << "as wide as its value, about it";
  EXPECT_NEAR(plots.residuals.size.value()[0], 1e6, 1.0);
}

TEST(DrawLinear, ARangeOfAFewRoundingsIsOneRectangle) {
  const LinearPlots plots = Drawn(
      "SELECT 1 + 2.220446049250313e-16::DOUBLE * (i % 3) AS y FROM range(6000) t(i)", "y ~ 1");
  EXPECT_EQ(plots.observed.cells.size(), 1U);
  for (const double side : plots.observed.size.value()) EXPECT_NEAR(side, 1.0, 1e-15);
  EXPECT_EQ(WeightOf(plots.observed), 6000.0);
  ExpectFinite(plots);
}

TEST(DrawLinear, TheLargestAndTheSmallestNumbersHaveFiniteRectangles) {
  for (const char* y : {"1.7e308 * sin(i)", "1e-310 * sin(i)", "1e300 * (1 + 1e-15 * sin(i))"}) {
    SCOPED_TRACE(y);
    const LinearPlots plots =
        Drawn(fmt::format("SELECT {} AS y, i % 5 AS x FROM range(6000) t(i)", y), "y ~ x");
    ExpectFinite(plots);
    EXPECT_EQ(WeightOf(plots.observed) + plots.observed.outside, 6000.0);
    EXPECT_EQ(WeightOf(plots.residuals) + plots.residuals.outside, 6000.0);
  }
}

TEST(DrawLinear, OfAStandardizedDependentItsStandardizedValuesAreDrawn) {
  const LinearPlots plots = Drawn(Waves(200), "scale(y) ~ x");
  double sum = 0.0;
  double squares = 0.0;
  for (const Cell& cell : plots.observed.cells) {
    sum += cell.y;
    squares += cell.y * cell.y;
  }
  EXPECT_NEAR(sum, 0.0, 1e-11);
  EXPECT_NEAR(squares, 199.0, 1e-10);
}

}  // namespace
}  // namespace qvhost
