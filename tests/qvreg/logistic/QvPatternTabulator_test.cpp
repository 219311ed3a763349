// The stored rows and the walks over them; QvPatternTabulator_fill_test.cpp has the first pass and
// the display.
#include "qvreg/logistic/QvPatternTabulator.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/logistic/QvAccumStatsLogistic.h"
#include "tests/qvreg/support/Cancellation.h"
#include "tests/qvreg/support/DenseMatrix.h"
#include "tests/qvreg/support/FaultyIter.h"
#include "tests/qvreg/support/ModelOnTables.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/StubRegModel.h"
#include "tests/qvreg/support/VectorRecordIter.h"
#include "tests/qvreg/support/VirtualSlot.h"

namespace {

using QvCommon::QvStatus;
using qvtest::CancelAtPoll;
using qvtest::LogisticSettings;
using qvtest::LogModelOnTables;
using qvtest::MakeRecord;
using qvtest::MakeRecords;
using qvtest::VectorRecordIter;
using Rows = std::vector<std::vector<double>>;
using Doubles = std::vector<double>;
using Ints = std::vector<int>;

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
constexpr int kRecords = 7;

/// Refuses or writes down what the tabulator gives it.
class JournalModel : public qvtest::StubRegModel {
 public:
  Rows rows;
  std::vector<Ints> parameters;
  std::size_t refused = 0;
  /// Asked to stop, as if by another thread, just before the refusal.
  QvCancelInfo* stopped = nullptr;
  /// How many values a row holds.
  std::size_t rowSize = 4;

  bool AddRowToXPrimeX(const double* row, const Ints& indices) override {
    rows.emplace_back(row, row + rowSize);
    parameters.push_back(indices);
    if (rows.size() != refused) return true;
    if (stopped != nullptr) stopped->SetCancel();
    return false;
  }
};

class QvPatternTabulatorTest : public ::testing::Test {
 protected:
  QvPatternTabulatorTest() {
    settings_.Effect({kA}).Effect({}, {kX}).Effect({kA, kB}).FrequencyWeight(kFrequency);
    settings_.RegressionWeight(kRegression);
  }

  /// Factor tables filled beforehand, the tabulator on top of them.
  struct Bench {
    explicit Bench(const QvLogRegSettings& settings, const Rows& rows = kRows)
        : on(settings, rows), tabulator(settings, on.tables, on.validator, on.cancel) {}

    LogModelOnTables on;
    QvPatternTabulator tabulator;
  };
  std::unique_ptr<Bench> Make(const Rows& rows = kRows) {
    return std::make_unique<Bench>(settings_.Get(), rows);
  }
  /// As the algorithm leaves it: the model initialised for stored rows, the patterns created.
  std::unique_ptr<Bench> Stored(const Rows& rows = kRows) {
    auto bench = Make(rows);
    bench->on.model.SetLayouts(bench->on.RecordLayout(), bench->tabulator.GetRowLayout());
    EXPECT_FALSE(bench->on.Initialize().IsError());
    VectorRecordIter iter(MakeRecords(rows));
    EXPECT_TRUE(bench->tabulator.CreateRowPatterns(iter, bench->on.model).IsOK());
    return bench;
  }

