// The ways to stop a run, and what is left of it, for every model.
#include <atomic>
#include <cstddef>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/Cancellation.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvStatus;
using qvtest::CancelAtPoll;
using qvtest::CancellingIter;
using qvtest::MakeRecord;
using qvtest::MakeRecords;
using qvtest::VectorRecordIter;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kX = 2;
constexpr std::size_t kRecords = 9;
const QvStatus kStopped(QvStatusCode::kCancelled, false);

enum class Model { kLinear, kLogistic, kLogisticInMemory };

void PrintTo(Model model, std::ostream* out) {
  *out << (model == Model::kLinear     ? "linear"
           : model == Model::kLogistic ? "logistic"
                                       : "logistic, in memory");
}

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

class ComponentCancelTest : public ::testing::TestWithParam<Model> {
 protected:
  ComponentCancelTest() {
    linear_.Effect({kA}).Effect({}, {kX});
    logistic_.Effect({kA}).Effect({}, {kX}).InMemory(GetParam() == Model::kLogisticInMemory);
    EXPECT_TRUE(logistic_.Get().SetMaxIterations(4));
  }

  /// A component whose settings name the query; null for none.
  std::unique_ptr<IQvRegComponent> Make(QvQueryCancel* query = nullptr) {
    QvRegSettings& settings = GetParam() == Model::kLinear ? linear_.Get() : logistic_.Get();
    settings.SetCancelPointer(query);
    QvRegFactory factory;
    return std::unique_ptr<IQvRegComponent>(factory.CreateRegAlgorithm(settings));
  }
  /// The questions and passes of a run that is not stopped.
  void CountRun(int& polls, int& passes) {
    CancelAtPoll query(0);
    VectorRecordIter data(SmallData());
    ASSERT_TRUE(Make(&query)->BuildModel(data).IsOK());
    polls = query.Polls();
    passes = data.Passes();
  }
  QvStatus Score(IQvRegComponent& component) {
    std::vector<double> values;
    return component.Score(MakeRecord({0, 0, 0}), predicted_, values);
  }

  qvtest::LinearSettings linear_{kY, {{kA, 2}}, {kX}};
  qvtest::LogisticSettings logistic_{kY, 3, {{kA, 2}}, {kX}};
  VectorRecordIter data_{SmallData()};
  double predicted_ = -5.0;
};

TEST_P(ComponentCancelTest, AYesToAnyQuestionEndsTheRun) {
  int polls = 0;
  int passes = 0;
  CountRun(polls, passes);
  for (int poll = 1; poll <= polls; ++poll) {
    SCOPED_TRACE("question " + std::to_string(poll) + " of " + std::to_string(polls));
    CancelAtPoll query(poll);
    const long long live = qvtest::LiveAllocations();
    {
      const auto component = Make(&query);
      IQvRegOutputStats* stats = nullptr;
      EXPECT_TRUE(component->BuildModel(data_) == kStopped);
      EXPECT_EQ(query.Polls(), poll) << "nobody is asked after a yes";
      EXPECT_FALSE(component->IsModelBuilt());
      EXPECT_TRUE(component->GetStatus() == kStopped);
      EXPECT_TRUE(component->GetOutputStats(stats) == kStopped);
      EXPECT_EQ(stats, nullptr);
      EXPECT_TRUE(component->BuildModel(data_) == kStopped) << "a cancelled component stays so";
    }
    EXPECT_EQ(qvtest::LiveAllocations(), live);
  }
}

TEST_P(ComponentCancelTest, TheRecordBehindAYesIsNotFetched) {
  CancelAtPoll query(4);
  const auto component = Make(&query);
  std::vector<QvRegrParameter> parameters;
  EXPECT_TRUE(component->CreateParameters(data_, parameters) == kStopped);
  // A logistic run asks once before its first pass.
  EXPECT_EQ(data_.Position(), GetParam() == Model::kLinear ? 3U : 2U);
  EXPECT_TRUE(parameters.empty());
}

TEST_P(ComponentCancelTest, CancelFromAnotherThreadStopsAnyPassBeforeTheNextRecord) {
  int polls = 0;
  int passes = 0;
  CountRun(polls, passes);
  for (int pass = 1; pass <= passes; ++pass) {
    for (std::size_t record = 1; record < kRecords; ++record) {
      SCOPED_TRACE("pass " + std::to_string(pass) + ", record " + std::to_string(record));
      CancellingIter data(SmallData(), pass, record);
      const auto component = Make();
      data.CancelOn(*component);
      const QvStatus status = component->BuildModel(data);
      EXPECT_TRUE(status == kStopped) << "status " << status.GetCode();
      EXPECT_EQ(data.Passes(), pass);
      EXPECT_EQ(data.Position(), record);
      EXPECT_FALSE(component->IsModelBuilt());
      EXPECT_TRUE(component->GetStatus() == kStopped);
    }
  }
}

TEST_P(ComponentCancelTest, CancelFromAnotherThreadEndsAPassThatWouldNotEnd) {
  EndlessIter data;
  const auto component = Make();
  std::thread canceller([&] {
    while (data.Delivered() < 1000) std::this_thread::yield();
    component->Cancel();
  });
  const QvStatus status = component->BuildModel(data);
  canceller.join();
  EXPECT_TRUE(status == kStopped);
  EXPECT_GE(data.Delivered(), 1000);
}

