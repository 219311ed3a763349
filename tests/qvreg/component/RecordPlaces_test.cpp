// Where a record holds its variables makes no difference: position 0 is one like any other.
#include <memory>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using Doubles = std::vector<double>;

enum class Model { kLinear, kLogistic, kLogisticInMemory };
enum class Weight { kFrequency, kRegression };
using Case = std::pair<Model, Weight>;

/// Records of a dependent, a covariate and a weight, turned so that the weight stands at `place`.
std::vector<QvCommon::Record> RecordsWithWeightAt(int place) {
  std::vector<Doubles> rows;
  for (int i = 0; i < 24; ++i) {
    const double y = (i * 7) % 5 < 2 ? 1.0 : 0.0;
    const Doubles values{y, (i * 11) % 8 - 3.5, 1.0 + i % 3};
    Doubles row(3);
    for (std::size_t v = 0; v < 3; ++v) {
      row[(v + 1 + static_cast<std::size_t>(place)) % 3] = values[v];
    }
    rows.push_back(row);
  }
  return qvtest::MakeRecords(rows);
}

std::unique_ptr<QvRegSettings> MakeSettings(Model model) {
  if (model == Model::kLinear) return std::make_unique<QvRegSettings>();
  auto settings = std::make_unique<QvLogRegSettings>();
  settings->SetUsePatternTabulator(model == Model::kLogisticInMemory);
  return settings;
}

/// What a fit came to: estimates, covariances, totals.
Doubles NumbersOf(const Case& c, int place) {
  const auto [model, weight] = c;
  const std::vector<int> covariate{(2 + place) % 3};
  const std::unique_ptr<QvRegSettings> settings = MakeSettings(model);
  EXPECT_TRUE(settings->SetDependent((1 + place) % 3));
  EXPECT_EQ(settings->AddCovariate(covariate.front()), 1);
  QvModelEffect effect(0, 1, &covariate);
  EXPECT_EQ(effect.AddCovariate(covariate.front()), 1);
  EXPECT_TRUE(settings->AddModelEffect(effect));
  EXPECT_TRUE(weight == Weight::kFrequency ? settings->SetFrequencyWeightVar(place)
                                           : settings->SetRegrWeightVar(place));
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(*settings));
  qvtest::VectorRecordIter data(RecordsWithWeightAt(place));
  EXPECT_TRUE(component->BuildModel(data).IsOK());
  IQvRegOutputStats* stats = nullptr;
  EXPECT_TRUE(component->GetOutputStats(stats).IsOK());
  Doubles numbers = stats->GetParamEstimates();
  for (int i = 0; i < 2; ++i) {
    for (int j = 0; j <= i; ++j) numbers.push_back(stats->GetCovarianceMatrix()->GetElem(i, j));
  }
  numbers.push_back(stats->GetTotalFreqWeight());
  numbers.push_back(stats->GetTotalRegrWeight());
  for (const auto stat : {QvConst::QvFitRootMeanSquareError, QvConst::QvFitMultipleRSquare,
                          QvConst::QvFitCoxSnellRSquare}) {
    numbers.push_back(stats->GetModelFitStat(stat));
  }
  return numbers;
}

class RecordPlaces : public testing::TestWithParam<Case> {};

INSTANTIATE_TEST_SUITE_P(Models, RecordPlaces,
                         testing::Values(Case{Model::kLinear, Weight::kFrequency},
                                         Case{Model::kLinear, Weight::kRegression},
                                         Case{Model::kLogistic, Weight::kFrequency},
                                         Case{Model::kLogistic, Weight::kRegression},
                                         Case{Model::kLogisticInMemory, Weight::kFrequency},
                                         Case{Model::kLogisticInMemory, Weight::kRegression}));

TEST_P(RecordPlaces, AWeightMayStandFirst) {
  const Doubles last = NumbersOf(GetParam(), 2);
  const Doubles first = NumbersOf(GetParam(), 0);
  EXPECT_EQ(first, last);
}

}  // namespace
