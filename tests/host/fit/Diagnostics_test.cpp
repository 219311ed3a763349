// Diagnostics of records beside those of R and of formulas written out; tests/reference/robust
// tells how they were made.

#include "host/fit/Diagnostics.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/fit/RunFit.h"
#include "tests/host/fit/Everything.h"
#include "tests/host/fit/Fitting.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

class DiagnosticsTest : public ::testing::Test {
 protected:
  /// What is written of a fit.
  [[nodiscard]] NumberTable Written(FitOptions options, const std::string& name = "out.csv") const {
    options.diagnostics = folder_.File(name);
    ProgressBar none(nullptr);
    Interrupt interrupt;
    OutputFiles outputs;
    outputs.Add("--diagnostics", options.diagnostics);
    const FitResult fit = RunFit(options, none, interrupt, outputs);
    outputs.Finish();
    outputs.Commit();
    EXPECT_EQ(fit.diagnostics, options.diagnostics);
    return ReadNumbers(QuoteText(options.diagnostics));
  }

  static void ExpectNear(const NumberTable& found, const NumberTable& expected, double tolerance) {
    ASSERT_EQ(found.names, expected.names);
    ASSERT_EQ(found.rows.size(), expected.rows.size());
    for (std::size_t row = 0; row < found.rows.size(); ++row) {
      for (std::size_t column = 0; column < found.names.size(); ++column) {
        SCOPED_TRACE(found.names[column] + " of row " + std::to_string(row + 1));
        const std::optional<double>& wanted = expected.rows[row][column];
        ASSERT_EQ(found.rows[row][column].has_value(), wanted.has_value());
        if (!wanted) continue;
        EXPECT_NEAR(*found.rows[row][column] / *wanted, 1.0, tolerance);
      }
    }
  }

  qvtest::TempFolder folder_;
};

TEST_F(DiagnosticsTest, OfALinearModelAreThoseOfR) {
  ExpectNear(Written(Everything("y")), ReadNumbers(RobustReference("linear.csv")), 1e-11);
}

TEST_F(DiagnosticsTest, OfABinaryModelAreThoseOfR) {
  // R's iteration leaves the rest.
  ExpectNear(Written(Everything("yb")), ReadNumbers(RobustReference("binary.csv")), 1e-8);
}

TEST_F(DiagnosticsTest, OfThreeCategoriesAreThoseOfTheFormula) {
  ExpectNear(Written(Everything("y3")), ReadNumbers(RobustReference("three.csv")), 1e-10);
}

TEST_F(DiagnosticsTest, AreTheSameInParquetAndWithAnyThreads) {
  FitOptions options =
      OptionsFor("SELECT i % 30 AS g, sin(i) AS x, sin(3 * i) + i % 7 AS y FROM range(20000) t(i)",
                 "y ~ C(g) + x");
  options.threads = 1;
  const NumberTable one = Written(options);
  options.threads = 4;
  const NumberTable four = Written(options, "out.parquet");
  EXPECT_EQ(one.names, four.names);
  EXPECT_TRUE(one.rows == four.rows);
}

TEST_F(DiagnosticsTest, LeveragesAddUpToTheParametersKept) {
  FitOptions options = OptionsFor(
      "SELECT i % 4 AS g, i % 3 AS x, (i * i % 7 < 3)::INT + (i % 5 < 2)::INT AS y "
      "FROM range(300) t(i)",
      "C(y) ~ C(g) + x");
  const NumberTable written = Written(options);
  const std::size_t leverage = written.names.size() - 2;
  ASSERT_EQ(written.names[leverage], "leverage");
  double sum = 0.0;
  for (const auto& row : written.rows) sum += row[leverage].value();
  EXPECT_NEAR(sum, 2 * 5, 1e-9);
}

TEST_F(DiagnosticsTest, ARecordThatAloneDecidesItsPredictionHasALeverageOf1) {
  const NumberTable written = Written(OptionsFor(
      "SELECT * FROM (VALUES (1.0, 'a'), (2, 'a'), (4, 'b'), (3, 'a')) t(y, g)", "y ~ g"));
  const auto& alone = written.rows[2];
  EXPECT_EQ(alone[0], 4.0);
  EXPECT_EQ(alone[4], 1.0);
  for (const std::size_t column : {2U, 3U, 5U}) EXPECT_FALSE(alone[column]);
}

TEST_F(DiagnosticsTest, GroupedRecordsAreDiagnosedOneByOne) {
  FitOptions options =
      OptionsFor("SELECT i % 5 AS g, i % 3 AS x, (i * i % 7 < 3)::INT AS y FROM range(12000) t(i)",
                 "y ~ C(g) + x");
  options.binding.model = ModelKind::kLogistic;
  const NumberTable grouped = Written(options);
  options.logistic.collapse = false;
  ExpectNear(grouped, Written(options), 1e-8);
}

TEST_F(DiagnosticsTest, TheMostInfluentialAreThoseOfTheLargestDistances) {
  for (const char* dependent : {"y", "yb", "y3"}) {
    SCOPED_TRACE(dependent);
    FitOptions options = Everything(dependent);
    options.influential = true;
    const std::vector<InfluentialRecord> found = Fit(options).influential.value();
    const NumberTable written = Written(options);
    const std::size_t cook = written.names.size() - 1;
    std::vector<std::size_t> order;
    for (std::size_t row = 0; row < written.rows.size(); ++row) {
      if (written.rows[row][cook]) order.push_back(row);
    }
    std::ranges::stable_sort(order, std::greater(),
                             [&](std::size_t row) { return *written.rows[row][cook]; });
    ASSERT_EQ(found.size(), 10U);
    for (std::size_t i = 0; i < found.size(); ++i) {
      const auto& row = written.rows[order[i]];
      EXPECT_EQ(found[i].row, static_cast<long long>(order[i]) + 1);
      EXPECT_EQ(found[i].cooksDistance, row[cook]);
      EXPECT_EQ(found[i].leverage, row[cook - 1]);
    }
    EXPECT_EQ(found[0].residual, written.rows[order[0]][dependent == std::string("y") ? 3 : 0]);
  }
}

TEST_F(DiagnosticsTest, OfEqualDistancesTheFirstRowsCount) {
  FitOptions options =
      OptionsFor("SELECT i % 2 AS x, (i // 2) % 2 AS y FROM range(8000) t(i)", "y ~ x");
  options.binding.model = ModelKind::kLinear;
  options.influential = true;
  options.threads = 3;
  const std::vector<InfluentialRecord> found = Fit(options).influential.value();
  ASSERT_EQ(found.size(), 10U);
  for (std::size_t i = 0; i < found.size(); ++i) {
    EXPECT_NEAR(found[i].cooksDistance, found[0].cooksDistance, 1e-15);
    EXPECT_LE(found[i].row, 40);
    if (i == 0 || found[i].cooksDistance != found[i - 1].cooksDistance) continue;
    EXPECT_GT(found[i].row, found[i - 1].row);
  }
}

}  // namespace
}  // namespace qvhost
