// The tabulator's first pass over a host's data.
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/logistic/QvPatternTabulator.h"
#include "tests/qvreg/support/CancelAtPoll.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/StubRegModel.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvStatus;
using qvtest::CancelAtPoll;
using qvtest::LogisticSettings;
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
/// Misbehaves in one pass: announces its second record and delivers none.
class MissingRecordIter : public VectorRecordIter {
 public:
  MissingRecordIter(std::vector<QvCommon::Record> records, int pass)
      : VectorRecordIter(std::move(records)), pass_(pass) {}

  const QvCommon::Record* Next() override {
    return Passes() == pass_ && Position() == 1 ? nullptr : VectorRecordIter::Next();
  }

 private:
  int pass_;
};

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
  MissingRecordIter iter(MakeRecords(kRows), 1);
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

}  // namespace