  LogisticSettings settings_{kY, 4, {{kA, 2}, {kB, 3}}, {kX}};
};

TEST_F(QvPatternTabulatorTest, AStoredRowHoldsLocalIndexCovariatesAndWeights) {
  const QvRowLayout layout = Make()->tabulator.GetRowLayout();
  EXPECT_EQ(layout.fDependent, 0);
  EXPECT_EQ(layout.fCovariates, Ints{1});
  EXPECT_EQ(layout.fFrequencyWeight, 2);
  EXPECT_EQ(layout.fRegressionWeight, 3);
}

TEST_F(QvPatternTabulatorTest, WeightsThatAreNotSetAreNotStored) {
  LogisticSettings plain(kY, 4, {}, {kX, kFrequency});
  plain.RegressionWeight(kRegression);
  const QvRowLayout layout = Bench(plain.Get()).tabulator.GetRowLayout();
  EXPECT_EQ(layout.fCovariates, (Ints{1, 2}));
  EXPECT_EQ(layout.fFrequencyWeight, -1);
  EXPECT_EQ(layout.fRegressionWeight, 3);
}

TEST_F(QvPatternTabulatorTest, KeepsOnePatternPerCombinationOfLevels) {
  EXPECT_EQ(Stored()->tabulator.GetPatternCount(), 4);
}

TEST_F(QvPatternTabulatorTest, WithoutFactorEffectsEveryRecordIsOfOnePattern) {
  LogisticSettings slopes(kY, 4, {{kA, 2}, {kB, 3}}, {kX});
  slopes.Effect({}, {kX});
  Bench bench(slopes.Get());
  bench.on.Initialize();
  VectorRecordIter iter(MakeRecords(kRows));
  ASSERT_TRUE(bench.tabulator.CreateRowPatterns(iter, bench.on.model).IsOK());
  EXPECT_EQ(bench.tabulator.GetPatternCount(), 1);
}

TEST_F(QvPatternTabulatorTest, GivesEveryRowWithThePatternsParameters) {
  const auto bench = Stored();
  JournalModel journal;
  ASSERT_TRUE(bench->tabulator.AddRowsToXPrimeX(journal).IsOK());
  ASSERT_EQ(journal.rows.size(), static_cast<std::size_t>(kRecords));
  // Parameters: intercept 0; A 1, 2; x 3; cells (0, 0) 4, (0, 1) 5, (1, 1) 6, (1, 2) 7. Codes 0, 2
  // and 3 are local 0, 1 and 2.
  std::vector<std::pair<Ints, Doubles>> actual;
  for (std::size_t i = 0; i < journal.rows.size(); ++i) {
    actual.emplace_back(journal.parameters[i], journal.rows[i]);
  }
  std::vector<std::pair<Ints, Doubles>> expected{
      {{0, 1, 3, 4}, {0, 1.5, 2, 1}},  {{0, 1, 3, 5}, {1, -1, 1, 0.5}},
      {{0, 2, 3, 6}, {2, 0, 3, 1}},    {{0, 1, 3, 4}, {0, 2.5, 1, 1}},
      {{0, 2, 3, 7}, {2, 4, 1, 2}},    {{0, 2, 3, 6}, {1, 1, 1, 1}},
      {{0, 1, 3, 5}, {0, 0.5, 1, 0.5}}};
  std::sort(actual.begin(), actual.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(actual, expected);
}

TEST_F(QvPatternTabulatorTest, RowsOfAPatternKeepTheOrderOfTheirArrival) {
  const auto bench = Stored();
  JournalModel journal;
  bench->tabulator.AddRowsToXPrimeX(journal);
  Doubles ofFirstCell;
  for (std::size_t i = 0; i < journal.rows.size(); ++i) {
    if (journal.parameters[i].back() == 4) ofFirstCell.push_back(journal.rows[i][1]);
  }
  EXPECT_EQ(ofFirstCell, (Doubles{1.5, 2.5}));
}

TEST_F(QvPatternTabulatorTest, ManyPatternsAllKeepTheirParameters) {
  constexpr int kLevels = 40;
  LogisticSettings wide(kY, 2, {{kA, kLevels}, {kB, kLevels}}, {});
  wide.Effect({kA}).Effect({kB}).Effect({kA, kB});
  Rows rows;
  for (int i = 0; i < kLevels * kLevels; i += 3) {
    rows.push_back({static_cast<double>(i % 2), static_cast<double>(i / kLevels),
                    static_cast<double>(i % kLevels)});
  }
  Bench bench(wide.Get(), rows);
  bench.on.model.SetLayouts(bench.on.RecordLayout(), bench.tabulator.GetRowLayout());
  bench.on.Initialize();
  VectorRecordIter iter(MakeRecords(rows));
  ASSERT_TRUE(bench.tabulator.CreateRowPatterns(iter, bench.on.model).IsOK());
  EXPECT_EQ(bench.tabulator.GetPatternCount(), static_cast<int>(rows.size()));

  JournalModel journal;
  journal.rowSize = 1;
  bench.tabulator.AddRowsToXPrimeX(journal);
  std::vector<Ints> expected;
  for (const Doubles& row : rows) {
    bool ok = false;
    expected.push_back(bench.on.tables.GetRowParameterIndices(row.data(), ok));
  }
  std::sort(expected.begin(), expected.end());
  std::sort(journal.parameters.begin(), journal.parameters.end());
  EXPECT_EQ(journal.parameters, expected);
}

TEST_F(QvPatternTabulatorTest, LeavesOutWhatTheFirstPassLeftOut) {
  Rows rows = kRows;
  rows.push_back({0, 0, 0, kMissing, 1, 1});
  rows.push_back({0, 0, 0, 1, 0, 1});
  rows.push_back({0, 2, 0, 1, 1, 1});
  rows.push_back({4, 0, 0, 1, 1, 1});
  auto bench = Make();
  bench->on.Initialize();
  VectorRecordIter iter(MakeRecords(rows));
  ASSERT_TRUE(bench->tabulator.CreateRowPatterns(iter, bench->on.model).IsOK());
  JournalModel journal;
  bench->tabulator.AddRowsToXPrimeX(journal);
  EXPECT_EQ(journal.rows.size(), static_cast<std::size_t>(kRecords));
}

TEST_F(QvPatternTabulatorTest, ARecordThatTheTablesDoNotHoldAnswers313) {
  const auto bench = Make();
  bench->on.Initialize();
  Rows rows = kRows;
  rows.push_back({0, 1, 0, 1, 1, 1});  // a cell that the first pass did not see
  VectorRecordIter iter(MakeRecords(rows));
  EXPECT_TRUE(bench->tabulator.CreateRowPatterns(iter, bench->on.model) == QvStatus(313, false));
}

TEST_F(QvPatternTabulatorTest, ADependentThatTheFirstPassDidNotSeeAnswers313) {
  const auto bench = Make();
  bench->on.Initialize();
  Rows rows = kRows;
  rows.push_back({1, 0, 0, 1, 1, 1});
  VectorRecordIter iter(MakeRecords(rows));
  EXPECT_TRUE(bench->tabulator.CreateRowPatterns(iter, bench->on.model) == QvStatus(313, false));
}

TEST_F(QvPatternTabulatorTest, StoringTwiceAnswers313) {
  const auto bench = Stored();
  VectorRecordIter iter(MakeRecords(kRows));
  EXPECT_TRUE(bench->tabulator.CreateRowPatterns(iter, bench->on.model) == QvStatus(313, false));
  EXPECT_EQ(iter.Passes(), 0);
}

TEST_F(QvPatternTabulatorTest, StoringFromAnEmptyIteratorAnswers307) {
  const auto bench = Make();
  bench->on.Initialize();
  VectorRecordIter iter({});
  EXPECT_TRUE(bench->tabulator.CreateRowPatterns(iter, bench->on.model) == QvStatus(307, false));
}

TEST_F(QvPatternTabulatorTest, StoringAnswersTheErrorsOfAPass) {
  const auto missing = Make();
  missing->on.Initialize();
  qvtest::FaultyIter iter(MakeRecords(kRows), qvtest::Fault::kNull, 1);
  EXPECT_TRUE(missing->tabulator.CreateRowPatterns(iter, missing->on.model) ==
              QvStatus(312, false));

  const auto shorter = Make();
  shorter->on.Initialize();
  VectorRecordIter shortIter(MakeRecords({{0, 0, 0, 1, 1, 1}, {0, 0}}));
  EXPECT_TRUE(shorter->tabulator.CreateRowPatterns(shortIter, shorter->on.model) ==
              QvStatus(315, false));

  const auto cancelled = Make();
  cancelled->on.Initialize();
  CancelAtPoll query(2);
  cancelled->on.cancel.SetCancelPtr(&query);
  VectorRecordIter goodIter(MakeRecords(kRows));
  EXPECT_TRUE(cancelled->tabulator.CreateRowPatterns(goodIter, cancelled->on.model) ==
              QvStatus(1, false));
}

TEST_F(QvPatternTabulatorTest, WithoutStoredRowsTheWalksAnswer303And313) {
  const auto forMatrix = Make();
  JournalModel journal;
  EXPECT_TRUE(forMatrix->tabulator.AddRowsToXPrimeX(journal) == QvStatus(303, false));
  EXPECT_TRUE(Make()->tabulator.ClassifyRows(forMatrix->on.model) == QvStatus(303, false));
  EXPECT_TRUE(Make()->tabulator.ComputeStatsForOptimizer(false) == QvStatus(313, false));
  EXPECT_TRUE(journal.rows.empty());
}

TEST_F(QvPatternTabulatorTest, ARowThatTheModelRefusesAnswers313AndStops) {
  const auto bench = Stored();
  JournalModel journal;
  journal.refused = 3;
  EXPECT_TRUE(bench->tabulator.AddRowsToXPrimeX(journal) == QvStatus(313, false));
  EXPECT_EQ(journal.rows.size(), 3U);
  EXPECT_TRUE(bench->tabulator.AddRowsToXPrimeX(journal) == QvStatus(313, false));
  EXPECT_EQ(journal.rows.size(), 3U) << "nothing is done while the status is an error";
}

TEST_F(QvPatternTabulatorTest, AWalkIsCancelledBeforeAnyRow) {
  for (int poll = 1; poll <= kRecords; ++poll) {
    SCOPED_TRACE(poll);
    const auto bench = Stored();
    CancelAtPoll query(poll);
    bench->on.cancel.SetCancelPtr(&query);
    JournalModel journal;
    EXPECT_TRUE(bench->tabulator.AddRowsToXPrimeX(journal) == QvStatus(1, false));
    EXPECT_LT(journal.rows.size(), static_cast<std::size_t>(poll));
    EXPECT_TRUE(bench->tabulator.ComputeStatsForOptimizer(true) == QvStatus(1, false))
        << "the first error is kept";
  }
}

TEST_F(QvPatternTabulatorTest, ARowRefusedByAModelThatIsAskedToStopAnswers1) {
  const auto bench = Stored();
  JournalModel journal;
  journal.refused = 2;
  journal.stopped = &bench->on.cancel;
  EXPECT_TRUE(bench->tabulator.AddRowsToXPrimeX(journal) == QvStatus(1, false));
}

TEST_F(QvPatternTabulatorTest, AccumulatesWhatTheRecordsHold) {
  const auto bench = Stored();
  ASSERT_TRUE(bench->tabulator.AddRowsToXPrimeX(bench->on.model).IsOK());
  ASSERT_FALSE(bench->on.model.FindRedundancy().IsError());
  const int p = bench->on.model.GetNumBasicNonRedundant();
  const Doubles beta(static_cast<std::size_t>(2 * p), 0.25);
  QvAccumStatsLogistic stored(settings_.Get(), p, 3, beta);
  bench->tabulator.SetStatsModel(&stored, &bench->on.model);
  bench->tabulator.ResetAccumStats(QvConst::QvMethodNewtonRaphson, true);
  ASSERT_TRUE(bench->tabulator.ComputeStatsForOptimizer(false).IsOK());

  // The same from the records.
  LogModelOnTables direct(settings_.Get(), kRows);
  direct.FindRedundancy();
  QvAccumStatsLogistic sums(settings_.Get(), p, 3, beta);
  for (const Doubles& row : kRows) {
    int count = 0;
    Ints indices;
    Doubles values;
    ASSERT_TRUE(direct.model.GetSparseRow(row.data(), count, indices, values));
    const int local =
        direct.model.GetDependCategoryLocalIndices()[static_cast<std::size_t>(row[0])];
    ASSERT_EQ(sums.UpdateForRow(indices, values, local, row[kFrequency] * row[kRegression], false),
              0);
  }
  EXPECT_NEAR(stored.GetLL(), sums.GetLL(), 1e-13);
  for (std::size_t i = 0; i < sums.GetScores().size(); ++i) {
    EXPECT_NEAR(stored.GetScores()[i], sums.GetScores()[i], 1e-13);
  }
  int rows = 0;
  int invalid = 0;
  double weight = 0.0;
  stored.GetCounts(rows, invalid, weight);
  EXPECT_EQ(rows, kRecords);
  EXPECT_EQ(weight, 10.0);
}

TEST_F(QvPatternTabulatorTest, ARowThatTheStatisticsRefuseAnswers313) {
  const auto bench = Stored();
  ASSERT_TRUE(bench->tabulator.AddRowsToXPrimeX(bench->on.model).IsOK());
  bench->on.model.FindRedundancy();
  const Doubles beta(20, 1e308);  // predictors beyond a double
  QvAccumStatsLogistic stats(settings_.Get(), bench->on.model.GetNumBasicNonRedundant(), 3, beta);
  bench->tabulator.SetStatsModel(&stats, &bench->on.model);
  bench->tabulator.ResetAccumStats(QvConst::QvMethodNewtonRaphson, false);
  EXPECT_TRUE(bench->tabulator.ComputeStatsForOptimizer(false) == QvStatus(313, false));
  EXPECT_TRUE(bench->tabulator.ComputeStatsForOptimizer(false) == QvStatus(313, false));
  bench->tabulator.CleanStatsModel();
  EXPECT_TRUE(bench->tabulator.GetWarnings().empty());
}

TEST_F(QvPatternTabulatorTest, ClassifiesTheStoredRows) {
  const auto bench = Stored();
  ASSERT_TRUE(bench->tabulator.AddRowsToXPrimeX(bench->on.model).IsOK());
  bench->on.model.FindRedundancy();
  ASSERT_TRUE(bench->tabulator.ClassifyRows(bench->on.model).IsOK());
  ASSERT_TRUE(bench->on.model.FinishClassification().IsOK());
  // All predictors are 0 and categories 0 and 3 weigh 4 each, with 3 records of code 0 and 2 of 3:
  // the prediction is always code 0, local 0.
  const QvCommon::QvRectMatrix& table = *bench->on.model.GetClassificationTable();
  const Doubles expected{4, 2, 4};
  for (int observed = 0; observed < 3; ++observed) {
    EXPECT_EQ(table.GetElem(observed, 0), expected[static_cast<std::size_t>(observed)]);
    EXPECT_EQ(table.GetElem(observed, 1), 0.0);
    EXPECT_EQ(table.GetElem(observed, 2), 0.0);
  }
}

TEST_F(QvPatternTabulatorTest, CategoryCodesAreRounded) {
  const auto bench = Make();
  bench->on.Initialize();
  VectorRecordIter iter(MakeRecords(kRows));
  ASSERT_TRUE(bench->tabulator.CreateRowPatterns(iter, bench->on.model).IsOK());
  EXPECT_TRUE(bench->tabulator.AddRecord(MakeRecord({2.7, 0, 0, 42, 1, 1})));
  JournalModel journal;
  bench->tabulator.AddRowsToXPrimeX(journal);
  const auto added = std::find_if(journal.rows.begin(), journal.rows.end(),
                                  [](const Doubles& row) { return row[1] == 42.0; });
  ASSERT_NE(added, journal.rows.end());
  EXPECT_EQ((*added)[0], 2.0) << "code 3 is local 2";
}

TEST_F(QvPatternTabulatorTest, WholeCodesAreTheSameRoundedAndTruncated) {
  const auto bench = Stored();
  JournalModel journal;
  bench->tabulator.AddRowsToXPrimeX(journal);
  Doubles locals;
  for (const Doubles& row : journal.rows) locals.push_back(row[0]);
  std::sort(locals.begin(), locals.end());
  EXPECT_EQ(locals, (Doubles{0, 0, 0, 1, 1, 2, 2}));
}

TEST(QvPatternTabulator, DeclaresItsOwnOperationsBehindThoseOfTheHandler) {
  if (!qvtest::kKnowsVirtualSlots) GTEST_SKIP() << "the compiler's tables are not known";
  std::size_t slot = qvtest::VirtualSlot(&IQvDataHandler::Display) + 1;
  EXPECT_EQ(qvtest::VirtualSlot(&QvPatternTabulator::FillFactorTables), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&QvPatternTabulator::CreateRowPatterns), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&QvPatternTabulator::AddRowsToXPrimeX), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&QvPatternTabulator::AddRecord), slot++);
}

}  // namespace
