// A fit whose records are kept in memory, by pattern, is that of walks over the records: checked on
// random data, for all kinds of effects.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <ostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/RandomModels.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::Record;
using qvtest::LogisticFit;
using qvtest::LogisticSettings;
using Doubles = std::vector<double>;
using Effects = std::vector<std::pair<std::vector<int>, std::vector<int>>>;

enum Variable { kY, kA, kB, kMany, kX, kZ, kFrequency, kRegression };
constexpr int kCategories = 4;
constexpr int kManyLevels = 40;

struct Model {
  std::string name;
  Effects effects;
  bool intercept = true;
  bool weighted = false;
  double scale = 1.0;  ///< Of z.
};

void PrintTo(const Model& model, std::ostream* out) { *out << model.name; }

const std::vector<Model> kModels{
    {"Covariates", {{{}, {kX}}, {{}, {kZ}}}},
    {"CovariatesWeighted", {{{}, {kX}}, {{}, {kZ}}, {{}, {kX, kX}}}, true, true},
    {"CovariatesNoIntercept", {{{}, {kX}}, {{}, {kZ}}, {{}, {kX, kZ}}}, false},
    {"OneCovariate", {{{}, {kX}}}},
    // All categories tie where x is 0.
    {"OneCovariateNoIntercept", {{{}, {kX}}}, false},
    {"OneFactor", {{{kA}, {}}}},
    {"Factors", {{{kA}, {}}, {{kB}, {}}, {{kA, kB}, {}}}, true, true},
    {"FactorsNoIntercept", {{{kA}, {}}, {{kB}, {}}}, false},
    {"FactorAndCovariates", {{{kA}, {}}, {{kB}, {}}, {{}, {kX}}, {{}, {kZ}}}, true, true},
    {"Slopes", {{{kA}, {}}, {{}, {kX}}, {{kA}, {kX}}, {{kB}, {kZ}}}, true, true},
    {"SlopesAlone", {{{kA}, {kX}}, {{kA}, {kX, kX}}, {{kB}, {kX, kZ}}}, false},
    {"ManyPatterns", {{{kMany}, {}}, {{kA}, {}}, {{kB}, {}}, {{}, {kX}}}},
    {"ManySlopes", {{{kA, kB}, {}}, {{kA, kB}, {kX}}, {{}, {kZ}}}, true, true},
    {"LargeNumbers", {{{kA}, {}}, {{}, {kZ}}, {{kA}, {kZ}}, {{}, {kZ, kZ}}}, true, false, 1e9}};

std::vector<Record> RandomRecords(double scale) {
  std::mt19937 random(17);
  std::normal_distribution<double> normal;
  const auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  std::vector<Doubles> rows;
  // Patterns of one factor's levels have more rows than are kept one behind the other.
  for (int i = 0; i < 4500; ++i) {
    const int a = pick(3);
    const int b = pick(4);
    const double x = i % 11 == 0 ? 0.0 : normal(random);
    const double z = normal(random);
    const double signal = 0.4 * a - 0.3 * b + 0.5 * x - 0.2 * z + normal(random);
    const int y = signal > 0.8 ? 0 : (signal < -0.8 ? 1 : 2 + pick(2));
    rows.push_back({1.0 * y, 1.0 * a, 1.0 * b, 1.0 * pick(kManyLevels), x, z * scale, 1.0 + pick(3),
                    0.5 + 0.25 * pick(4)});
  }
  return qvtest::MakeRecords(rows);
}

class LogisticInMemoryTest : public ::testing::TestWithParam<Model> {
 protected:
  LogisticFit Fit(const std::vector<Record>& records, bool inMemory) const {
    const Model& model = GetParam();
    LogisticSettings settings(kY, kCategories, {{kA, 3}, {kB, 4}, {kMany, kManyLevels}}, {kX, kZ});
    for (const auto& [factors, covariates] : model.effects) settings.Effect(factors, covariates);
    if (!model.intercept) settings.NoIntercept();
    if (model.weighted) settings.FrequencyWeight(kFrequency).RegressionWeight(kRegression);
    settings.InMemory(inMemory);
    EXPECT_TRUE(settings.Get().SetParamEstConCriterion(1e-7));
    return LogisticFit(settings.Get(), records);
  }
  void ExpectSame(const std::vector<Record>& records) const {
    const LogisticFit walked = Fit(records, false);
    const LogisticFit inMemory = Fit(records, true);
    const Doubles expected = qvtest::NumbersOf(walked.Stats());
    const Doubles actual = qvtest::NumbersOf(inMemory.Stats());
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i) {
      EXPECT_NEAR(actual[i], expected[i], 1e-9 * std::max(1e-3, std::fabs(expected[i]))) << i;
    }
    EXPECT_EQ(inMemory.TableByCode(kCategories), walked.TableByCode(kCategories));
    EXPECT_EQ(inMemory.Stats().GetOutcome(), walked.Stats().GetOutcome());
    EXPECT_EQ(inMemory.Stats().GetIterations(), walked.Stats().GetIterations());
  }
};

INSTANTIATE_TEST_SUITE_P(Models, LogisticInMemoryTest, ::testing::ValuesIn(kModels),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(LogisticInMemoryTest, FitsAsWalksOverTheRecords) {
  ExpectSame(RandomRecords(GetParam().scale));
}

TEST_P(LogisticInMemoryTest, FitsAFewRecordsAlike) {
  std::vector<Record> records = RandomRecords(GetParam().scale);
  records.erase(records.begin() + 1200, records.end());
  ExpectSame(records);
}

TEST_P(LogisticInMemoryTest, FindsSeparationAlike) {
  std::vector<Record> records = RandomRecords(GetParam().scale);
  records.erase(records.begin() + 900, records.end());
  // One category is where x and the level of A are both large, and only there.
  for (Record& record : records) {
    const bool isThere = record[kX] > 0.3 && record[kA] == 2.0;
    if (isThere || record[kY] == 3.0) record[kY] = isThere ? 3.0 : 2.0;
  }
  const LogisticFit walked = Fit(records, false);
  const LogisticFit inMemory = Fit(records, true);
  EXPECT_EQ(inMemory.Stats().GetOutcome(), walked.Stats().GetOutcome());
  // Along the direction that is open the last digits depend on the order of the records.
  EXPECT_NEAR(inMemory.Stats().GetFinalLL(), walked.Stats().GetFinalLL(),
              1e-6 * std::fabs(walked.Stats().GetFinalLL()));
  EXPECT_EQ(inMemory.TableByCode(kCategories), walked.TableByCode(kCategories));
}

}  // namespace
