// What is drawn of a logistic model beside its definition, over the probabilities that
// --predictions writes.

#include "host/fit/DrawLogistic.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "host/Text.h"
#include "host/fit/RunFit.h"
#include "host/report/Report.h"
#include "host/table/Connection.h"
#include "tests/host/fit/Fitting.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using Groups = std::vector<CalibrationGroup>;

FitResult Drawn(FitOptions options) {
  options.binding.model = ModelKind::kLogistic;
  options.plots = true;
  return Fit(options);
}

FitResult Drawn(const std::string& sql, const std::string& formula) {
  return Drawn(OptionsFor(sql, formula));
}

const LogisticPlots& PlotsOf(const FitResult& fit) { return fit.plots.value().logistic.value(); }

/// Of numbers that a linear congruence makes, without a pattern that a factor could follow.
std::string Levels(int rows, int levels) {
  return fmt::format(
      "SELECT i % 13 AS x, 'g' || (i % 5) AS g, 1 + i % 4 AS f, 'k' || ((i * 7919 + i // 17 * "
      "104729 "
      "+ (i % 13) * (i % 3)) % {1}) AS k FROM range({0}) t(i)",
      rows, levels);
}

/// A record: whether it has the level, the level's probability, its weight.
struct Scored {
  bool has;
  double probability;
  double weight;
};

/// The probability that a record with the level has the higher one, half of ties, pair by pair.
double AreaOf(const std::vector<Scored>& records) {
  double higher = 0.0;
  double pairs = 0.0;
  for (const Scored& a : records) {
    for (const Scored& b : records) {
      if (!a.has || b.has) continue;
      pairs += a.weight * b.weight;
      const double share = a.probability == b.probability ? 0.5 : a.probability > b.probability;
      higher += share * a.weight * b.weight;
    }
  }
  return higher / pairs;
}

/// Tenths of the weight in the order of the probabilities; equal ones in the tenth of their middle.
Groups CalibrationOf(std::vector<Scored> records, const std::string& level) {
  std::ranges::sort(records, {}, &Scored::probability);
  double total = 0.0;
  for (const Scored& record : records) total += record.weight;
  std::array<CalibrationGroup, 10> tenths;
  double before = 0.0;
  for (std::size_t begin = 0; begin < records.size();) {
    std::size_t end = begin;
    double weight = 0.0;
    while (end < records.size() && records[end].probability == records[begin].probability) {
      weight += records[end++].weight;
    }
    auto& tenth = tenths.at(static_cast<std::size_t>((before + weight / 2.0) / total * 10.0));
    for (; begin < end; ++begin) {
      tenth.weight += records[begin].weight;
      tenth.meanPredicted += records[begin].weight * records[begin].probability;
      tenth.observed += records[begin].has ? records[begin].weight : 0.0;
    }
    before += weight;
  }
  Groups groups;
  for (std::size_t i = 0; i < tenths.size(); ++i) {
    CalibrationGroup& tenth = tenths.at(i);
    if (tenth.weight == 0.0) continue;
    groups.push_back({level, static_cast<int>(i) + 1, tenth.weight,
                      tenth.meanPredicted / tenth.weight, tenth.observed / tenth.weight});
  }
  return groups;
}

/// Whether every point is what the definition has at some threshold.
void ExpectOnCurve(const RocCurve& curve, const std::vector<Scored>& records) {
  double having = 0.0;
  double others = 0.0;
  for (const Scored& record : records) (record.has ? having : others) += record.weight;
  std::vector<std::pair<double, double>> all = {{0.0, 0.0}};
  for (const Scored& threshold : records) {
    std::pair<double, double> point = {0.0, 0.0};
    for (const Scored& record : records) {
      if (record.probability < threshold.probability) continue;
      (record.has ? point.second : point.first) += record.weight;
    }
    all.emplace_back(point.first / others, point.second / having);
  }
  for (const RocCurve::Point& point : curve.points) {
    EXPECT_TRUE(std::ranges::any_of(all,
                                    [&](const auto& other) {
                                      return std::abs(other.first - point.falsePositive) < 1e-14 &&
                                             std::abs(other.second - point.truePositive) < 1e-14;
                                    }))
        << point.falsePositive << ' ' << point.truePositive;
  }
  double area = 0.0;
  for (std::size_t i = 1; i < curve.points.size(); ++i) {
    area += (curve.points[i].falsePositive - curve.points[i - 1].falsePositive) *
            (curve.points[i].truePositive + curve.points[i - 1].truePositive) / 2.0;
  }
  EXPECT_NEAR(area, curve.area.value(), 1e-12) << "no corner was left out";
}

