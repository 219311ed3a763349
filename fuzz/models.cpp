// Random models and records: what must not change a fit, does not.
//
// Records of small whole numbers are exact in every sum of products, so two fits of one model
// differ by what solving rounds: about 2^-53 times the largest inflation of a variance, which is
// bounded here by 1e6, times the largest dependent and the root of the number of records. 1e-8 of
// the largest dependent is a hundred times that. Estimates of a logistic model end within 1e-10 of
// the maximum, and its probabilities change by at most a quarter of what its predictors do.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/Check.h"
#include "fuzz/FuzzedFit.h"
#include "fuzz/FuzzedModel.h"
#include "qvreg/common/Constants.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace {

using namespace qvfuzz;
using QvCommon::Record;

constexpr double kTolerance = 1e-8;
constexpr double kLargestInflation = 1e6;

/// What a fit says of records: a value of each, of a logistic model a probability of each code.
std::vector<double> PredictionsOf(const FuzzedModel& model, const FuzzedFit& fit,
                                  const Records& records) {
  std::vector<double> all;
  for (const Record& record : records) {
    double predicted = QvMV::gMissingValue;
    std::vector<double> values;
    Check(fit.component->Score(record, predicted, values).IsOK(), "a record used is scored");
    if (!model.isLogistic) {
      all.push_back(predicted);
      continue;
    }
    const auto& stats = dynamic_cast<const QvLogOutputStats&>(*fit.stats);
    std::vector<double> byCode(static_cast<std::size_t>(model.nCategories), 0.0);
    for (std::size_t k = 0; k < values.size(); ++k) {
      byCode[static_cast<std::size_t>(stats.GetDependCategories()[k])] = values[k];
    }
    all.insert(all.end(), byCode.begin(), byCode.end());
  }
  return all;
}

/// Whether rounding may change a fit by no more than the tolerance says: no column next to a
/// combination of others, and iterations that ended well before any test of separation.
bool IsSettled(const FuzzedModel& model, const FuzzedFit& fit, const Records& records) {
  if (fit.stats == nullptr) return false;
  if (const auto* logistic = dynamic_cast<const QvLogOutputStats*>(fit.stats)) {
    constexpr int kFewIterations = 12;
    if (logistic->GetIterations() > kFewIterations) return false;
    if (logistic->GetOutcome() != kOptParamConverged &&
        logistic->GetOutcome() != kOptNoIterations) {
      return false;
    }
  }
  return LargestInflation(model, fit, records) < kLargestInflation;
}

/// A fit, and what others must be like.
struct Expected {
  const FuzzedModel& model;
  const Records& records;
  FuzzedFit fit;
  bool isSettled = false;
  double unit = 1.0;  ///< The largest dependent, or 1 for probabilities.
  std::vector<double> predictions;
};

Expected ExpectedOf(const FuzzedModel& model, const Records& records) {
  Expected expected{model, records, FitOf(model, records), false, 1.0, {}};
  expected.isSettled = IsSettled(model, expected.fit, records);
  if (!expected.isSettled) return expected;
  if (!model.isLogistic) {
    for (const Record& record : records) {
      expected.unit = std::max(expected.unit, std::fabs(record[0]));
    }
  }
  expected.predictions = PredictionsOf(model, expected.fit, records);
  return expected;
}

/// Checks a fit of the model in another guise, whose `records` are those expected in their order,
/// and whose dependent is `factor` times theirs.
void CheckSameFit(const Expected& expected, const FuzzedModel& model, const FuzzedFit& fit,
                  const Records& records, const char* what, double factor = 1.0) {
  Check(fit.status == expected.fit.status, what);
  if (!expected.isSettled) return;
  Check(fit.stats->GetRedundancyIndicators().Count() ==
            expected.fit.stats->GetRedundancyIndicators().Count(),
        what);
  const std::vector<double> predictions = PredictionsOf(model, fit, records);
  for (std::size_t i = 0; i < predictions.size(); ++i) {
    Check(
        std::fabs(predictions[i] / factor - expected.predictions[i]) <= kTolerance * expected.unit,
        what);
  }
  if (const auto* logistic = dynamic_cast<const QvLogOutputStats*>(fit.stats)) {
    const double was = dynamic_cast<const QvLogOutputStats&>(*expected.fit.stats).GetFinalLL();
    Check(std::fabs(logistic->GetFinalLL() - was) <= kTolerance * std::max(1.0, std::fabs(was)),
          what);
  }
}

