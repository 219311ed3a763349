#include "qvreg/logistic/QvLogComponent.h"

#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/FaultyIter.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvStatus;
using qvtest::Fault;
using qvtest::FaultyIter;
using qvtest::LogisticSettings;
using qvtest::MakeRecord;
using qvtest::MakeRecords;
using qvtest::VectorRecordIter;
using Rows = std::vector<std::vector<double>>;
using Doubles = std::vector<double>;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kX = 2;
constexpr double kMissing = QvMV::gMissingValue;

/// y of three categories over a factor A, of which levels 0 and 1 occur.
Rows CellRows() {
  // y counts of A 0: 1, 2, 3; of A 1: 4, 2, 2.
  const std::vector<std::vector<int>> counts{{1, 2, 3}, {4, 2, 2}};
  Rows rows;
  for (std::size_t a = 0; a < 2; ++a) {
    for (std::size_t y = 0; y < 3; ++y) {
      for (int i = 0; i < counts[a][y]; ++i) {
        rows.push_back({static_cast<double>(y), static_cast<double>(a), 1.0 * i});
      }
    }
  }
  return rows;
}

/// With the tabulator, or without.
class QvLogComponentTest : public ::testing::TestWithParam<bool> {
 protected:
  QvLogComponentTest() { settings_.Effect({kA}).InMemory(GetParam()); }

  LogisticSettings settings_{kY, 3, {{kA, 3}}, {kX}};
  VectorRecordIter data_{MakeRecords(CellRows())};
  std::vector<QvRegrParameter> parameters_;
  IQvRegOutputStats* stats_ = nullptr;
};

TEST_P(QvLogComponentTest, WithoutADependentEveryOperationAnswers301) {
  QvLogComponent component{QvLogRegSettings()};
  double predicted = 5.0;
  Doubles values{7};
  EXPECT_EQ(component.GetStatus().GetCode(), 301);
  EXPECT_EQ(component.CreateParameters(data_, parameters_).GetCode(), 301);
  EXPECT_EQ(component.BuildModel(data_).GetCode(), 301);
  EXPECT_EQ(component.GetOutputStats(stats_).GetCode(), 301);
  EXPECT_EQ(component.Score(MakeRecord({1.0}), predicted, values).GetCode(), 301);
  EXPECT_FALSE(component.IsModelBuilt());
  EXPECT_TRUE(component.GetWarnings().empty());
  EXPECT_EQ(component.GetRecordCounts().fRead, 0);
  component.Cancel();
  EXPECT_EQ(component.GetStatus().GetCode(), 301);
  EXPECT_EQ(data_.Passes(), 0);
  EXPECT_EQ(stats_, nullptr);
  EXPECT_EQ(predicted, 5.0);
  EXPECT_EQ(values, Doubles{7});
}

TEST_P(QvLogComponentTest, WithoutATermEveryOperationAnswers302) {
  QvLogRegSettings settings;
  EXPECT_TRUE(settings.SetDependent(0));
  settings.SetInterceptUse(false);
  QvLogComponent component(settings);
  EXPECT_EQ(component.GetStatus().GetCode(), 302);
  EXPECT_EQ(component.BuildModel(data_).GetCode(), 302);
}

TEST_P(QvLogComponentTest, StartsGoodAndNotBuilt) {
  QvLogComponent component(settings_.Get());
  EXPECT_EQ(component.GetModelType(), QvConst::QvRegModelLogistic);
  EXPECT_TRUE(component.GetStatus().IsOK());
  EXPECT_FALSE(component.IsModelBuilt());
  EXPECT_TRUE(component.GetWarnings().empty());
}

TEST_P(QvLogComponentTest, GivesTheParametersOfAllBlocks) {
  QvLogComponent component(settings_.Get());
  EXPECT_TRUE(component.CreateParameters(data_, parameters_).IsOK());
  ASSERT_EQ(parameters_.size(), 6U);  // two blocks of intercept, A 0 and A 1
  EXPECT_EQ(parameters_[2].GetTargetCategory(), 0);
  EXPECT_EQ(parameters_[3].GetTargetCategory(), 1);
  EXPECT_EQ(data_.Passes(), 1);
  EXPECT_FALSE(component.IsModelBuilt());
}

