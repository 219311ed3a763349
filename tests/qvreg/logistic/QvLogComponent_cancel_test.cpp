// The ways to stop a logistic run, and what is left of it, with the tabulator and without.
#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/logistic/QvLogComponent.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/CancelAtPoll.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvStatus;
using qvtest::CancelAtPoll;
using qvtest::CancellingIter;
using qvtest::LogisticSettings;
using qvtest::MakeRecord;
using qvtest::MakeRecords;
using qvtest::VectorRecordIter;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kX = 2;
constexpr std::size_t kRecords = 9;

std::vector<QvCommon::Record> SmallData() {
  return MakeRecords({{0, 0, 1},
                      {1, 0, 2},
                      {2, 0, 4},
                      {0, 1, 3},
                      {1, 1, 1},
                      {2, 1, 5},
                      {2, 0, 2},
                      {0, 1, 6},
                      {1, 0, 7}});
}

class QvLogCancelTest : public ::testing::TestWithParam<bool> {
 protected:
  QvLogCancelTest() {
    settings_.Effect({kA}).Effect({}, {kX}).InMemory(GetParam());
    EXPECT_TRUE(settings_.Get().SetMaxIterations(4));
  }

  /// The questions and passes of a run that nobody stops.
  void CountRun(int& polls, int& passes) {
    CancelAtPoll query(0);
    settings_.Get().SetCancelPointer(&query);
    VectorRecordIter data(SmallData());
    QvLogComponent component(settings_.Get());
    ASSERT_TRUE(component.BuildModel(data).IsOK());
    polls = query.Polls();
    passes = data.Passes();
    settings_.Get().SetCancelPointer(nullptr);
  }

  LogisticSettings settings_{kY, 3, {{kA, 2}}, {kX}};
  VectorRecordIter data_{SmallData()};
};

TEST_P(QvLogCancelTest, AYesToAnyQuestionEndsTheRunWithStatus1) {
  int polls = 0;
  int passes = 0;
  CountRun(polls, passes);
  // Every stage asks once per record, with the tabulator on its stored rows.
  ASSERT_GT(polls, 8 * static_cast<int>(kRecords));
  for (int poll = 1; poll <= polls; ++poll) {
    SCOPED_TRACE("question " + std::to_string(poll) + " of " + std::to_string(polls));
    CancelAtPoll query(poll);
    settings_.Get().SetCancelPointer(&query);
    const long long live = qvtest::LiveAllocations();
    {
      QvLogComponent component(settings_.Get());
      IQvRegOutputStats* stats = nullptr;
      EXPECT_TRUE(component.BuildModel(data_) == QvStatus(1, false));
      EXPECT_EQ(query.Polls(), poll) << "nobody is asked after a yes";
      EXPECT_FALSE(component.IsModelBuilt());
      EXPECT_EQ(component.GetStatus().GetCode(), 1);
      EXPECT_EQ(component.GetOutputStats(stats).GetCode(), 1);
      EXPECT_EQ(stats, nullptr);
      EXPECT_EQ(component.BuildModel(data_).GetCode(), 1) << "a cancelled component stays so";
    }
    EXPECT_EQ(qvtest::LiveAllocations(), live);
  }
}

TEST_P(QvLogCancelTest, TheRecordBehindAYesIsNotFetched) {
  CancelAtPoll query(4);
  settings_.Get().SetCancelPointer(&query);
  QvLogComponent component(settings_.Get());
  std::vector<QvRegrParameter> parameters;
  EXPECT_EQ(component.CreateParameters(data_, parameters).GetCode(), 1);
  EXPECT_LT(data_.Position(), 4U);
  EXPECT_TRUE(parameters.empty());
}

TEST_P(QvLogCancelTest, CancelFromAnotherThreadStopsAnyPassBeforeTheNextRecord) {
  int polls = 0;
  int passes = 0;
  CountRun(polls, passes);
  for (int pass = 1; pass <= passes; ++pass) {
    for (std::size_t record = 1; record < kRecords; ++record) {
      SCOPED_TRACE("pass " + std::to_string(pass) + ", record " + std::to_string(record));
      CancellingIter data(SmallData(), pass, record);
      QvLogComponent component(settings_.Get());
      data.CancelOn(component);
      const QvStatus status = component.BuildModel(data);
      EXPECT_TRUE(status == QvStatus(1, false)) << "status " << status.GetCode();
      EXPECT_EQ(data.Passes(), pass);
      EXPECT_EQ(data.Position(), record);
      EXPECT_FALSE(component.IsModelBuilt());
    }
  }
}

TEST_P(QvLogCancelTest, CancelAtAPassesLastRecordLeavesNoHalfDoneModel) {
  int polls = 0;
  int passes = 0;
  CountRun(polls, passes);
  for (int pass = 1; pass <= passes; ++pass) {
    SCOPED_TRACE("pass " + std::to_string(pass));
    CancellingIter data(SmallData(), pass, kRecords);
    QvLogComponent component(settings_.Get());
    data.CancelOn(component);
    const QvStatus status = component.BuildModel(data);
    if (status.IsError()) {
      EXPECT_EQ(status.GetCode(), 1);
      EXPECT_FALSE(component.IsModelBuilt());
      continue;
    }
    // Too late to be stopped: then nothing may be missing.
    IQvRegOutputStats* stats = nullptr;
    ASSERT_TRUE(component.GetOutputStats(stats).IsOK());
    const auto* logistic = dynamic_cast<const QvLogOutputStats*>(stats);
    ASSERT_NE(logistic, nullptr);
    double classified = 0.0;
    for (int i = 0; i < 9; ++i) {
      classified += logistic->GetClassificationTable()->GetElem(i / 3, i % 3);
    }
    EXPECT_EQ(classified, static_cast<double>(kRecords)) << "every record is classified";
  }
}

TEST_P(QvLogCancelTest, CancelBeforeTheRunFetchesNoRecord) {
  QvLogComponent component(settings_.Get());
  component.Cancel();
  EXPECT_TRUE(component.BuildModel(data_) == QvStatus(1, false));
  EXPECT_EQ(data_.Position(), 0U);
}

TEST_P(QvLogCancelTest, CancelBetweenTheStagesReadsNoFurtherRecord) {
  QvLogComponent component(settings_.Get());
  std::vector<QvRegrParameter> parameters;
  ASSERT_TRUE(component.CreateParameters(data_, parameters).IsOK());
  component.Cancel();
  EXPECT_TRUE(component.BuildModel(data_) == QvStatus(1, false));
  EXPECT_EQ(data_.Passes(), 1);
}

TEST_P(QvLogCancelTest, AYesWhileScoringHoldsForThatRecord) {
  int polls = 0;
  int passes = 0;
  CountRun(polls, passes);
  CancelAtPoll query(polls + 1);
  settings_.Get().SetCancelPointer(&query);
  QvLogComponent component(settings_.Get());
  ASSERT_TRUE(component.BuildModel(data_).IsOK());
  double predicted = 5.0;
  std::vector<double> values;
  EXPECT_EQ(component.Score(MakeRecord({0, 0, 0}), predicted, values).GetCode(), 1);
  EXPECT_EQ(predicted, 5.0);
  EXPECT_TRUE(component.GetStatus().IsOK()) << "a score's status is not kept";
  EXPECT_TRUE(component.Score(MakeRecord({0, 0, 0}), predicted, values).IsOK());
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutTabulator, QvLogCancelTest, ::testing::Bool());

}  // namespace
