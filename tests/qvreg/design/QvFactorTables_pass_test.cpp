#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/design/QvFactorTables.h"
#include "tests/qvreg/support/BlockIter.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvStatus;
using qvtest::VectorRecordIter;
using Rows = std::vector<std::vector<double>>;

constexpr int kA = 0;
constexpr int kX = 1;
constexpr int kWeight = 2;
constexpr double kMissing = QvMV::gMissingValue;

/// A factor A of two categories, a covariate and a frequency weight.
class QvFactorPassTest : public ::testing::Test {
 protected:
  QvFactorPassTest() {
    tables_.SetModelEffectFactors({{}, {kA}}, {kA});
    tables_.SetCovariates({kX});
    validator_.SetRecordInfo(
        {QvConst::QvVarFactor, QvConst::QvVarCovariate, QvConst::QvVarFreqWeight}, {kA}, {2}, 0);
  }

  QvStatus Fill(const Rows& rows) {
    VectorRecordIter iter(qvtest::MakeRecords(rows));
    QvRecordPass pass(iter, cancel_, validator_);
    return FillFactorTables(pass, tables_, counts_);
  }

  QvFactorTables tables_{{kA}, {2}, kWeight, -1, 0, 0, -1, 0.0, QvConst::QvOffsetNone};
  QvCancelInfo cancel_;
  QvRegRecordValidator validator_;
  QvRecordCounts counts_;
};

TEST_F(QvFactorPassTest, CountsWhatBecameOfEveryRecord) {
  const QvStatus status = Fill({{0, 1.5, 2},       // used
                                {1, kMissing, 1},  // missing number
                                {-1, 3, 1},        // missing category
                                {1, 3, 0},         // no weight
                                {1, 3, -2},        // bad weight
                                {2, 3, 1},         // a code equal to the number of categories
                                {1, 4.5, 1}});     // used
  EXPECT_TRUE(status.IsOK());
  EXPECT_EQ(counts_.fRead, 7);
  EXPECT_EQ(counts_.fUsed, 2);
  EXPECT_EQ(counts_.fMissing, 2);
  EXPECT_EQ(counts_.fBadWeight, 2);
  EXPECT_EQ(counts_.fOutOfRange, 1);
}

TEST_F(QvFactorPassTest, OnlyUsedRecordsReachTheTables) {
  Fill({{0, 1.5, 2}, {1, kMissing, 1}, {1, 3, 0}, {1, 4.5, 1}});
  EXPECT_EQ(tables_.GetSampleSize(), 2.0);
  EXPECT_EQ(tables_.GetTotalWeight(), 3.0);
  EXPECT_EQ(tables_.GetCovariateMeans(), std::vector<double>{2.5});  // (2 x 1.5 + 4.5) / 3
}

TEST_F(QvFactorPassTest, WithoutARecordAnswers307) {
  EXPECT_TRUE(Fill({}) == QvStatus(307, false));
  EXPECT_EQ(counts_.fRead, 0);
}

TEST_F(QvFactorPassTest, WithoutAUsedRecordAnswers307) {
  EXPECT_TRUE(Fill({{0, kMissing, 1}, {2, 1, 1}, {0, 1, 0}}) == QvStatus(307, false));
  EXPECT_EQ(counts_.fRead, 3);
  EXPECT_EQ(counts_.fUsed, 0);
}

TEST_F(QvFactorPassTest, AnErrorOfTheValidatorIsTheAnswerAndKeepsTheCounts) {
  EXPECT_TRUE(Fill({{0, 1, 1}, {0.25, 1, 1}, {0, 1, 1}}) == QvStatus(316, false));
  EXPECT_EQ(counts_.fRead, 1);
  EXPECT_EQ(counts_.fUsed, 1);
}

TEST_F(QvFactorPassTest, AShortRecordAnswers315) {
  EXPECT_TRUE(Fill({{0, 1, 1}, {0, 1}}) == QvStatus(315, false));
}

/// The covariates of the records that a later pass hands over until one is refused; none is with
/// `refused` 0.
class QvLaterPassTest : public QvFactorPassTest {
 protected:
  QvStatus Walk(const Rows& rows, std::size_t refused = 0) {
    VectorRecordIter iter(qvtest::MakeRecords(rows));
    QvRecordPass pass(iter, cancel_, validator_);
    return ForEachCountedRecord(pass, tables_, counts_, [&](const double* record) {
      seen_.push_back(record[kX]);
      return seen_.size() != refused;
    });
  }

  std::vector<double> seen_;
};

TEST_F(QvLaterPassTest, HandsOverWhatTheFirstPassCounted) {
  EXPECT_TRUE(Walk({{0, 1.5, 2}, {1, kMissing, 1}, {1, 3, 0}, {2, 3, 1}, {1, 4.5, 1}}).IsOK());
  EXPECT_EQ(seen_, (std::vector<double>{1.5, 4.5}));
}