TEST_P(QvLogComponentTest, BuildsTheModelOfASaturatedTable) {
  QvLogComponent component(settings_.Get());
  EXPECT_TRUE(component.CreateParameters(data_, parameters_).IsOK());
  EXPECT_TRUE(component.BuildModel(data_).IsOK());
  EXPECT_TRUE(component.IsModelBuilt());
  ASSERT_TRUE(component.GetOutputStats(stats_).IsOK());
  // The logs of the cells' ratios to category 2; A 1 is redundant.
  const Doubles expected{std::log(4.0 / 2.0), std::log(1.0 / 3.0) - std::log(4.0 / 2.0), 0,
                         std::log(2.0 / 2.0), std::log(2.0 / 3.0) - std::log(2.0 / 2.0), 0};
  for (std::size_t i = 0; i < 6; ++i) {
    EXPECT_NEAR(stats_->GetParamEstimates()[i], expected[i], 1e-9) << i;
  }
}

TEST_P(QvLogComponentTest, BuildModelCreatesTheParametersItself) {
  QvLogComponent component(settings_.Get());
  EXPECT_TRUE(component.BuildModel(data_).IsOK());
  EXPECT_TRUE(component.IsModelBuilt());
  ASSERT_TRUE(component.GetOutputStats(stats_).IsOK());
  EXPECT_EQ(stats_->GetParameters().size(), 6U);
}

TEST_P(QvLogComponentTest, ASecondBuildAnswers310AndTheModelCountsAsNotBuilt) {
  QvLogComponent component(settings_.Get());
  ASSERT_TRUE(component.BuildModel(data_).IsOK());
  const int passes = data_.Passes();
  EXPECT_TRUE(component.BuildModel(data_) == QvStatus(310, false));
  EXPECT_EQ(data_.Passes(), passes);
  EXPECT_EQ(component.GetStatus().GetCode(), 310);
  EXPECT_FALSE(component.IsModelBuilt());
  EXPECT_EQ(component.GetOutputStats(stats_).GetCode(), 310);
}

TEST_P(QvLogComponentTest, ASecondCreateParametersAnswers306) {
  QvLogComponent component(settings_.Get());
  ASSERT_TRUE(component.CreateParameters(data_, parameters_).IsOK());
  EXPECT_TRUE(component.CreateParameters(data_, parameters_) == QvStatus(306, false));
  EXPECT_EQ(component.GetStatus().GetCode(), 306);
  EXPECT_EQ(component.BuildModel(data_).GetCode(), 306);
}

TEST_P(QvLogComponentTest, CreateParametersOfABuiltModelAnswers310) {
  QvLogComponent component(settings_.Get());
  ASSERT_TRUE(component.BuildModel(data_).IsOK());
  EXPECT_TRUE(component.CreateParameters(data_, parameters_) == QvStatus(310, false));
  EXPECT_FALSE(component.IsModelBuilt());
}

TEST_P(QvLogComponentTest, StatisticsBeforeTheBuildAre310AndNull) {
  QvLogComponent component(settings_.Get());
  QvLogComponent other(settings_.Get());
  ASSERT_TRUE(other.BuildModel(data_).IsOK());
  ASSERT_TRUE(other.GetOutputStats(stats_).IsOK());
  ASSERT_NE(stats_, nullptr);
  EXPECT_TRUE(component.GetOutputStats(stats_) == QvStatus(310, false));
  EXPECT_EQ(stats_, nullptr);
  EXPECT_TRUE(component.GetStatus().IsOK()) << "the answer is not kept";
  EXPECT_TRUE(component.BuildModel(data_).IsOK());
}

