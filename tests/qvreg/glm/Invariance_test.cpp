// What a fit must not depend on: checked on random data with fixed seeds.
#include <algorithm>
#include <cstddef>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/component/IQvRegOutputStats.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::Record;
using qvtest::FittedModel;
using qvtest::LinearSettings;
using qvtest::MakeRecord;
using Records = std::vector<Record>;
using Doubles = std::vector<double>;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kB = 2;
constexpr int kX = 3;
constexpr int kZ = 4;
constexpr int kWeight = 5;
constexpr int kCopy = 6;
constexpr int kLevelsOfA = 5;
constexpr int kLevelsOfB = 3;
constexpr double kTolerance = 1e-10;

/// Random records of y, a, b, x, z, a whole weight from 1 to 4, and z = 2 x - 3 a copy in disguise.
Records RandomRecords(std::mt19937& generator) {
  std::normal_distribution<double> normal(0.0, 1.0);
  std::uniform_int_distribution<int> a(0, kLevelsOfA - 1);
  std::uniform_int_distribution<int> b(0, kLevelsOfB - 1);
  std::uniform_int_distribution<int> weight(1, 4);
  Records records;
  for (int i = 0; i < 80; ++i) {
    const double x = 5.0 + 2.0 * normal(generator);
    records.push_back(MakeRecord({10.0 * normal(generator), 1.0 * a(generator), 1.0 * b(generator),
                                  x, normal(generator), 1.0 * weight(generator), 2.0 * x - 3.0}));
  }
  return records;
}

/// a, b, a crossed with b, x, x^2 and a slope of z per level of b, optionally weighted.
class Model {
 public:
  explicit Model(bool weighted = false) {
    settings_.Effect({kA}).Effect({kB}).Effect({kA, kB});
    settings_.Effect({}, {kX}).Effect({}, {kX, kX}).Effect({kB}, {kZ});
    if (weighted) settings_.FrequencyWeight(kWeight);
  }

  [[nodiscard]] LinearSettings& Settings() { return settings_; }
  [[nodiscard]] FittedModel Fit(const Records& records) {
    return FittedModel(settings_.Get(), records);
  }

 private:
  LinearSettings settings_{kY, {{kA, kLevelsOfA}, {kB, kLevelsOfB}}, {kX, kZ, kCopy}};
};

void ExpectSame(const Doubles& actual, const Doubles& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < actual.size(); ++i) {
    ASSERT_NEAR(actual[i], expected[i], kTolerance) << "record " << i;
  }
}

void ExpectSameFit(FittedModel& actual, FittedModel& expected) {
  for (const auto stat : {QvConst::QvFitRootMeanSquareError, QvConst::QvFitMultipleRSquare}) {
    EXPECT_NEAR(actual.Stats().GetModelFitStat(stat), expected.Stats().GetModelFitStat(stat),
                kTolerance);
  }
}

class Invariance : public ::testing::TestWithParam<unsigned> {
 protected:
  std::mt19937 generator_{GetParam()};
  const Records records_ = RandomRecords(generator_);
};

TEST_P(Invariance, AFrequencyWeightIsARepetition) {
  Records repeated;
  for (const Record& record : records_) {
    for (int i = 0; i < static_cast<int>(record[kWeight]); ++i) repeated.push_back(record);
  }
  Model model(true);
  Model plain;
  FittedModel weighted = model.Fit(records_);
  FittedModel expected = plain.Fit(repeated);
  ExpectSame(weighted.Predict(records_), expected.Predict(records_));
  ExpectSameFit(weighted, expected);
  EXPECT_EQ(weighted.Stats().GetTotalFreqWeight(), expected.Stats().GetTotalFreqWeight());
  EXPECT_EQ(weighted.Stats().GetNDegFreedom(), expected.Stats().GetNDegFreedom());
}

TEST_P(Invariance, TheOrderOfTheRecordsDoesNotMatter) {
  Records shuffled = records_;
  std::shuffle(shuffled.begin(), shuffled.end(), generator_);
  Model model(true);
  FittedModel expected = model.Fit(records_);
  FittedModel actual = model.Fit(shuffled);
  ExpectSame(actual.Predict(records_), expected.Predict(records_));
  ExpectSameFit(actual, expected);
  EXPECT_EQ(actual.Stats().GetParameters(), expected.Stats().GetParameters());
}

TEST_P(Invariance, TheOrderOfTheLevelsDoesNotMatter) {
  Doubles codes{0, 1, 2, 3, 4};
  std::shuffle(codes.begin(), codes.end(), generator_);
  Records relabelled = records_;
  for (Record& record : relabelled) record[kA] = codes[static_cast<std::size_t>(record[kA])];
  Model model;
  FittedModel expected = model.Fit(records_);
  FittedModel actual = model.Fit(relabelled);
  ExpectSame(actual.Predict(relabelled), expected.Predict(records_));
  ExpectSameFit(actual, expected);
}

TEST_P(Invariance, ARedundantColumnDoesNotMatter) {
  Model model;
  Model wider;
  wider.Settings().Effect({}, {kCopy});
  FittedModel expected = model.Fit(records_);
  FittedModel actual = wider.Fit(records_);
  const int last = static_cast<int>(actual.Stats().GetParameters().size()) - 1;
  EXPECT_FALSE(actual.Stats().GetRedundancyIndicators().IsIn(last));
  ExpectSame(actual.Predict(records_), expected.Predict(records_));
  ExpectSameFit(actual, expected);
}

TEST_P(Invariance, TheOrderOfTheEffectsDoesNotMatter) {
  LinearSettings reversed(kY, {{kA, kLevelsOfA}, {kB, kLevelsOfB}}, {kX, kZ, kCopy});
  reversed.Effect({kB}, {kZ}).Effect({}, {kX, kX}).Effect({}, {kX});
  reversed.Effect({kA, kB}).Effect({kB}).Effect({kA});
  Model model;
  FittedModel expected = model.Fit(records_);
  FittedModel actual(reversed.Get(), records_);
  ExpectSame(actual.Predict(records_), expected.Predict(records_));
  ExpectSameFit(actual, expected);
}

TEST_P(Invariance, RefinementOfAnEasyFitChangesNothing) {
  Model model(true);
  Model refined(true);
  refined.Settings().Refined();
  FittedModel expected = model.Fit(records_);
  FittedModel actual = refined.Fit(records_);
  ExpectSame(actual.Predict(records_), expected.Predict(records_));
  ExpectSameFit(actual, expected);
}

TEST_P(Invariance, ARegressionWeightsUnitDoesNotMatter) {
  Records scaled = records_;
  for (Record& record : scaled) record[kWeight] *= 0.37;
  Model model;
  model.Settings().RegressionWeight(kWeight);
  FittedModel expected = model.Fit(records_);
  FittedModel actual = model.Fit(scaled);
  ExpectSame(actual.Predict(records_), expected.Predict(records_));
  EXPECT_NEAR(actual.Stats().GetModelFitStat(QvConst::QvFitMultipleRSquare),
              expected.Stats().GetModelFitStat(QvConst::QvFitMultipleRSquare), kTolerance);
}

INSTANTIATE_TEST_SUITE_P(Seeds, Invariance, ::testing::Range(1U, 13U));

}  // namespace
