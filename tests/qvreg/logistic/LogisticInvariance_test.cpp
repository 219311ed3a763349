// What a logistic fit must not depend on: checked on random data with fixed seeds.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::Record;
using qvtest::LogisticFit;
using qvtest::LogisticSettings;
using qvtest::MakeRecord;
using Records = std::vector<Record>;
using Doubles = std::vector<double>;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kX = 2;
constexpr int kZ = 3;
constexpr int kWeight = 4;
constexpr int kLevels = 3;
constexpr int kCategories = 4;
constexpr double kTolerance = 1e-9;

/// Random records of y, a, x, z and a whole weight from 1 to 3; y depends on the others.
Records RandomRecords(std::mt19937& generator) {
  std::normal_distribution<double> normal(0.0, 1.0);
  std::uniform_real_distribution<double> share(0.0, 1.0);
  std::uniform_int_distribution<int> level(0, kLevels - 1);
  std::uniform_int_distribution<int> weight(1, 3);
  Records records;
  for (int i = 0; i < 150; ++i) {
    const int a = level(generator);
    const double x = normal(generator);
    const Doubles predictors{0.5 * x, -0.3 + 0.4 * a, 0.6 - 0.5 * x, 0.0};
    double sum = 0.0;
    for (const double predictor : predictors) sum += std::exp(predictor);
    double u = share(generator) * sum;
    int y = 0;
    while (y + 1 < kCategories && u > std::exp(predictors[static_cast<std::size_t>(y)])) {
      u -= std::exp(predictors[static_cast<std::size_t>(y++)]);
    }
    records.push_back(
        MakeRecord({1.0 * y, 1.0 * a, x, normal(generator), 1.0 * weight(generator)}));
  }
  return records;
}

void ExpectNear(double actual, double expected, const char* what) {
  EXPECT_NEAR(actual, expected, kTolerance * std::max(1.0, std::fabs(expected))) << what;
}

/// Log-likelihoods, pseudo R squares, classification and the records' probabilities, by code.
void ExpectSameFit(LogisticFit& actual, LogisticFit& expected, const Records& records,
                   int nCategories = kCategories) {
  ExpectNear(actual.Stats().GetInitialLL(), expected.Stats().GetInitialLL(), "initial");
  ExpectNear(actual.Stats().GetFinalLL(), expected.Stats().GetFinalLL(), "final");
  for (const auto stat : {QvConst::QvFitCoxSnellRSquare, QvConst::QvFitNagelkerkeRSquare,
                          QvConst::QvFitMcFaddenRSquare}) {
    ExpectNear(actual.Stats().GetModelFitStat(stat), expected.Stats().GetModelFitStat(stat), "R2");
  }
  EXPECT_EQ(actual.TableByCode(nCategories), expected.TableByCode(nCategories));
  for (const Record& record : records) {
    const Doubles a = actual.ProbabilitiesByCode(record, nCategories);
    const Doubles e = expected.ProbabilitiesByCode(record, nCategories);
    for (std::size_t c = 0; c < a.size(); ++c) ASSERT_NEAR(a[c], e[c], kTolerance);
    ASSERT_EQ(actual.Score(record).predicted, expected.Score(record).predicted);
  }
}

/// Estimates and covariances, of fits with the same reference.
void ExpectSameEstimates(const LogisticFit& actual, const LogisticFit& expected) {
  const Doubles& a = actual.Stats().GetParamEstimates();
  const Doubles& e = expected.Stats().GetParamEstimates();
  ASSERT_EQ(a.size(), e.size());
  for (std::size_t i = 0; i < a.size(); ++i) ExpectNear(a[i], e[i], "estimate");
  const auto& covariance = *actual.Stats().GetCovarianceMatrix();
  for (int i = 0; i < covariance.GetOrder(); ++i) {
    for (int j = 0; j <= i; ++j) {
      ExpectNear(covariance.GetElem(i, j), expected.Stats().GetCovarianceMatrix()->GetElem(i, j),
                 "covariance");
    }
  }
}

class LogisticInvariance : public ::testing::TestWithParam<unsigned> {
 protected:
  /// a, x, z, x^2 and a slope of z per level.
  static void AddEffects(LogisticSettings& settings) {
    settings.Effect({kA}).Effect({}, {kX}).Effect({}, {kX, kX}).Effect({kA}, {kZ});
  }
  LogisticFit Fit(const Records& records, int reference = -1, bool inMemory = false,
                  bool weighted = false) {
    LogisticSettings settings(kY, kCategories, {{kA, kLevels}}, {kX, kZ});
    AddEffects(settings);
    settings.Reference(reference).InMemory(inMemory);
    if (weighted) settings.FrequencyWeight(kWeight);
    return LogisticFit(settings.Get(), records);
  }

  std::mt19937 generator_{GetParam()};
  const Records records_ = RandomRecords(generator_);
};

TEST_P(LogisticInvariance, TheReferenceCategoryDoesNotMatter) {
  LogisticFit expected = Fit(records_);
  for (const int reference : {0, 1, 2, 3, QvLogRegSettings::kFirstObserved}) {
    SCOPED_TRACE(reference);
    LogisticFit actual = Fit(records_, reference);
    EXPECT_EQ(actual.Stats().GetDependCategories().back(), std::max(reference, 0));
    ExpectSameFit(actual, expected, records_);
  }
}