TEST_P(QvLogComponentTest, StatisticsAreOneObject) {
  QvLogComponent component(settings_.Get());
  ASSERT_TRUE(component.BuildModel(data_).IsOK());
  ASSERT_TRUE(component.GetOutputStats(stats_).IsOK());
  IQvRegOutputStats* again = nullptr;
  EXPECT_TRUE(component.GetOutputStats(again).IsOK());
  EXPECT_EQ(again, stats_);
  EXPECT_NE(dynamic_cast<QvLogOutputStats*>(stats_), nullptr);
}

TEST_P(QvLogComponentTest, ScoreBeforeTheBuildAnswersSuccessAndWritesNothing) {
  QvLogComponent component(settings_.Get());
  double predicted = 5.0;
  Doubles values{7};
  EXPECT_TRUE(component.Score(MakeRecord({0, 0, 0}), predicted, values).IsOK());
  EXPECT_EQ(predicted, 5.0);
  EXPECT_EQ(values, Doubles{7});
}

TEST_P(QvLogComponentTest, ScoresARecord) {
  QvLogComponent component(settings_.Get());
  ASSERT_TRUE(component.BuildModel(data_).IsOK());
  double predicted = 5.0;
  Doubles values;
  EXPECT_TRUE(component.Score(MakeRecord({-1, 0, 0}), predicted, values).IsOK());
  ASSERT_EQ(values.size(), 3U);
  for (std::size_t j = 0; j < 3; ++j)
    EXPECT_NEAR(values[j], (1.0 + static_cast<double>(j)) / 6, 1e-9);
  EXPECT_EQ(predicted, 2.0);
  EXPECT_TRUE(component.Score(MakeRecord({-1, 1, 0}), predicted, values).IsOK());
  EXPECT_EQ(predicted, 0.0);
  EXPECT_NEAR(values[0], 0.5, 1e-9);
}

TEST_P(QvLogComponentTest, ScoresARecordThatEndsBeforeWhatItDoesNotNeed) {
  LogisticSettings late(5, 3, {{kA, 3}}, {kX});
  late.Effect({kA}).InMemory(GetParam());
  Rows rows = CellRows();
  for (Doubles& row : rows) row = {9, row[1], row[2], 9, 9, row[0]};
  VectorRecordIter data(MakeRecords(rows));
  QvLogComponent component(late.Get());
  ASSERT_TRUE(component.BuildModel(data).IsOK());
  double predicted = 5.0;
  Doubles values;
  EXPECT_TRUE(component.Score(MakeRecord({9, 1, 0}), predicted, values).IsOK());
  EXPECT_EQ(predicted, 0.0);
  EXPECT_TRUE(component.Score(MakeRecord({9, 1}), predicted, values) == QvStatus(315, false));
  EXPECT_TRUE(component.GetStatus().IsOK());
}

TEST_P(QvLogComponentTest, ALevelThatWasNotSeenScoresMinus1AndMissing) {
  QvLogComponent component(settings_.Get());
  ASSERT_TRUE(component.BuildModel(data_).IsOK());
  double predicted = 5.0;
  Doubles values;
  EXPECT_TRUE(component.Score(MakeRecord({0, 2, 0}), predicted, values).IsOK());
  EXPECT_EQ(predicted, -1.0);
  EXPECT_EQ(values, Doubles(3, kMissing));
}

TEST_P(QvLogComponentTest, ARecordRefusedForScoringAnswersTheValidatorsStatus) {
  QvLogComponent component(settings_.Get());
  ASSERT_TRUE(component.BuildModel(data_).IsOK());
  double predicted = 5.0;
  Doubles values{7};
  EXPECT_TRUE(component.Score(MakeRecord({0, 0.5, 0}), predicted, values) == QvStatus(316, false));
  EXPECT_TRUE(component.Score(MakeRecord({0, 0, kMissing}), predicted, values).IsOK());
  EXPECT_TRUE(component.Score(MakeRecord({0, -1, 0}), predicted, values).IsOK());
  EXPECT_EQ(predicted, 5.0);
  EXPECT_EQ(values, Doubles{7});
  EXPECT_TRUE(component.IsModelBuilt()) << "a score's status is not kept";
}