TEST_P(ComponentCancelTest, CancelBeforeTheRunFetchesNoRecord) {
  const auto component = Make();
  component->Cancel();
  EXPECT_TRUE(component->BuildModel(data_) == kStopped);
  EXPECT_EQ(data_.Position(), 0U);
}

TEST_P(ComponentCancelTest, CancelAfterTheBuildStopsScoringAndKeepsTheModel) {
  const auto component = Make();
  ASSERT_TRUE(component->BuildModel(data_).IsOK());
  component->Cancel();
  EXPECT_TRUE(Score(*component) == kStopped);
  EXPECT_EQ(predicted_, -5.0);
  EXPECT_TRUE(component->IsModelBuilt());
  IQvRegOutputStats* stats = nullptr;
  EXPECT_TRUE(component->GetOutputStats(stats).IsOK());
}

TEST_P(ComponentCancelTest, AYesWhileScoringHoldsForThatRecord) {
  int polls = 0;
  int passes = 0;
  CountRun(polls, passes);
  CancelAtPoll query(polls + 1);
  const auto component = Make(&query);
  ASSERT_TRUE(component->BuildModel(data_).IsOK());
  EXPECT_TRUE(Score(*component) == kStopped);
  EXPECT_EQ(predicted_, -5.0);
  EXPECT_TRUE(component->GetStatus().IsOK()) << "a score's status is not kept";
  EXPECT_TRUE(Score(*component).IsOK());
}

TEST_P(ComponentCancelTest, TheStatisticsCancelTheirComponent) {
  const auto component = Make();
  ASSERT_TRUE(component->BuildModel(data_).IsOK());
  IQvRegOutputStats* stats = nullptr;
  ASSERT_TRUE(component->GetOutputStats(stats).IsOK());
  stats->Cancel();
  EXPECT_TRUE(Score(*component) == kStopped);
}

INSTANTIATE_TEST_SUITE_P(Models, ComponentCancelTest,
                         ::testing::Values(Model::kLinear, Model::kLogistic,
                                           Model::kLogisticInMemory));

class LinearCancelTest : public ComponentCancelTest {};

TEST_P(LinearCancelTest, TheHostIsAskedOncePerRecordAndPivot) {
  constexpr int kPasses = 3;
  constexpr int kParameters = 4;
  int polls = 0;
  int passes = 0;
  CountRun(polls, passes);
  EXPECT_EQ(passes, kPasses);
  EXPECT_EQ(polls, kPasses * static_cast<int>(kRecords) + kParameters);
}

TEST_P(LinearCancelTest, CancelAtTheLastRecordOfTheSecondPassStopsTheSweep) {
  CancellingIter data(SmallData(), 2, kRecords);
  const auto component = Make();
  data.CancelOn(*component);
  EXPECT_TRUE(component->BuildModel(data) == kStopped);
  EXPECT_EQ(data.Passes(), 2);
}

INSTANTIATE_TEST_SUITE_P(Linear, LinearCancelTest, ::testing::Values(Model::kLinear));

class LogisticCancelTest : public ComponentCancelTest {};

TEST_P(LogisticCancelTest, TheHostIsAskedForEveryRecordOfEveryStage) {
  int polls = 0;
  int passes = 0;
  CountRun(polls, passes);
  // With the tabulator, for its stored rows.
  EXPECT_GT(polls, 8 * static_cast<int>(kRecords));
}

TEST_P(LogisticCancelTest, CancelAtAPassesLastRecordLeavesNoHalfDoneModel) {
  int polls = 0;
  int passes = 0;
  CountRun(polls, passes);
  for (int pass = 1; pass <= passes; ++pass) {
    SCOPED_TRACE("pass " + std::to_string(pass));
    CancellingIter data(SmallData(), pass, kRecords);
    const auto component = Make();
    data.CancelOn(*component);
    const QvStatus status = component->BuildModel(data);
    if (status.IsError()) {
      EXPECT_TRUE(status == kStopped);
      EXPECT_FALSE(component->IsModelBuilt());
      continue;
    }
    // Too late to be stopped: then nothing may be missing.
    IQvRegOutputStats* stats = nullptr;
    ASSERT_TRUE(component->GetOutputStats(stats).IsOK());
    const auto* logistic = dynamic_cast<const QvLogOutputStats*>(stats);
    ASSERT_NE(logistic, nullptr);
    double classified = 0.0;
    for (int i = 0; i < 9; ++i) {
      classified += logistic->GetClassificationTable()->GetElem(i / 3, i % 3);
    }
    EXPECT_EQ(classified, static_cast<double>(kRecords)) << "every record is classified";
  }
}

TEST_P(LogisticCancelTest, CancelBetweenTheStagesReadsNoFurtherRecord) {
  const auto component = Make();
  std::vector<QvRegrParameter> parameters;
  ASSERT_TRUE(component->CreateParameters(data_, parameters).IsOK());
  component->Cancel();
  EXPECT_TRUE(component->BuildModel(data_) == kStopped);
  EXPECT_EQ(data_.Passes(), 1);
}

INSTANTIATE_TEST_SUITE_P(Logistic, LogisticCancelTest,
                         ::testing::Values(Model::kLogistic, Model::kLogisticInMemory));

}  // namespace
