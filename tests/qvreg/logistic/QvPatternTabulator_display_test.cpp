// What the tabulator prints of itself.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/logistic/QvPatternTabulator.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/ModelOnTables.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

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

/// y of four categories; A of two, B of three, of which four cells occur; x; both weights.
const Rows kRows{{0, 0, 0, 1.5, 2, 1},
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
  VectorRecordIter iter_{MakeRecords(kRows)};
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
  Rows rows = kRows;
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

}  // namespace
