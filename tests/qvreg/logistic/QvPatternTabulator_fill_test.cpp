// The tabulator's first pass over a host's data, and what it prints of itself.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/logistic/QvPatternTabulator.h"
#include "tests/qvreg/support/Cancellation.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/FaultyIter.h"
#include "tests/qvreg/support/ModelOnTables.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/StubRegModel.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvStatus;
using qvtest::CancelAtPoll;
using qvtest::LogisticSettings;
using qvtest::LogModelOnTables;
using qvtest::MakeRecords;
using qvtest::VectorRecordIter;
using Rows = std::vector<std::vector<double>>;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kB = 2;
constexpr int kX = 3;
constexpr int kFrequency = 4;
constexpr int kRegression = 5;
constexpr double kMissing = QvMV::gMissingValue;

/// y of four categories of which 1 is not observed; A of two, B of three; x; both weights. Of the
/// six cells (0, 0), (0, 1), (1, 1) and (1, 2) occur.
const Rows kRows{{0, 0, 0, 1.5, 2, 1},  {2, 0, 1, -1, 1, 0.5}, {3, 1, 1, 0, 3, 1},
                 {0, 0, 0, 2.5, 1, 1},  {3, 1, 2, 4, 1, 2},    {2, 1, 1, 1, 1, 1},
                 {0, 0, 1, 0.5, 1, 0.5}};
/// Fresh factor tables, for the pass that fills them.
class FillFactorTablesTest : public ::testing::Test {
 protected:
  FillFactorTablesTest() {
    settings_.Effect({kA}).Effect({}, {kX}).Effect({kA, kB}).FrequencyWeight(kFrequency);
    settings_.RegressionWeight(kRegression);
    validator_.SetRecordInfo(settings_.Get().GetVariableTypes(), {kA, kB}, {2, 3}, 4);
    tables_.SetModelEffectFactors({{}, {kA}, {}, {kA, kB}}, {kA, kB});
    tables_.SetCovariates({kX});
    tables_.SetRegrWeightVar(kRegression);
  }
  QvStatus Fill(const Rows& rows) {
    VectorRecordIter iter(MakeRecords(rows));
    return tabulator_.FillFactorTables(iter);
  }

  LogisticSettings settings_{kY, 4, {{kA, 2}, {kB, 3}}, {kX}};
  QvFactorTables tables_{{kA, kB}, {2, 3}, kFrequency, kY, 4, 0, -1, 0.0, QvConst::QvOffsetNone};
  QvCancelInfo cancel_;
  QvRegRecordValidator validator_;
  QvPatternTabulator tabulator_{settings_.Get(), tables_, validator_, cancel_};
};

TEST_F(FillFactorTablesTest, CountsTheRecords) {
  Rows rows = kRows;
  rows.push_back({0, 0, 0, kMissing, 1, 1});
  rows.push_back({0, 0, 0, 1, 0, 1});
  rows.push_back({0, 2, 0, 1, 1, 1});
  EXPECT_TRUE(Fill(rows).IsOK());
  EXPECT_EQ(tabulator_.GetRecordCounts().fRead, 10);
  EXPECT_EQ(tabulator_.GetRecordCounts().fUsed, 7);
  EXPECT_EQ(tabulator_.GetRecordCounts().fMissing, 1);
  EXPECT_EQ(tabulator_.GetRecordCounts().fBadWeight, 1);
  EXPECT_EQ(tabulator_.GetRecordCounts().fOutOfRange, 1);
  EXPECT_EQ(tables_.GetTotalWeight(), 10.0);
  EXPECT_EQ(tables_.GetTotalRegrWeight(), 10.0);  // 2 + 0.5 + 3 + 1 + 2 + 1 + 0.5
}

TEST_F(FillFactorTablesTest, WithoutARecordAnswers307) {
  EXPECT_TRUE(Fill({}) == QvStatus(307, false));
}

TEST_F(FillFactorTablesTest, WithoutAValidRecordAnswers307) {
  EXPECT_TRUE(Fill({{0, 0, 0, kMissing, 1, 1}, {-1, 0, 0, 1, 1, 1}}) == QvStatus(307, false));
}

TEST_F(FillFactorTablesTest, ASecondTimeAnswers303AndKeepsIt) {
  EXPECT_TRUE(Fill(kRows).IsOK());
  EXPECT_TRUE(Fill(kRows) == QvStatus(303, false));
  VectorRecordIter iter(MakeRecords(kRows));
  qvtest::StubRegModel model;
  EXPECT_TRUE(tabulator_.CreateRowPatterns(iter, model) == QvStatus(303, false));
  EXPECT_EQ(iter.Passes(), 0) << "nothing is done while the status is an error";
}