TEST_P(QvLogComponentTest, CancelAfterTheBuildStopsScoringAndKeepsTheModel) {
  QvLogComponent component(settings_.Get());
  ASSERT_TRUE(component.BuildModel(data_).IsOK());
  ASSERT_TRUE(component.GetOutputStats(stats_).IsOK());
  stats_->Cancel();
  double predicted = 5.0;
  Doubles values;
  EXPECT_TRUE(component.Score(MakeRecord({0, 0, 0}), predicted, values) == QvStatus(1, false));
  EXPECT_EQ(predicted, 5.0);
  EXPECT_TRUE(component.IsModelBuilt());
}

TEST_P(QvLogComponentTest, AnAbsentReferenceIsAWarningAndTheModelIsBuilt) {
  LogisticSettings absent(kY, 5, {{kA, 3}}, {kX});
  absent.Effect({kA}).Reference(4).InMemory(GetParam());
  QvLogComponent component(absent.Get());
  EXPECT_TRUE(component.BuildModel(data_).IsOK());
  EXPECT_TRUE(component.IsModelBuilt());
  EXPECT_TRUE(component.GetStatus().IsOK()) << "a warning never changes the status";
  ASSERT_FALSE(component.GetWarnings().empty());
  EXPECT_TRUE(component.GetWarnings()[0] == QvStatus(319, true));
}

TEST_P(QvLogComponentTest, AWarningThatSeveralStagesRaiseIsListedOnce) {
  LogisticSettings absent(kY, 5, {{kA, 3}}, {kX});
  absent.Effect({kA}).Reference(4).InMemory(GetParam());
  QvLogComponent component(absent.Get());
  // The choice of the reference raises it, and the search for redundancy passes it on.
  component.CreateParameters(data_, parameters_);
  EXPECT_EQ(component.GetWarnings().size(), 1U);
  component.BuildModel(data_);
  EXPECT_EQ(component.GetWarnings().size(), 1U);
}

TEST_P(QvLogComponentTest, OneObservedCategoryAnswers318) {
  VectorRecordIter data(MakeRecords({{1, 0, 0}, {1, 1, 0}}));
  QvLogComponent component(settings_.Get());
  EXPECT_TRUE(component.CreateParameters(data, parameters_) == QvStatus(318, false));
  EXPECT_TRUE(parameters_.empty());
  EXPECT_TRUE(component.BuildModel(data) == QvStatus(318, false));
}

TEST_P(QvLogComponentTest, AnEmptyDataSetAnswers307AtOnce) {
  VectorRecordIter data({});
  QvLogComponent component(settings_.Get());
  EXPECT_TRUE(component.BuildModel(data) == QvStatus(307, false));
  EXPECT_EQ(component.GetStatus().GetCode(), 307);
}

TEST_P(QvLogComponentTest, WithoutAValidRecordTheFirstPassAnswers307) {
  VectorRecordIter data(MakeRecords({{1, 0, kMissing}, {-1, 0, 0}, {0, 3, 0}}));
  QvLogComponent component(settings_.Get());
  EXPECT_TRUE(component.BuildModel(data) == QvStatus(307, false));
  EXPECT_EQ(component.GetRecordCounts().fRead, 3);
  EXPECT_EQ(component.GetRecordCounts().fMissing, 2);
  EXPECT_EQ(component.GetRecordCounts().fOutOfRange, 1);
}