void ExpectGroups(const Groups& found, const Groups& expected) {
  ASSERT_EQ(found.size(), expected.size());
  for (std::size_t i = 0; i < found.size(); ++i) {
    EXPECT_EQ(found[i].level, expected[i].level);
    EXPECT_EQ(found[i].group, expected[i].group);
    EXPECT_NEAR(found[i].weight, expected[i].weight, 1e-12);
    EXPECT_NEAR(found[i].meanPredicted, expected[i].meanPredicted, 1e-14);
    EXPECT_NEAR(found[i].observed, expected[i].observed, 1e-14);
  }
}

class DrawLogisticTest : public ::testing::Test {
 protected:
  /// Draws a fit, and compares curves and calibration with the definitions.
  void ExpectDefined(FitOptions options, const std::vector<std::string>& levels,
                     const std::string& weight) const {
    options.plots = true;
    options.binding.model = ModelKind::kLogistic;
    options.predictions = folder_.File("predictions.parquet");
    options.keepAll = true;
    ProgressBar none(nullptr);
    Interrupt interrupt;
    OutputFiles outputs;
    outputs.Add("--predictions", options.predictions);
    const FitResult fit = RunFit(options, none, interrupt, outputs);
    outputs.Finish();
    outputs.Commit();
    const LogisticPlots& plots = PlotsOf(fit);
    EXPECT_FALSE(plots.heldOut);
    ASSERT_EQ(plots.curves.size(), levels.size());
    Groups groups;
    for (std::size_t i = 0; i < levels.size(); ++i) {
      const std::string& level = levels[i];
      const std::vector<Scored> records = Read(options.predictions, level, weight);
      EXPECT_EQ(plots.curves[i].level, level);
      EXPECT_NEAR(plots.curves[i].area.value(), AreaOf(records), 1e-14);
      ExpectOnCurve(plots.curves[i], records);
      for (CalibrationGroup& group : CalibrationOf(records, level)) groups.push_back(group);
    }
    ExpectGroups(plots.calibration, groups);
  }

  static std::vector<Scored> Read(const std::string& file, const std::string& level,
                                  const std::string& weight) {
    Connection connection;
    std::vector<Scored> records;
    for (const auto& row : connection.Rows(
             fmt::format("SELECT observed = {0}, \"p_{1}\", {2} FROM {3} WHERE \"p_{1}\" IS NOT "
                         "NULL AND observed IS NOT NULL AND {2} > 0",
                         QuoteText(level), level, weight, QuoteText(file)))) {
      records.push_back({*row[0] == "true", std::stod(*row[1]), std::stod(*row[2])});
    }
    return records;
  }

  qvtest::TempFolder folder_;
};

// ---- By definition ------------------------------------------------------------

TEST_F(DrawLogisticTest, CurvesOfPenguinsFollowTheDefinition) {
  FitOptions options;
  options.source.data = (std::filesystem::path(QVREG_EXAMPLE_DATA) / "penguins.csv").string();
  options.formula = "species ~ flipper_length";
  ExpectDefined(options, {"Adelie", "Chinstrap", "Gentoo"}, "1");
}

TEST_F(DrawLogisticTest, OfTwoLevelsTheFirstIsDrawn) {
  FitOptions options;
  options.source.data = (std::filesystem::path(QVREG_EXAMPLE_DATA) / "penguins.csv").string();
  options.formula = "sex ~ body_mass + beak_length";
  ExpectDefined(options, {"male"}, "1");
}

TEST_F(DrawLogisticTest, FrequencyWeightsCount) {
  FitOptions options = OptionsFor(
      "SELECT * REPLACE (CASE WHEN x = 3 THEN -1 ELSE f END AS f) FROM (" + Levels(400, 3) + ")",
      "k ~ x + g");
  options.binding.freqWeight = "f";
  ExpectDefined(options, {"k0", "k1", "k2"}, "f");
}