TEST_P(LogisticInvariance, EstimatesOfAnotherReferenceAreDifferences) {
  LogisticFit last = Fit(records_, 3);
  LogisticFit first = Fit(records_, 0);
  const std::size_t p = last.Stats().GetParamEstimates().size() / 3;
  for (std::size_t k = 0; k < p; ++k) {
    // Codes of the first fit's blocks: 1, 2, 3; of the last fit's: 0, 1, 2.
    const Doubles& l = last.Stats().GetParamEstimates();
    const Doubles& f = first.Stats().GetParamEstimates();
    EXPECT_NEAR(f[k], l[p + k] - l[k], 1e-8);
    EXPECT_NEAR(f[p + k], l[2 * p + k] - l[k], 1e-8);
    EXPECT_NEAR(f[2 * p + k], -l[k], 1e-8);
  }
}

TEST_P(LogisticInvariance, TheTabulatorDoesNotMatter) {
  LogisticFit expected = Fit(records_, 1, false, true);
  LogisticFit actual = Fit(records_, 1, true, true);
  ExpectSameFit(actual, expected, records_);
  EXPECT_EQ(actual.Stats().GetIterations(), expected.Stats().GetIterations());
  EXPECT_EQ(actual.Stats().GetOutcome(), expected.Stats().GetOutcome());
  ExpectSameEstimates(actual, expected);
}

TEST_P(LogisticInvariance, TheOrderOfTheRecordsDoesNotMatter) {
  Records shuffled = records_;
  std::shuffle(shuffled.begin(), shuffled.end(), generator_);
  for (const bool inMemory : {false, true}) {
    LogisticFit expected = Fit(records_, -1, inMemory, true);
    LogisticFit actual = Fit(shuffled, -1, inMemory, true);
    ExpectSameFit(actual, expected, records_);
    ExpectSameEstimates(actual, expected);
  }
}

TEST_P(LogisticInvariance, AFrequencyWeightIsARepetition) {
  Records repeated;
  for (const Record& record : records_) {
    for (int i = 0; i < static_cast<int>(record[kWeight]); ++i) repeated.push_back(record);
  }
  for (const bool inMemory : {false, true}) {
    LogisticFit expected = Fit(repeated, -1, inMemory);
    LogisticFit actual = Fit(records_, -1, inMemory, true);
    ExpectSameFit(actual, expected, records_);
    ExpectSameEstimates(actual, expected);
    EXPECT_EQ(actual.Stats().GetTotalFreqWeight(), expected.Stats().GetTotalFreqWeight());
    EXPECT_EQ(actual.Stats().GetNDegFreedom(), expected.Stats().GetNDegFreedom());
  }
}

TEST_P(LogisticInvariance, UnobservedCategoriesInTheMiddleDoNotMatter) {
  // Codes 0, 1, 2, 3 become 1, 2, 5, 6 of eight.
  const Doubles codes{1, 2, 5, 6};
  Records spread = records_;
  for (Record& record : spread) record[kY] = codes[static_cast<std::size_t>(record[kY])];
  LogisticFit expected = Fit(records_, 1);
  for (const bool inMemory : {false, true}) {
    LogisticSettings settings(kY, 8, {{kA, kLevels}}, {kX, kZ});
    AddEffects(settings);
    settings.Reference(2).InMemory(inMemory);
    LogisticFit actual(settings.Get(), spread);
    EXPECT_EQ(actual.Stats().GetDependCategories(), (std::vector<int>{1, 5, 6, 2}));
    ExpectNear(actual.Stats().GetFinalLL(), expected.Stats().GetFinalLL(), "final");
    const Doubles& a = actual.Stats().GetParamEstimates();
    for (std::size_t i = 0; i < a.size(); ++i) {
      ExpectNear(a[i], expected.Stats().GetParamEstimates()[i], "estimate");
    }
    for (std::size_t i = 0; i < 20; ++i) {
      const double was = expected.Score(records_[i]).predicted;
      EXPECT_EQ(actual.Score(spread[i]).predicted, codes[static_cast<std::size_t>(was)]);
    }
  }
}

TEST_P(LogisticInvariance, ARedundantEffectDoesNotMatter) {
  LogisticFit expected = Fit(records_);
  LogisticSettings wider(kY, kCategories, {{kA, kLevels}}, {kX, kZ});
  AddEffects(wider);
  wider.Effect({}, {kZ});  // the slopes per level already hold it
  LogisticFit actual(wider.Get(), records_);
  ExpectSameFit(actual, expected, records_);
}

TEST_P(LogisticInvariance, AShiftAndScaleOfACovariateDoNotMatter) {
  Records moved = records_;
  for (Record& record : moved) record[kX] = 20.0 + 3.0 * record[kX];
  LogisticFit expected = Fit(records_);
  LogisticFit actual = Fit(moved);
  ExpectNear(actual.Stats().GetFinalLL(), expected.Stats().GetFinalLL(), "final");
  EXPECT_EQ(actual.TableByCode(kCategories), expected.TableByCode(kCategories));
}

TEST_P(LogisticInvariance, TheClassificationIsThatOfTheScores) {
  for (const bool inMemory : {false, true}) {
    LogisticFit fit = Fit(records_, 2, inMemory, true);
    Doubles table(static_cast<std::size_t>(kCategories * kCategories), 0.0);
    for (const Record& record : records_) {
      const double predicted = fit.Score(record).predicted;
      table[static_cast<std::size_t>(record[kY] * kCategories + predicted)] += record[kWeight];
    }
    EXPECT_EQ(fit.TableByCode(kCategories), table);
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, LogisticInvariance, ::testing::Range(1U, 9U));

}  // namespace
