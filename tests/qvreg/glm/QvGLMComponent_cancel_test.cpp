// The ways to stop a run, and what is left of it.
#include <atomic>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatus.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/glm/QvGLMComponent.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/CancelAtPoll.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvStatus;
using qvtest::CancelAtPoll;
using qvtest::CancellingIter;
using qvtest::LinearSettings;
using qvtest::MakeRecord;
using qvtest::MakeRecords;
using qvtest::VectorRecordIter;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kX = 2;
constexpr int kRecords = 5;
constexpr int kParameters = 4;
/// One question before every record of three passes, and one before every pivot.
constexpr int kPolls = 3 * kRecords + kParameters;

std::vector<QvCommon::Record> SmallData() {
  return MakeRecords({{1, 0, 0}, {3, 0, 1}, {6, 1, 1}, {8, 1, 2}, {7, 0, 3}});
}

/// Delivers the same record for ever.
class EndlessIter : public VectorRecordIter {
 public:
  EndlessIter() : VectorRecordIter({}) {}

  [[nodiscard]] bool HasMore() const override { return true; }
  const QvCommon::Record* Next() override {
    ++delivered_;
    return &record_;
  }
  [[nodiscard]] long long Delivered() const { return delivered_; }

 private:
  QvCommon::Record record_ = MakeRecord({1, 0, 2});
  std::atomic<long long> delivered_ = 0;
};

class QvGLMCancelTest : public ::testing::Test {
 protected:
  QvGLMCancelTest() { settings_.Effect({kA}).Effect({}, {kX}); }

  LinearSettings settings_{kY, {{kA, 2}}, {kX}};
  VectorRecordIter data_{SmallData()};
};

TEST_F(QvGLMCancelTest, TheHostIsAskedOncePerRecordAndPivot) {
  CancelAtPoll query(0);
  settings_.Get().SetCancelPointer(&query);
  QvGLMComponent component(settings_.Get());
  EXPECT_TRUE(component.BuildModel(data_).IsOK());
  EXPECT_EQ(query.Polls(), kPolls);
}

TEST_F(QvGLMCancelTest, AYesToAnyQuestionEndsTheRunWithStatus1) {
  for (int poll = 1; poll <= kPolls; ++poll) {
    SCOPED_TRACE(poll);
    CancelAtPoll query(poll);
    settings_.Get().SetCancelPointer(&query);
    const long long live = qvtest::LiveAllocations();
    {
      QvGLMComponent component(settings_.Get());
      IQvRegOutputStats* stats = nullptr;
      EXPECT_TRUE(component.BuildModel(data_) == QvStatus(1, false));
      EXPECT_EQ(query.Polls(), poll) << "nobody is asked after a yes";
      EXPECT_FALSE(component.IsModelBuilt());
      EXPECT_EQ(component.GetStatus().GetCode(), 1);
      EXPECT_EQ(component.GetOutputStats(stats).GetCode(), 1);
      EXPECT_EQ(component.BuildModel(data_).GetCode(), 1) << "a cancelled component stays so";
      EXPECT_EQ(stats, nullptr);
    }
    EXPECT_EQ(qvtest::LiveAllocations(), live);
  }
}

TEST_F(QvGLMCancelTest, TheRecordBehindAYesIsNotFetched) {
  CancelAtPoll query(3);
  settings_.Get().SetCancelPointer(&query);
  QvGLMComponent component(settings_.Get());
  std::vector<QvRegrParameter> parameters;
  EXPECT_EQ(component.CreateParameters(data_, parameters).GetCode(), 1);
  EXPECT_EQ(data_.Position(), 2U);
  EXPECT_TRUE(parameters.empty());
}

TEST_F(QvGLMCancelTest, CancelFromAnotherThreadStopsAnyPassBeforeTheNextRecord) {
  for (int pass = 1; pass <= 3; ++pass) {
    for (std::size_t record = 1; record < kRecords; ++record) {
      SCOPED_TRACE("pass " + std::to_string(pass) + ", record " + std::to_string(record));
      CancellingIter data(SmallData(), pass, record);
      QvGLMComponent component(settings_.Get());
      data.CancelOn(component);
      EXPECT_TRUE(component.BuildModel(data) == QvStatus(1, false));
      EXPECT_EQ(data.Passes(), pass);
      EXPECT_EQ(data.Position(), record);
      EXPECT_FALSE(component.IsModelBuilt());
      EXPECT_EQ(component.GetStatus().GetCode(), 1);
    }
  }
}

TEST_F(QvGLMCancelTest, CancelFromAnotherThreadEndsAPassThatWouldNotEnd) {
  EndlessIter data;
  QvGLMComponent component(settings_.Get());
  std::thread canceller([&] {
    while (data.Delivered() < 1000) std::this_thread::yield();
    component.Cancel();
  });
  const QvStatus status = component.BuildModel(data);
  canceller.join();
  EXPECT_TRUE(status == QvStatus(1, false));
  EXPECT_GE(data.Delivered(), 1000);
}

TEST_F(QvGLMCancelTest, CancelAtTheLastRecordOfTheSecondPassStopsTheSweep) {
  CancellingIter data(SmallData(), 2, kRecords);
  QvGLMComponent component(settings_.Get());
  data.CancelOn(component);
  EXPECT_EQ(component.BuildModel(data).GetCode(), 1);
  EXPECT_EQ(data.Passes(), 2);
}

TEST_F(QvGLMCancelTest, CancelBeforeTheRunFetchesNoRecord) {
  QvGLMComponent component(settings_.Get());
  component.Cancel();
  EXPECT_EQ(component.BuildModel(data_).GetCode(), 1);
  EXPECT_EQ(data_.Position(), 0U);
}

TEST_F(QvGLMCancelTest, CancelAfterTheBuildStopsScoringAndKeepsTheModel) {
  QvGLMComponent component(settings_.Get());
  ASSERT_TRUE(component.BuildModel(data_).IsOK());
  component.Cancel();
  double predicted = 5.0;
  std::vector<double> values;
  EXPECT_TRUE(component.Score(MakeRecord({0, 0, 0}), predicted, values) == QvStatus(1, false));
  EXPECT_EQ(predicted, 5.0);
  EXPECT_TRUE(component.IsModelBuilt());
  IQvRegOutputStats* stats = nullptr;
  EXPECT_TRUE(component.GetOutputStats(stats).IsOK());
}

TEST_F(QvGLMCancelTest, AYesWhileScoringHoldsForThatRecord) {
  CancelAtPoll query(kPolls + 1);
  settings_.Get().SetCancelPointer(&query);
  QvGLMComponent component(settings_.Get());
  ASSERT_TRUE(component.BuildModel(data_).IsOK());
  double predicted = 5.0;
  std::vector<double> values;
  EXPECT_EQ(component.Score(MakeRecord({0, 0, 0}), predicted, values).GetCode(), 1);
  EXPECT_EQ(predicted, 5.0);
  EXPECT_TRUE(component.GetStatus().IsOK()) << "a score's status is not kept";
}

TEST_F(QvGLMCancelTest, TheStatisticsCancelTheirComponent) {
  QvGLMComponent component(settings_.Get());
  ASSERT_TRUE(component.BuildModel(data_).IsOK());
  IQvRegOutputStats* stats = nullptr;
  ASSERT_TRUE(component.GetOutputStats(stats).IsOK());
  stats->Cancel();
  double predicted = 5.0;
  std::vector<double> values;
  EXPECT_EQ(component.Score(MakeRecord({0, 0, 0}), predicted, values).GetCode(), 1);
}

}  // namespace