void CheckRepetition(const Expected& expected) {
  FuzzedModel plain = expected.model;
  plain.hasFrequency = false;
  Records repeated;
  for (const Record& record : expected.records) {
    repeated.insert(repeated.end(), static_cast<std::size_t>(record[plain.Frequency()]), record);
  }
  FuzzedModel weighted = expected.model;
  weighted.hasFrequency = true;
  const Expected of = ExpectedOf(weighted, expected.records);
  CheckSameFit(of, plain, FitOf(plain, repeated), expected.records, "a weight is a repetition");
}

void CheckOrder(const Expected& expected, std::mt19937& random) {
  Records shuffled = expected.records;
  std::shuffle(shuffled.begin(), shuffled.end(), random);
  CheckSameFit(expected, expected.model, FitOf(expected.model, shuffled), expected.records,
               "the order of records does not matter");
}

void CheckLevels(const Expected& expected, std::mt19937& random) {
  Records renamed = expected.records;
  for (std::size_t k = 0; k < expected.model.factorSizes.size(); ++k) {
    std::vector<int> codes(static_cast<std::size_t>(expected.model.factorSizes[k]));
    std::iota(codes.begin(), codes.end(), 0);
    std::shuffle(codes.begin(), codes.end(), random);
    const int place = expected.model.FirstFactor() + static_cast<int>(k);
    for (Record& record : renamed) {
      record[place] = codes[static_cast<std::size_t>(record[place])];
    }
  }
  const FuzzedFit fit = FitOf(expected.model, renamed);
  Check(fit.status == expected.fit.status, "a status without regard to codes");
  // Other columns are kept, and may be closer to each other.
  if (!IsSettled(expected.model, fit, renamed)) return;
  CheckSameFit(expected, expected.model, fit, renamed, "the order of levels does not matter");
}

void CheckScale(const Expected& expected, int exponent) {
  Records scaled = expected.records;
  for (Record& record : scaled) {
    for (int k = 0; k < expected.model.nCovariates; ++k) {
      double& value = record[expected.model.FirstCovariate() + k];
      value = std::ldexp(value, exponent);
    }
    if (!expected.model.isLogistic) record[0] = std::ldexp(record[0], exponent);
  }
  CheckSameFit(expected, expected.model, FitOf(expected.model, scaled), scaled,
               "the units of columns do not matter",
               expected.model.isLogistic ? 1.0 : std::ldexp(1.0, exponent));
}

void CheckRedundantColumn(const Expected& expected, std::mt19937& random) {
  const std::size_t n = expected.model.effects.size();
  if (n == 0) return;
  FuzzedModel wider = expected.model;
  wider.effects.push_back(expected.model.effects[random() % n]);
  CheckSameFit(expected, wider, FitOf(wider, expected.records), expected.records,
               "a redundant column does not matter");
}

void CheckHandlers(const Expected& expected) {
  FuzzedModel other = expected.model;
  other.isInMemory = !other.isInMemory;
  CheckSameFit(expected, other, FitOf(other, expected.records), expected.records,
               "either data handler gives the same fit");
}

void CheckParts(const Expected& expected) {
  for (const std::size_t parts : {2U, 5U}) {
    CheckSameFit(expected, expected.model, FitInParts(expected.model, expected.records, parts, 1),
                 expected.records, "the division does not matter");
  }
}

/// Records that are alike but for their weight become one, which counts as many.
void CheckCollapsed(const Expected& expected) {
  FuzzedModel counted = expected.model;
  counted.hasFrequency = true;
  counted.hasCount = true;
  const Expected of = ExpectedOf(counted, expected.records);
  std::map<std::vector<double>, std::size_t> places;
  Records collapsed;
  for (const Record& record : expected.records) {
    std::vector<double> key(record.GetAll(), record.GetAll() + record.Size());
    key[static_cast<std::size_t>(counted.Frequency())] = 0.0;
    const auto [place, isNew] = places.emplace(key, collapsed.size());
    if (isNew) {
      collapsed.push_back(record);
      continue;
    }
    collapsed[place->second][counted.Frequency()] += record[counted.Frequency()];
    collapsed[place->second][counted.Count()] += 1.0;
  }
  const FuzzedFit fit = FitOf(counted, collapsed);
  CheckSameFit(of, counted, fit, expected.records, "equal records may come as one");
}