TEST_F(FillFactorTablesTest, AShortRecordAnswers315) {
  EXPECT_TRUE(Fill({{0, 0, 0, 1, 1, 1}, {0, 0, 0}}) == QvStatus(315, false));
}

TEST_F(FillFactorTablesTest, ABadCategoryAnswers316) {
  EXPECT_TRUE(Fill({{0, 0.5, 0, 1, 1, 1}}) == QvStatus(316, false));
}

TEST_F(FillFactorTablesTest, ARecordAnnouncedButNotDeliveredAnswers312) {
  qvtest::FaultyIter iter(MakeRecords(kRows), qvtest::Fault::kNull, 1);
  EXPECT_TRUE(tabulator_.FillFactorTables(iter) == QvStatus(312, false));
}

TEST_F(FillFactorTablesTest, ACancelledPassAnswers1) {
  CancelAtPoll query(3);
  cancel_.SetCancelPtr(&query);
  EXPECT_TRUE(Fill(kRows) == QvStatus(1, false));
  EXPECT_EQ(query.Polls(), 3);
}

TEST_F(FillFactorTablesTest, AWeightThatAddsUpToNothingAnswers308) {
  // Only a host's own records can do so: weights that are not above 0 are left out.
  validator_.SetRecordInfo({}, {}, {}, 0);
  EXPECT_TRUE(Fill({{0, 0, 0, 1, 0, 1}}) == QvStatus(308, false));
}

/// y of four categories; A of two, B of three, of which four cells occur; x; both weights.
const Rows kCells{{0, 0, 0, 1.5, 2, 1},
                  {2, 0, 1, -1, 1, 0.5},
                  {3, 1, 1, 0, 3, 1},
                  {3, 1, 2, 4, 1, 2},
                  {2, 1, 1, 1, 1, 1}};

/// The factor tables are the tabulator's own work.
class PatternTabulatorDisplayTest : public ::testing::Test {
 protected:
  PatternTabulatorDisplayTest() { EXPECT_TRUE(tabulator_.FillFactorTables(iter_).IsOK()); }

  static LogisticSettings& WithEffects(LogisticSettings& settings) {
    settings.Effect({kA}).Effect({}, {kX}).Effect({kA, kB}).FrequencyWeight(kFrequency);
    return settings.RegressionWeight(kRegression);
  }
  static void Store(LogModelOnTables& on, QvPatternTabulator& tabulator, VectorRecordIter& iter) {
    on.tables.CreateParameterIndices();
    ASSERT_FALSE(on.Initialize().IsError());
    ASSERT_TRUE(tabulator.CreateRowPatterns(iter, on.model).IsOK());
  }
  void Store() { Store(on_, tabulator_, iter_); }

  LogisticSettings settings_{kY, 4, {{kA, 2}, {kB, 3}}, {kX}};
  LogModelOnTables on_{WithEffects(settings_).Get(), {}};
  QvPatternTabulator tabulator_{settings_.Get(), on_.tables, on_.validator, on_.cancel};
  VectorRecordIter iter_{MakeRecords(kCells)};
};

TEST_F(PatternTabulatorDisplayTest, DisplayBeforeThePatternsTellsThatTheyAreMissing) {
  const std::string text = qvtest::CapturedDisplay(tabulator_);
  EXPECT_TRUE(qvtest::HoldsInOrder(
      text, {"QvPatternTabulator display start", "fpRowPatternTable is undefined",
             "fpKey is undefined", "fbRowPatternsCreated", "QvPatternTabulator display end"}))
      << text;
}

TEST_F(PatternTabulatorDisplayTest, DisplayPrintsItsFieldsInOrder) {
  Store();
  const std::string text = qvtest::CapturedDisplay(tabulator_);
  EXPECT_TRUE(qvtest::HoldsInOrder(
      text, {"QvPatternTabulator display start",
             "fNFactorEffects",
             "2",
             "fNAllEffects",
             "4",
             "List of original indices for model effects with factors",
             "Vector of indices for local effects",
             "Vector of parameter offsets for model effects",
             "Vector of bounds for regression parameter indices",
             "2",
             "4",
             "Vector of packed bounds",
             "fNPackedKey",
             "1",
             "fDependVar",
             "0",
             "Dependent categories in data, reference last",
             "Local indices of the dependent categories in consecutive numeration",
             "fVariableType in QvPatternTabulator",
             "fFreqWeightVar",
             "4",
             "fRegrWeightVar",
             "5",
             "fFreqWeightOffset",
             "2",
             "fRegrWeightOffset",
             "3",
             "fNAnalysVars",
             "4",
             "QvRowPatterns display start",
             "fRecordData",
             "QvRowPatterns display end",
             "fRecordCount",
             "fValidCount",
             "fbFactorTableFilled",
             "fbRowPatternsCreated",
             "QvPatternTabulator display end"}))
      << text;
}

