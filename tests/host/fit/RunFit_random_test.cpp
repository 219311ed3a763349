// A fit must not depend on how its table is told: random tables, told in two ways.

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/fit/Fitting.h"

namespace qvhost {
namespace {

constexpr double kClose = 1e-10;
constexpr int kTables = 5;

struct Row {
  double y;
  double x;
  int a;
  int b;
  int n;
};

std::vector<Row> RandomRows(std::mt19937& random) {
  std::normal_distribution<double> noise;
  std::uniform_int_distribution<int> pick(0, 59);
  std::vector<Row> rows;
  const int count = 30 + pick(random);
  for (int i = 0; i < count; ++i) {
    const int a = pick(random) % 3;
    const int b = pick(random) % 4;
    if (a == 1 && b == 2) continue;  // An empty cell.
    const double x = std::round(1000.0 * noise(random)) / 1000.0;
    const double y = std::round(1000.0 * (3 + a - 2 * b * x + a * b + noise(random))) / 1000.0;
    rows.push_back({y, x, a, b, 1 + pick(random) % 4});
  }
  return rows;
}

using LevelNames = std::vector<std::string>;
const LevelNames kPlainNames = {"p", "q", "r", "s"};

std::string Sql(const std::vector<Row>& rows, const LevelNames& names = kPlainNames) {
  std::string values;
  for (const Row& row : rows) {
    values += (values.empty() ? "(" : ", (") + std::to_string(row.y) + ", " +
              std::to_string(row.x) + ", '" + names[static_cast<std::size_t>(row.a)] + "', '" +
              names[static_cast<std::size_t>(row.b)] + "', " + std::to_string(row.n) + ")";
  }
  return "SELECT *, 2 * x - 1 AS z FROM (VALUES " + values + ") AS t(y, x, a, b, n)";
}

double FittedValue(const FitResult& fit, const Row& row, const LevelNames& names = kPlainNames) {
  return Predict(fit,
                 {{"a", names[static_cast<std::size_t>(row.a)]},
                  {"b", names[static_cast<std::size_t>(row.b)]}},
                 {{"x", row.x}, {"z", 2 * row.x - 1}});
}

void ExpectSameFit(const FitResult& one, const FitResult& other) {
  EXPECT_EQ(one.degreesOfFreedom, other.degreesOfFreedom);
  EXPECT_NEAR(*one.rSquare, *other.rSquare, kClose);
  EXPECT_NEAR(*one.residualStdError, *other.residualStdError, kClose);
}

class RunFitRandom : public ::testing::TestWithParam<std::string> {
 protected:
  std::mt19937 random_{20240229};
};

TEST_P(RunFitRandom, AFrequencyWeightRepeatsARecord) {
  for (int table = 0; table < kTables; ++table) {
    const std::vector<Row> rows = RandomRows(random_);
    std::vector<Row> repeated;
    for (const Row& row : rows)
      repeated.insert(repeated.end(), static_cast<std::size_t>(row.n), row);
    FitOptions options = OptionsFor(Sql(rows), GetParam());
    options.binding.freqWeight = "n";
    const FitResult weighted = Fit(options);
    const FitResult plain = Fit(Sql(repeated), GetParam());
    ExpectSameFit(weighted, plain);
    ASSERT_EQ(weighted.parameters.size(), plain.parameters.size());
    for (std::size_t i = 0; i < plain.parameters.size(); ++i) {
      EXPECT_EQ(weighted.parameters[i].redundant, plain.parameters[i].redundant);
      if (plain.parameters[i].redundant) continue;
      EXPECT_NEAR(*weighted.parameters[i].statistics.stdError,
                  *plain.parameters[i].statistics.stdError, kClose);
    }
    for (const Row& row : rows) {
      EXPECT_NEAR(FittedValue(weighted, row), FittedValue(plain, row), kClose);
    }
  }
}

TEST_P(RunFitRandom, TheOrderOfRecordsDoesNotMatter) {
  for (int table = 0; table < kTables; ++table) {
    std::vector<Row> rows = RandomRows(random_);
    const FitResult before = Fit(Sql(rows), GetParam());
    std::shuffle(rows.begin(), rows.end(), random_);
    const FitResult after = Fit(Sql(rows), GetParam());
    ExpectSameFit(before, after);
    for (const Row& row : rows) {
      EXPECT_NEAR(FittedValue(before, row), FittedValue(after, row), kClose);
    }
  }
}

TEST_P(RunFitRandom, TheOrderOfLevelsDoesNotMatter) {
  for (int table = 0; table < kTables; ++table) {
    const std::vector<Row> rows = RandomRows(random_);
    LevelNames names = kPlainNames;
    std::shuffle(names.begin(), names.end(), random_);
    const FitResult plain = Fit(Sql(rows), GetParam());
    const FitResult renamed = Fit(Sql(rows, names), GetParam());
    ExpectSameFit(plain, renamed);
    for (const Row& row : rows) {
      EXPECT_NEAR(FittedValue(plain, row), FittedValue(renamed, row, names), kClose);
    }
  }
}

TEST_P(RunFitRandom, ARedundantColumnChangesNothing) {
  for (int table = 0; table < kTables; ++table) {
    const std::vector<Row> rows = RandomRows(random_);
    const FitResult without = Fit(Sql(rows), GetParam());
    const FitResult with = Fit(Sql(rows), GetParam() + " + x + z");
    ExpectSameFit(without, with);
    EXPECT_TRUE(with.parameters.back().redundant);
    for (const Row& row : rows) {
      EXPECT_NEAR(FittedValue(without, row), FittedValue(with, row), kClose);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Formulas, RunFitRandom,
                         ::testing::Values("y ~ x + a", "y ~ a*b + x", "y ~ a/b + b:x + x",
                                           "y ~ x + I(x^2) + a:x"),
                         [](const auto& formula) { return std::to_string(formula.index); });

}  // namespace
}  // namespace qvhost