void CheckFinite(const FuzzedFit& fit) {
  if (fit.stats == nullptr) return;
  for (const double estimate : fit.stats->GetParamEstimates()) {
    Check(std::isfinite(estimate), "estimates of ordinary numbers are finite");
  }
  const QvCommon::QvSymMatrixData& covariance = *fit.stats->GetCovarianceMatrix();
  for (int i = 0; i < covariance.GetOrder(); ++i) {
    for (int j = 0; j <= i; ++j) {
      Check(std::isfinite(covariance.GetElem(i, j)), "covariances are finite");
    }
    Check(covariance.GetElem(i, i) >= 0.0, "variances are not negative");
  }
}

/// Estimates of any numbers: in units in which a double holds them they are finite, and in others
/// too large or too small at most. A record far larger than others may say nothing of a logistic
/// model, whose variances are then beyond a double in these units, too.
template <bool kMayBeBeyond, typename Stats>
void CheckScaled(const Stats& stats) {
  for (const double estimate : stats.GetScaledEstimates()) {
    Check(std::isfinite(estimate), "scaled estimates are finite");
  }
  for (const double estimate : stats.GetParamEstimates()) {
    Check(!std::isnan(estimate), "estimates are numbers");
  }
  const QvCommon::QvSymMatrixData& scaled = *stats.GetScaledCovarianceMatrix();
  const QvCommon::QvSymMatrixData& plain = *stats.GetCovarianceMatrix();
  for (int i = 0; i < scaled.GetOrder(); ++i) {
    for (int j = 0; j <= i; ++j) {
      const bool isBeyond =
          kMayBeBeyond && (std::isinf(scaled.GetElem(i, i)) || std::isinf(scaled.GetElem(j, j)));
      Check(isBeyond ? !std::isnan(scaled.GetElem(i, j)) : std::isfinite(scaled.GetElem(i, j)),
            "scaled covariances are finite");
      Check(!std::isnan(plain.GetElem(i, j)), "covariances are numbers");
    }
    Check(scaled.GetElem(i, i) >= 0.0, "scaled variances are not negative");
  }
}

void CheckScaled(const FuzzedFit& fit) {
  if (const auto* linear = dynamic_cast<const QvGLMOutputStats*>(fit.stats))
    CheckScaled<false>(*linear);
  if (const auto* logistic = dynamic_cast<const QvLogOutputStats*>(fit.stats)) {
    CheckScaled<true>(*logistic);
  }
}

/// What holds of any records, to the last bit.
void CheckBits(const FuzzedModel& model, const Records& records, std::size_t rows) {
  const FuzzedFit fit = FitOf(model, records);
  CheckSameBits(FitOf(model, records), fit, "a fit is the same again");
  const std::unique_ptr<QvRegSettings> settings = SettingsOf(model);
  BlockIter blocks(records, rows);
  CheckSameBits(FitOf(*settings, blocks), fit, "blocks of records are records");
  const FuzzedFit one = FitInParts(model, records, 1, 1);
  if (!records.empty()) CheckSameBits(one, fit, "one part is a run without parts");
  CheckSameBits(FitInParts(model, records, 3, 2), FitInParts(model, records, 3, 1),
                "the number of threads does not matter");
  if (fit.stats == nullptr) return;
  CheckScaled(fit);
  for (const Record& record : records) {
    double predicted = 0.0;
    std::vector<double> values;
    static_cast<void>(fit.component->Score(record, predicted, values));
  }
}

void CheckWhole(const FuzzedModel& model, const Records& records, FuzzedDataProvider& data) {
  std::mt19937 random(data.ConsumeIntegral<std::uint32_t>());
  const int exponent = static_cast<int>(random() % 201) - 100;
  const Expected expected = ExpectedOf(model, records);
  CheckFinite(expected.fit);
  CheckRepetition(expected);
  CheckOrder(expected, random);
  CheckLevels(expected, random);
  CheckScale(expected, exponent);
  CheckRedundantColumn(expected, random);
  if (model.isLogistic) CheckHandlers(expected);
  CheckParts(expected);
  CheckCollapsed(expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  const bool isWild = data.ConsumeBool();
  FuzzedModel model = TakeModel(data);
  if (isWild) {
    model.maxIterations = data.ConsumeIntegralInRange(0, 12);
    model.startingIteration = data.ConsumeIntegralInRange(0, 12);
    const std::size_t rows = data.ConsumeIntegralInRange<std::size_t>(1, 9);
    CheckBits(model, TakeWildRecords(data, model), rows);
  } else {
    CheckWhole(model, TakeWholeRecords(data, model), data);
  }
  return 0;
}