TEST_F(PatternTabulatorDisplayTest, DisplayPrintsItsBoundsPacked) {
  Store();
  const std::string text = qvtest::CapturedDisplay(tabulator_);
  // Two levels of A, then four cells: 2 x 4 + 4.
  EXPECT_TRUE(qvtest::HoldsInOrder(text, {"parameter indices: 2 4\n", "packed bounds: 12\n"}))
      << text;
}

TEST_F(PatternTabulatorDisplayTest, DisplayWithoutFactorsHasNoBounds) {
  LogisticSettings slope(kY, 4, {}, {kX});
  LogModelOnTables on(slope.Effect({}, {kX}).Get(), {});
  QvPatternTabulator tabulator(slope.Get(), on.tables, on.validator, on.cancel);
  ASSERT_TRUE(tabulator.FillFactorTables(iter_).IsOK());
  Store(on, tabulator, iter_);
  EXPECT_TRUE(
      qvtest::HoldsInOrder(qvtest::CapturedDisplay(tabulator),
                           {"parameter indices:\n", "packed bounds:\n", "fNPackedKey: 0\n"}));
}

TEST_F(PatternTabulatorDisplayTest, DisplayCountsRecordsReadAndRecordsStored) {
  Rows rows = kCells;
  rows.push_back({0, 0, 0, kMissing, 1, 1});
  LogModelOnTables on(settings_.Get(), {});
  QvPatternTabulator tabulator(settings_.Get(), on.tables, on.validator, on.cancel);
  VectorRecordIter iter(MakeRecords(rows));
  ASSERT_TRUE(tabulator.FillFactorTables(iter).IsOK());
  EXPECT_TRUE(qvtest::HoldsInOrder(qvtest::CapturedDisplay(tabulator),
                                   {"fRecordCount: 6\n", "fValidCount: 5\n"}));
  Store(on, tabulator, iter);
  EXPECT_TRUE(qvtest::HoldsInOrder(qvtest::CapturedDisplay(tabulator),
                                   {"fRecordCount: 11\n", "fValidCount: 5\n"}));
  EXPECT_EQ(tabulator.GetRecordCounts().fRead, 6);
}

TEST_F(PatternTabulatorDisplayTest, DisplayNamesTheRoleOfEveryVariable) {
  Store();
  const std::string text = qvtest::CapturedDisplay(tabulator_);
  EXPECT_TRUE(qvtest::HoldsInOrder(
      text, {"fVariableType in QvPatternTabulator", "Variable index", "Type =", "Dependent",
             "Variable index", "Type =", "Factor", "Variable index", "Type =", "Factor",
             "Variable index", "Type =", "Covariate", "Variable index",
             "Type =", "Frequency Weight", "Variable index", "Type =", "Regression Weight"}))
      << text;
}

TEST_F(PatternTabulatorDisplayTest, DisplayTellsThatAVariableHasNoRole) {
  LogisticSettings gap(kY, 4, {{kA, 2}}, {kX});  // kB, between them, is not in the model
  LogModelOnTables on(gap.Effect({kA}).Get(), {});
  const QvPatternTabulator tabulator(gap.Get(), on.tables, on.validator, on.cancel);
  EXPECT_TRUE(qvtest::HoldsInOrder(qvtest::CapturedDisplay(tabulator),
                                   {"Factor", "Unspecified", "Covariate"}));
}

TEST_F(PatternTabulatorDisplayTest, DisplayNamesTheRoleOfARecordCount) {
  LogisticSettings counted(kY, 4, {{kA, 2}}, {kX});
  counted.Effect({kA});
  ASSERT_TRUE(counted.Get().SetRecordCountVar(kFrequency));
  LogModelOnTables on(counted.Get(), {});
  const QvPatternTabulator tabulator(counted.Get(), on.tables, on.validator, on.cancel);
  EXPECT_TRUE(qvtest::HoldsInOrder(qvtest::CapturedDisplay(tabulator),
                                   {"Covariate", "Type =", "Record Count"}));
}

}  // namespace