// ---- Which levels ---------------------------------------------------------------

TEST(DrawnLevels, AreTheMostFrequentInTheirOrder) {
  std::vector<DependentLevel> levels;
  levels.reserve(12);
  for (int i = 0; i < 12; ++i) levels.push_back({fmt::format("k{}", i), 10.0 + (i * 5) % 12});
  const std::vector<std::size_t> drawn = DrawnLevels(levels);
  EXPECT_EQ(drawn.size(), LogisticPlots::kMostLevels);
  EXPECT_TRUE(std::ranges::is_sorted(drawn));
  for (std::size_t place = 0; place < levels.size(); ++place) {
    const bool isDrawn = std::ranges::find(drawn, place) != drawn.end();
    EXPECT_EQ(isDrawn, levels[place].weight >= 14.0) << place;
  }
}

TEST(DrawnLevels, OfEqualWeightsAreTheFirst) {
  const std::vector<DependentLevel> levels(9, {"k", 1.0});
  EXPECT_EQ(DrawnLevels(levels), (std::vector<std::size_t>{0, 1, 2, 3, 4, 5, 6, 7}));
  EXPECT_EQ(DrawnLevels({{"a", 1.0}, {"b", 2.0}}), std::vector<std::size_t>{0});
}

TEST(DrawLogistic, OfManyLevelsTheMostFrequentAreDrawn) {
  const FitResult fit = Drawn(
      "SELECT i % 10 AS x, 'k' || least(i * 7919 // 3 % 17, 10 + i % 2) AS k FROM range(900) t(i)",
      "k ~ x");
  ASSERT_GT(fit.logistic->levels.size(), LogisticPlots::kMostLevels);
  std::vector<std::string> expected;
  for (const std::size_t place : DrawnLevels(fit.logistic->levels)) {
    expected.push_back(fit.logistic->levels[place].level);
  }
  std::vector<std::string> found;
  for (const RocCurve& curve : PlotsOf(fit).curves) found.push_back(curve.level);
  EXPECT_EQ(found, expected);
  EXPECT_LE(found.size(), 8U);
}

TEST(DrawLogistic, ALevelWithoutRecordsIsNotDrawn) {
  const FitResult fit = Drawn(
      "SELECT i % 7 AS x, CASE WHEN i = 5 THEN 'none' ELSE 'k' || (i * i % 4) END AS k, CASE "
      "WHEN i = 5 THEN NULL ELSE sin(i) END AS z FROM range(200) t(i)",
      "k ~ x + z");
  for (const RocCurve& curve : PlotsOf(fit).curves) EXPECT_NE(curve.level, "none");
  EXPECT_EQ(PlotsOf(fit).curves.size(), 1U);
}

// ---- Records held out -------------------------------------------------------------

TEST(DrawLogistic, CurvesAreOfTheRecordsHeldOut) {
  FitOptions options = OptionsFor(Levels(1200, 3), "k ~ x + g");
  for (const ValidationKind kind : {ValidationKind::kHoldout, ValidationKind::kFolds}) {
    options.binding.validation.kind = kind;
    options.binding.validation.share = 0.3;
    options.binding.validation.folds = 4;
    const FitResult fit = Drawn(options);
    const LogisticPlots& plots = PlotsOf(fit);
    const ValidationResult& validation = fit.validation.value();
    EXPECT_TRUE(plots.heldOut);
    ASSERT_EQ(plots.curves.size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(plots.curves[i].level, validation.levels[i].level);
      EXPECT_EQ(plots.curves[i].area, validation.levels[i].auc);
    }
    ExpectGroups(plots.calibration, validation.calibration);
    options.plots = false;
    EXPECT_EQ(JsonReport(Fit(options)).find("\"plots\""), std::string::npos);
  }
}