TEST_P(QvLogComponentTest, RecordsThatCannotBeUsedAreLeftOut) {
  Rows rows = CellRows();
  rows.insert(rows.begin() + 3, {2, 0, kMissing});
  rows.insert(rows.begin(), {2, -1, 0});
  rows.push_back({-1, 1, 0});
  rows.push_back({3, 1, 0});
  rows.push_back({1, 3, 0});
  VectorRecordIter data(MakeRecords(rows));
  QvLogComponent component(settings_.Get());
  ASSERT_TRUE(component.BuildModel(data).IsOK());
  ASSERT_TRUE(component.GetOutputStats(stats_).IsOK());
  EXPECT_EQ(stats_->GetTotalFreqWeight(), 14.0);
  EXPECT_NEAR(stats_->GetParamEstimates()[0], std::log(2.0), 1e-9);
  EXPECT_EQ(component.GetRecordCounts().fUsed, 14);
  EXPECT_EQ(component.GetRecordCounts().fMissing, 3);
  EXPECT_EQ(component.GetRecordCounts().fOutOfRange, 2);
}

TEST_P(QvLogComponentTest, ABadCategoryAnswers316WithItsPlaceAndValue) {
  VectorRecordIter data(MakeRecords({{1, 0, 0}, {1.5, 1, 0}}));
  QvLogComponent component(settings_.Get());
  const QvStatus status = component.BuildModel(data);
  EXPECT_TRUE(status == QvStatus(316, false));
  long variable = -1;
  double value = 0.0;
  EXPECT_TRUE(status.GetDiscreteDatum(1, variable));
  EXPECT_TRUE(status.GetScaleDatum(1, value));
  EXPECT_EQ(variable, kY);
  EXPECT_EQ(value, 1.5);
}

TEST_P(QvLogComponentTest, AnEffectOfUnknownVariablesAnswers309) {
  const std::vector<int> strange{8};
  QvLogRegSettings settings;
  EXPECT_TRUE(settings.SetDependent(kY));
  settings.SetUsePatternTabulator(GetParam());
  QvModelEffect effect(0, 1, &strange);
  ASSERT_GT(effect.AddCovariate(8), 0);
  ASSERT_TRUE(settings.AddModelEffect(effect));
  QvLogComponent component(settings);
  EXPECT_TRUE(component.BuildModel(data_) == QvStatus(309, false));
  EXPECT_EQ(data_.Passes(), 0);
}

/// The error of a fault in each pass: the first, that of X'X, one of the optimizer's, and the last.
TEST_P(QvLogComponentTest, AFaultOfTheIteratorInAnyPassEndsTheRun) {
  QvLogComponent counting(settings_.Get());
  ASSERT_TRUE(counting.BuildModel(data_).IsOK());
  for (int pass = 1; pass <= data_.Passes(); ++pass) {
    SCOPED_TRACE("pass " + std::to_string(pass));
    for (const Fault fault : {Fault::kNull, Fault::kShort}) {
      FaultyIter data(MakeRecords(CellRows()), fault, pass);
      QvLogComponent component(settings_.Get());
      const QvStatus status = component.BuildModel(data);
      const bool isOptimizers = !GetParam() && pass > 2 && pass < data_.Passes();
      const long missing = isOptimizers ? 304 : 312;
      EXPECT_TRUE(status == QvStatus(fault == Fault::kNull ? missing : 315, false))
          << status.GetCode();
      EXPECT_FALSE(component.IsModelBuilt());
      EXPECT_EQ(component.GetStatus().GetCode(), status.GetCode()) << "the error is kept";
      EXPECT_EQ(component.GetOutputStats(stats_).GetCode(), status.GetCode());
      EXPECT_EQ(stats_, nullptr);
      EXPECT_EQ(data.Passes(), pass);
    }
  }
}

TEST_P(QvLogComponentTest, APassThatCannotStartEndsTheRunWith307) {
  QvLogComponent counting(settings_.Get());
  ASSERT_TRUE(counting.BuildModel(data_).IsOK());
  for (int pass = 1; pass <= data_.Passes(); ++pass) {
    SCOPED_TRACE("pass " + std::to_string(pass));
    FaultyIter data(MakeRecords(CellRows()), Fault::kNoRecord, pass);
    QvLogComponent component(settings_.Get());
    EXPECT_TRUE(component.BuildModel(data).IsError());
    EXPECT_FALSE(component.IsModelBuilt());
  }
}

