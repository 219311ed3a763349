// An iterator that does not deliver the same records in every pass: what a component tells of it.
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/glm/QvGLMComponent.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/logistic/QvLogComponent.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kX = 2;
constexpr int kRecords = 30;

/// Leaves the last record out of one pass, counted from 1; 0 for none.
class ForgetfulIter : public qvtest::VectorRecordIter {
 public:
  explicit ForgetfulIter(int pass) : VectorRecordIter(Rows()), pass_(pass) {}

  [[nodiscard]] bool HasMore() const override {
    const std::size_t end = Records().size() - (Passes() == pass_ ? 1 : 0);
    return Position() < end;
  }

 private:
  static std::vector<QvCommon::Record> Rows() {
    std::vector<std::vector<double>> rows;
    rows.reserve(kRecords + 2);
    for (int i = 0; i < kRecords; ++i) {
      rows.push_back(
          {static_cast<double>((i * 7) % 3 % 2), static_cast<double>(i % 2), (i * 11) % 8 - 3.5});
    }
    // Left out by every pass, and so no change.
    rows.insert(rows.begin(), {0.0, -1.0, 1.0});
    rows.insert(rows.begin(), {0.0, 2.0, 1.0});
    return qvtest::MakeRecords(rows);
  }

  int pass_;
};

QvRecordCounts CountsOfALinearRun(int forgetfulPass, int* passes = nullptr) {
  qvtest::LinearSettings settings(kY, {{kA, 2}}, {kX});
  settings.Effect({kA}).Effect({}, {kX});
  QvGLMComponent component(settings.Get());
  ForgetfulIter data(forgetfulPass);
  EXPECT_TRUE(component.BuildModel(data).IsOK());
  IQvRegOutputStats* stats = nullptr;
  EXPECT_TRUE(component.GetOutputStats(stats).IsOK());
  const auto& results = dynamic_cast<const QvGLMOutputStats&>(*stats);
  EXPECT_EQ(results.GetRecordCounts().fUsedLater, component.GetRecordCounts().fUsedLater);
  if (passes != nullptr) *passes = data.Passes();
  return component.GetRecordCounts();
}

QvRecordCounts CountsOfALogisticRun(bool inMemory, int forgetfulPass, int* passes = nullptr) {
  qvtest::LogisticSettings settings(kY, 2, {{kA, 2}}, {kX});
  settings.Effect({kA}).Effect({}, {kX}).InMemory(inMemory);
  EXPECT_TRUE(settings.Get().SetMaxIterations(2));
  QvLogComponent component(settings.Get());
  ForgetfulIter data(forgetfulPass);
  EXPECT_TRUE(component.BuildModel(data).IsOK());
  IQvRegOutputStats* stats = nullptr;
  EXPECT_TRUE(component.GetOutputStats(stats).IsOK());
  const auto& results = dynamic_cast<const QvLogOutputStats&>(*stats);
  EXPECT_EQ(results.GetRecordCounts().fUsedLater, component.GetRecordCounts().fUsedLater);
  if (passes != nullptr) *passes = data.Passes();
  return component.GetRecordCounts();
}

TEST(RecordsChanged, AreNotToldOfWhereEveryPassIsTheSame) {
  EXPECT_EQ(CountsOfALinearRun(0).fUsed, kRecords);
  EXPECT_EQ(CountsOfALinearRun(0).fUsedLater, -1);
  EXPECT_EQ(CountsOfALogisticRun(false, 0).fUsedLater, -1);
  EXPECT_EQ(CountsOfALogisticRun(true, 0).fUsedLater, -1);
  EXPECT_EQ(QvGLMComponent(qvtest::LinearSettings(kY, {}, {}).Get()).GetRecordCounts().fUsedLater,
            -1)
      << "no run at all";
}

TEST(RecordsChanged, OfEveryPassOfALinearModelAreToldOf) {
  int passes = 0;
  CountsOfALinearRun(0, &passes);
  ASSERT_EQ(passes, 3);
  EXPECT_EQ(CountsOfALinearRun(1).fUsed, kRecords - 1);
  EXPECT_EQ(CountsOfALinearRun(1).fUsedLater, kRecords);
  for (int pass = 2; pass <= passes; ++pass) {
    EXPECT_EQ(CountsOfALinearRun(pass).fUsed, kRecords) << pass;
    EXPECT_EQ(CountsOfALinearRun(pass).fUsedLater, kRecords - 1) << pass;
  }
}

TEST(RecordsChanged, OfEveryPassOfALogisticModelAreToldOf) {
  for (const bool inMemory : {false, true}) {
    int passes = 0;
    CountsOfALogisticRun(inMemory, 0, &passes);
    ASSERT_GE(passes, inMemory ? 2 : 5);
    EXPECT_EQ(CountsOfALogisticRun(inMemory, 1).fUsedLater, kRecords);
    for (int pass = 2; pass <= passes; ++pass) {
      EXPECT_EQ(CountsOfALogisticRun(inMemory, pass).fUsed, kRecords) << pass;
      EXPECT_EQ(CountsOfALogisticRun(inMemory, pass).fUsedLater, kRecords - 1) << pass;
    }
  }
}

}  // namespace