TEST(DrawLogistic, ALevelThatNoRecordHeldOutHasNoCurve) {
  FitOptions options = OptionsFor(
      "SELECT i % 10 AS x, i % 4 > 0 AS train, CASE WHEN i % 4 = 0 THEN 'a' ELSE 'k' || (i * i % 3 "
      "+ "
      "i % 2) END AS k FROM range(400) t(i) UNION ALL SELECT 1, true, 'a' FROM range(5)",
      "k ~ x");
  options.binding.validation.kind = ValidationKind::kSplit;
  options.binding.validation.column = "train";
  const FitResult fit = Drawn(options);
  ASSERT_GT(PlotsOf(fit).curves.size(), 2U);
  for (const RocCurve& curve : PlotsOf(fit).curves) {
    EXPECT_FALSE(curve.area) << curve.level;
    EXPECT_TRUE(curve.points.empty());
  }
  EXPECT_FALSE(PlotsOf(fit).calibration.empty());
}

// ---- Machinery --------------------------------------------------------------------

TEST(DrawLogistic, PlotsAreTheSameWithAnyThreads) {
  FitOptions options = OptionsFor(Levels(30000, 3), "k ~ x + g");
  options.plots = true;
  for (const bool collapse : {true, false}) {
    options.logistic.collapse = collapse;
    options.threads = 1;
    const std::string one = JsonReport(Fit(options));
    options.threads = 4;
    EXPECT_EQ(JsonReport(Fit(options)), one);
  }
}

TEST(DrawLogistic, GroupedRecordsHaveTheSameCurves) {
  FitOptions options = OptionsFor(Levels(30000, 3), "k ~ x + g");
  const FitResult grouped = Drawn(options);
  ASSERT_TRUE(grouped.logistic->distinctRecords);
  options.logistic.collapse = false;
  const FitResult single = Drawn(options);
  ASSERT_EQ(PlotsOf(grouped).curves.size(), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_NEAR(PlotsOf(grouped).curves[i].area.value(), PlotsOf(single).curves[i].area.value(),
                1e-4);
  }
  double weight = 0.0;
  for (const CalibrationGroup& group : PlotsOf(grouped).calibration) weight += group.weight;
  EXPECT_EQ(weight, 90000.0);
}

void ExpectIterations(const FitResult& fit) {
  const std::vector<IterationPoint>& points = PlotsOf(fit).iterations;
  ASSERT_EQ(static_cast<int>(points.size()), fit.logistic->iterations + 1);
  int halvings = 0;
  for (std::size_t i = 0; i < points.size(); ++i) {
    EXPECT_EQ(points[i].iteration, static_cast<int>(i));
    halvings += points[i].halvings;
  }
  EXPECT_EQ(halvings, fit.logistic->stepHalvings);
  EXPECT_EQ(points.back().logLikelihood, fit.logistic->logLikelihood);
}

TEST(DrawLogistic, IterationsEndWithTheFit) {
  for (const char* separated : {"false", "x > 6"}) {
    SCOPED_TRACE(separated);
    ExpectIterations(
        Drawn(fmt::format(
                  "SELECT i % 10 AS x, sin(i) AS z, CASE WHEN {} THEN 'b' WHEN x < 3 AND i % 5 > 0 "
                  "THEN 'a' ELSE (['a', 'b'])[1 + i * 7 % 5 // 3] END AS k FROM range(500) t(i)",
                  separated),
              "k ~ C(x) + z"));
  }
}

TEST(DrawLogistic, IterationsGoOnWhereTheEstimationContinues) {
  FitOptions options;
  options.source.data = QVREG_TEST_DATA "/logistic/data/shuttle_part.csv";
  options.formula = "Class ~ V1 + V2";
  options.binding.freqWeight = "n";
  const FitResult fit = Drawn(options);
  EXPECT_GT(fit.logistic->iterations, 15);
  EXPECT_GT(fit.logistic->stepHalvings, 0);
  ExpectIterations(fit);
}

TEST(DrawLogistic, SeparatedLevelsHaveTheWholeArea) {
  const FitResult fit = Drawn(
      "SELECT i AS x, CASE WHEN i < 300 THEN 'a' ELSE 'b' END AS k FROM range(600) t(i)", "k ~ x");
  ASSERT_EQ(PlotsOf(fit).curves.size(), 1U);
  const RocCurve& curve = PlotsOf(fit).curves[0];
  EXPECT_EQ(curve.area, 1.0);
  ASSERT_EQ(curve.points.size(), 3U);
  EXPECT_EQ(curve.points[1].falsePositive, 0.0);
  EXPECT_EQ(curve.points[1].truePositive, 1.0);
}

}  // namespace
}  // namespace qvhost