TEST_P(QvLogComponentTest, ARefusedPassEndsTheRunWith307ThoughItDeliversRecords) {
  QvLogComponent counting(settings_.Get());
  ASSERT_TRUE(counting.BuildModel(data_).IsOK());
  const int last = data_.Passes();
  for (int pass = 1; pass <= last; ++pass) {
    SCOPED_TRACE("pass " + std::to_string(pass));
    FaultyIter data(MakeRecords(CellRows()), Fault::kRefused, pass);
    QvLogComponent component(settings_.Get());
    EXPECT_TRUE(component.BuildModel(data) == QvStatus(307, false));
    EXPECT_FALSE(component.IsModelBuilt());
    // The optimizer's passes answer one late.
    const bool isLate = !GetParam() && pass > 2 && pass < last;
    EXPECT_EQ(data.Passes(), isLate ? pass + 1 : pass);
    EXPECT_EQ(data.Position(), 0U);
  }
}

TEST_P(QvLogComponentTest, AHostsExceptionPassesThroughAndLeavesAnError) {
  for (int pass = 1; pass <= 2; ++pass) {
    FaultyIter data(MakeRecords(CellRows()), Fault::kThrow, pass);
    QvLogComponent component(settings_.Get());
    EXPECT_THROW(component.BuildModel(data), std::runtime_error);
    EXPECT_TRUE(component.GetStatus().IsError());
    EXPECT_FALSE(component.IsModelBuilt());
  }
}

TEST_P(QvLogComponentTest, DisplayPrintsItsFieldsInOrder) {
  QvLogComponent component(settings_.Get());
  ASSERT_TRUE(component.BuildModel(data_).IsOK());
  ASSERT_TRUE(component.GetOutputStats(stats_).IsOK());
  const std::string text = qvtest::CapturedDisplay(component);
  EXPECT_TRUE(qvtest::HoldsInOrder(
      text,
      {"QvLogComponent display start", "fCompSettings", "QvLogRegSettings display start",
       "QvLogRegSettings display end", "fpAlgorithm", "QvLogAlgorithm display start",
       "fPatternExtractor", "fFactorTables", "fMeanValues", "fModel", "QvLogModel display start",
       "QvLogModel display end", "fbFactorTableFilled", "fbModelBuilt",
       "QvLogAlgorithm display end", "fpOutputStats", "QvLogOutputStats display start",
       "QvLogOutputStats display end", "QvLogComponent display end"}))
      << text;
  EXPECT_EQ(text.find("QvPatternTabulator display start") != std::string::npos, GetParam());
}

TEST_P(QvLogComponentTest, DisplayOfRefusedSettingsHasNoAlgorithm) {
  const QvLogComponent component{QvLogRegSettings()};
  const std::string text = qvtest::CapturedDisplay(component);
  EXPECT_TRUE(qvtest::HoldsInOrder(
      text, {"QvLogComponent display start", "fCompSettings", "QvLogComponent display end"}));
  EXPECT_EQ(text.find("QvLogAlgorithm"), std::string::npos);
}

TEST_P(QvLogComponentTest, WithTheTabulatorTheHostsDataAreReadTwice) {
  QvLogComponent component(settings_.Get());
  ASSERT_TRUE(component.BuildModel(data_).IsOK());
  ASSERT_TRUE(component.GetOutputStats(stats_).IsOK());
  const auto* stats = dynamic_cast<const QvLogOutputStats*>(stats_);
  ASSERT_NE(stats, nullptr);
  EXPECT_GT(stats->GetIterations(), 2);
  if (GetParam()) {
    EXPECT_EQ(data_.Passes(), 2);
    return;
  }
  // The first pass, X'X, the starting values, a trial per iteration, which computes the derivatives
  // too, one more per step-halving, and the classification.
  EXPECT_EQ(data_.Passes(), 4 + stats->GetIterations() + stats->GetStepHalvings());
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutTabulator, QvLogComponentTest, ::testing::Bool());

}  // namespace
