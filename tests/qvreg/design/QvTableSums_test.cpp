#include "qvreg/design/QvTableSums.h"

#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvBytes.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/design/QvCrossProducts.h"
#include "qvreg/design/QvModelDesign.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using Rows = std::vector<std::vector<double>>;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kX = 2;
constexpr int kWeight = 3;
constexpr double kMissing = QvMV::gMissingValue;

/// The first pass of a model of factor A and covariate x, over records {y, A, x, frequency}.
class QvTableSumsTest : public ::testing::Test {
 protected:
  QvTableSumsTest() { settings_.Effect({kA}).Effect({}, {kX}).FrequencyWeight(kWeight); }

  void SetUpTables(QvFactorTables& tables) {
    QvModelDesign(settings_.Get()).SetUpTables(tables, {kX});
  }
  QvTableSums Empty() { return QvTableSums(settings_.Get(), 0); }
  void Fill(QvTableSums& sums, const Rows& rows) {
    SetUpTables(sums.fTables);
    qvtest::VectorRecordIter iter(qvtest::MakeRecords(rows));
    QvRegRecordValidator validator;
    validator.SetRecordInfo({QvConst::QvVarDependent, QvConst::QvVarFactor, QvConst::QvVarCovariate,
                             QvConst::QvVarFreqWeight},
                            {kA}, {3}, 0);
    QvCancelInfo cancel;
    QvRecordPass pass(iter, cancel, validator);
    sums.AddRecords(pass);
  }

  qvtest::LinearSettings settings_{kY, {{kA, 3}}, {kX}};
  /// Five used, two missing, one of a bad weight and one out of range, over both.
  const Rows first_{{1, 0, 2, 1}, {2, 2, 3, 1}, {2, 2, kMissing, 1}, {1, 1, 1, -1}};
  const Rows second_{{1, 2, 5, 1}, {2, -1, 3, 1}, {1, 3, 1, 1}, {4, 0, 4, 1}, {4, 0, 6, 1}};
};

void ExpectAll(const QvRecordCounts& counts) {
  EXPECT_EQ(counts.fRead, 9);
  EXPECT_EQ(counts.fUsed, 5);
  EXPECT_EQ(counts.fMissing, 2);
  EXPECT_EQ(counts.fBadWeight, 1);
  EXPECT_EQ(counts.fOutOfRange, 1);
}

TEST_F(QvTableSumsTest, OfTwoPartsHaveTheRecordsOfBoth) {
  QvTableSums one = Empty();
  QvTableSums other = Empty();
  Fill(one, first_);
  Fill(other, second_);
  EXPECT_TRUE(one.Merge(other));
  ExpectAll(one.fCounts);
  EXPECT_EQ(one.fTables.GetSampleSize(), 5.0);
  EXPECT_DOUBLE_EQ(one.fTables.GetCovariateMeans()[0], 4.0);  // of 2, 3, 5, 4 and 6
}

TEST_F(QvTableSumsTest, OfAnotherPassAreRefused) {
  QvTableSums sums = Empty();
  Fill(sums, first_);
  EXPECT_FALSE(sums.Merge(QvCrossProducts(3)));
  QvTableSums withoutEffects = Empty();
  EXPECT_FALSE(sums.Merge(withoutEffects));
  EXPECT_EQ(sums.fCounts.fRead, 4);
}

TEST_F(QvTableSumsTest, ComeBackFromTheirBytes) {
  QvTableSums sums = Empty();
  Rows all = first_;
  all.insert(all.end(), second_.begin(), second_.end());
  Fill(sums, all);
  QvCommon::QvByteWriter writer;
  sums.Write(writer);
  const QvCommon::QvBytes bytes = writer.TakeMessage(QvCommon::QvMessageType::kAnswer);
  QvTableSums read = Empty();
  SetUpTables(read.fTables);
  QvCommon::QvByteReader reader(bytes, QvCommon::QvMessageType::kAnswer);
  read.Read(reader);
  EXPECT_TRUE(reader.IsAtEnd());
  ExpectAll(read.fCounts);
  EXPECT_EQ(read.fTables.GetSampleSize(), 5.0);
}

TEST_F(QvTableSumsTest, AreGivenToTheModelsOwnTables) {
  QvTableSums sums = Empty();
  Fill(sums, second_);
  QvTableSums own = Empty();
  SetUpTables(own.fTables);
  QvRecordCounts counts;
  EXPECT_TRUE(sums.GiveTo(own.fTables, counts).IsOK());
  EXPECT_EQ(counts.fUsed, 3);
  EXPECT_EQ(own.fTables.GetSampleSize(), 3.0);
  EXPECT_EQ(own.fTables.CreateParameterIndices(), 4) << "the intercept, two levels and x";
}

TEST_F(QvTableSumsTest, WithoutARecordUsedAreNoModel) {
  QvTableSums sums = Empty();
  Fill(sums, {{1, 0, kMissing, 1}});
  QvTableSums own = Empty();
  SetUpTables(own.fTables);
  QvRecordCounts counts;
  EXPECT_EQ(sums.GiveTo(own.fTables, counts).GetCode(), QvStatusCode::kNoRecords);
  EXPECT_EQ(counts.fRead, 1);
}

}  // namespace
