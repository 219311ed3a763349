// A logistic fit must not depend on how its table is told: random tables, told in two ways.

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

constexpr double kClose = 1e-9;
constexpr int kTables = 4;
const std::vector<std::string> kAnswers = {"ay", "bay", "cay"};
const std::vector<std::string> kGroups = {"p", "q", "r"};

struct Row {
  std::string answer;
  std::string group;
  double x;
  int n;
};

/// Answers that depend on the group and x, but overlap everywhere.
std::vector<Row> RandomRows(std::mt19937& random) {
  std::normal_distribution<double> normal;
  std::uniform_int_distribution<std::size_t> pick(0, 2);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  std::vector<Row> rows;
  for (int i = 0; i < 300; ++i) {
    const std::size_t group = pick(random);
    const double x = std::round(1000.0 * normal(random)) / 1000.0;
    const double first = std::exp(0.4 * x - 0.3 * static_cast<double>(group));
    const double second = std::exp(0.2 - 0.5 * x);
    const double at = uniform(random) * (1.0 + first + second);
    const std::size_t answer = at < first ? 0 : at < first + second ? 1 : 2;
    rows.push_back({kAnswers[answer], kGroups[group], x, 1 + static_cast<int>(pick(random))});
  }
  return rows;
}

FitOptions OptionsOf(const std::vector<Row>& rows, const std::string& formula) {
  std::string values;
  for (const Row& row : rows) {
    values += (values.empty() ? "('" : ", ('") + row.answer + "', '" + row.group + "', " +
              std::to_string(row.x) + ", " + std::to_string(row.n) + ")";
  }
  return OptionsFor("SELECT * FROM (VALUES " + values + ") AS t(y, g, x, n)", formula);
}

class RunFitLogisticRandom : public ::testing::TestWithParam<std::string> {
 protected:
  void ExpectSameFit(const FitResult& one, const FitResult& other, const std::vector<Row>& rows) {
    ASSERT_TRUE(one.logistic->converged && other.logistic->converged);
    const double logLikelihood = *one.logistic->logLikelihood;
    EXPECT_NEAR(*other.logistic->logLikelihood, logLikelihood, kClose * std::abs(logLikelihood));
    EXPECT_EQ(one.logistic->chiSquareDegrees, other.logistic->chiSquareDegrees);
    for (const Row& row : rows) {
      const auto expected = Probabilities(one, {{"g", row.group}}, {{"x", row.x}});
      const auto got = Probabilities(other, {{"g", row.group}}, {{"x", row.x}});
      for (const std::string& answer : kAnswers) {
        ASSERT_NEAR(got.at(answer), expected.at(answer), kClose * expected.at(answer));
      }
    }
  }

  std::mt19937 random_{20240229};
};

TEST_P(RunFitLogisticRandom, TheReferenceDoesNotMatter) {
  for (int table = 0; table < kTables; ++table) {
    const std::vector<Row> rows = RandomRows(random_);
    FitOptions options = OptionsOf(rows, GetParam());
    const FitResult last = Fit(options);
    for (const std::string reference : {"ay", "bay", "first"}) {
      options.logistic.reference = reference;
      const FitResult other = Fit(options);
      EXPECT_EQ(other.logistic->levels.back().level, reference == "first" ? "ay" : reference);
      ExpectSameFit(last, other, rows);
    }
  }
}

TEST_P(RunFitLogisticRandom, TheOrderOfRecordsDoesNotMatter) {
  for (int table = 0; table < kTables; ++table) {
    std::vector<Row> rows = RandomRows(random_);
    const FitResult before = Fit(OptionsOf(rows, GetParam()));
    std::shuffle(rows.begin(), rows.end(), random_);
    const FitResult after = Fit(OptionsOf(rows, GetParam()));
    ExpectSameFit(before, after, rows);
    EXPECT_EQ(before.logistic->classification, after.logistic->classification);
  }
}

TEST_P(RunFitLogisticRandom, AWeightRepeatsARecord) {
  for (int table = 0; table < kTables; ++table) {
    const std::vector<Row> rows = RandomRows(random_);
    std::vector<Row> repeated;
    for (const Row& row : rows)
      repeated.insert(repeated.end(), static_cast<std::size_t>(row.n), row);
    const FitResult plain = Fit(OptionsOf(repeated, GetParam()));
    FitOptions frequency = OptionsOf(rows, GetParam());
    frequency.binding.freqWeight = "n";
    const FitResult weighted = Fit(frequency);
    ExpectSameFit(plain, weighted, rows);
    EXPECT_EQ(plain.logistic->classification, weighted.logistic->classification);
    EXPECT_EQ(plain.degreesOfFreedom, weighted.degreesOfFreedom);
    for (std::size_t i = 0; i < plain.parameters.size(); ++i) {
      if (plain.parameters[i].redundant) continue;
      const double stdError = *plain.parameters[i].statistics.stdError;
      EXPECT_NEAR(*weighted.parameters[i].statistics.stdError, stdError, 1e-8 * stdError);
    }
  }
}

TEST_P(RunFitLogisticRandom, InMemoryOrNotDoesNotMatter) {
  for (int table = 0; table < kTables; ++table) {
    const std::vector<Row> rows = RandomRows(random_);
    FitOptions options = OptionsOf(rows, GetParam());
    options.binding.freqWeight = "n";
    options.logistic.inMemory = true;
    const FitResult kept = Fit(options);
    options.logistic.inMemory = false;
    const FitResult anew = Fit(options);
    EXPECT_TRUE(kept.logistic->inMemory);
    EXPECT_FALSE(anew.logistic->inMemory);
    ExpectSameFit(kept, anew, rows);
    EXPECT_EQ(kept.logistic->classification, anew.logistic->classification);
  }
}

TEST_P(RunFitLogisticRandom, ARedundantColumnChangesNothing) {
  for (int table = 0; table < kTables; ++table) {
    const std::vector<Row> rows = RandomRows(random_);
    const FitResult without = Fit(OptionsOf(rows, GetParam()));
    FitOptions options = OptionsOf(rows, GetParam() + " + x");
    options.source.sql = "SELECT *, 0 * x + 4 AS four FROM (" + options.source.sql + ")";
    options.formula += " + four";
    const FitResult with = Fit(options);
    EXPECT_TRUE(with.parameters.back().redundant);
    ASSERT_TRUE(with.logistic->converged);
    EXPECT_NEAR(*with.logistic->logLikelihood, *without.logistic->logLikelihood,
                kClose * std::abs(*without.logistic->logLikelihood));
  }
}

INSTANTIATE_TEST_SUITE_P(Formulas, RunFitLogisticRandom,
                         ::testing::Values("y ~ x + g", "y ~ g*x", "y ~ x + I(x^2) + g"),
                         [](const auto& formula) { return std::to_string(formula.index); });

}  // namespace
}  // namespace qvhost