TEST_F(QvLaterPassTest, NotesTheFirstThatUsesAnotherNumberOfRecords) {
  EXPECT_TRUE(Fill({{0, 1, 1}, {1, 2, 1}}).IsOK());
  EXPECT_TRUE(Walk({{0, 1, 1}, {1, kMissing, 1}, {1, 2, 1}}).IsOK());
  EXPECT_EQ(counts_.fUsedLater, -1);
  EXPECT_FALSE(Walk({{0, 1, 1}, {1, 2, 1}, {1, 3, 1}}, 5).IsOK()) << "and so is no whole pass";
  EXPECT_EQ(counts_.fUsedLater, -1);
  for (const Rows& rows : {Rows{{0, 1, 1}}, Rows{{0, 1, 1}, {0, 1, 1}, {0, 1, 1}}}) {
    EXPECT_TRUE(Walk(rows).IsOK());
    EXPECT_EQ(counts_.fUsedLater, 1);
  }
}

TEST_F(QvLaterPassTest, EndsAtARefusalWith313) {
  EXPECT_TRUE(Walk({{0, 1, 1}, {0, 2, 1}, {0, 3, 1}}, 2) == QvStatus(313, false));
  EXPECT_EQ(seen_, (std::vector<double>{1, 2}));
}

TEST_F(QvLaterPassTest, EndsWith1WhereTheRefusalComesFromAStop) {
  VectorRecordIter iter(qvtest::MakeRecords({{0, 1, 1}, {0, 2, 1}}));
  QvRecordPass pass(iter, cancel_, validator_);
  const QvStatus status = ForEachCountedRecord(pass, tables_, counts_, [&](const double*) {
    cancel_.SetCancel();
    return false;
  });
  EXPECT_TRUE(status == QvStatus(1, false));
}

using Panels = std::vector<std::vector<double>>;

/// The covariates of the records that a pass by panels of at most three hands over, panel by panel,
/// until one is refused; none is with `refused` 0.
class QvPanelPassTest : public QvFactorPassTest {
 protected:
  QvStatus Walk(QvCommon::MultiPassRecordIter& iter, std::size_t refused = 0) {
    QvRecordPass pass(iter, cancel_, validator_);
    return ForEachCountedPanel<3>(pass, tables_, counts_, [&](const auto& records) {
      panels_.emplace_back();
      for (const double* record : records) panels_.back().push_back(record[kX]);
      return panels_.size() != refused;
    });
  }

  const std::vector<QvCommon::Record> records_ = qvtest::MakeRecords(
      {{0, 1, 1}, {1, 2, 1}, {1, kMissing, 1}, {1, 3, 1}, {0, 4, 1}, {2, 5, 1}, {0, 6, 1}});
  Panels panels_;
};

TEST_F(QvPanelPassTest, HandsOverTheCountedRecordsOfABlockTogether) {
  const std::vector<Panels> expected{{{1}, {2}, {3}, {4}, {6}},
                                     {{1, 2}, {3}, {4}, {6}},
                                     {{1, 2}, {3, 4}, {6}},
                                     {{1, 2, 3}, {4, 6}},
                                     {{1, 2, 3}, {4}, {6}}};
  for (std::size_t rows = 1; rows <= expected.size(); ++rows) {
    panels_.clear();
    qvtest::BlockIter iter(records_, rows);
    EXPECT_TRUE(Walk(iter).IsOK());
    EXPECT_EQ(panels_, expected[rows - 1]) << rows;
  }
  panels_.clear();
  VectorRecordIter singly(records_);
  EXPECT_TRUE(Walk(singly).IsOK());
  EXPECT_EQ(panels_, expected.front());
}

TEST_F(QvPanelPassTest, NotesAnotherNumberOfRecords) {
  Fill({{0, 1, 1}, {1, 2, 1}});
  qvtest::BlockIter iter(records_, 4);
  EXPECT_TRUE(Walk(iter).IsOK());
  EXPECT_EQ(counts_.fUsedLater, 5);
}

TEST_F(QvPanelPassTest, EndsAtARefusalWith313) {
  for (const std::size_t refused : {std::size_t{1}, std::size_t{2}}) {
    panels_.clear();
    qvtest::BlockIter iter(records_, 7);
    EXPECT_TRUE(Walk(iter, refused) == QvStatus(313, false));
    EXPECT_EQ(panels_.size(), refused);
  }
}

TEST_F(QvFactorPassTest, ACancelledPassAnswers1EvenWithoutAUsedRecord) {
  cancel_.SetCancel();
  EXPECT_TRUE(Fill({{0, 1, 1}}) == QvStatus(1, false));
}

}  // namespace
