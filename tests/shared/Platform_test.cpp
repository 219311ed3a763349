// What differs between systems in the types and clocks that the interface uses.

#include <algorithm>
#include <chrono>
#include <ctime>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "tests/shared/SmallModel.h"

namespace {

TEST(Platform, AStatusCarriesEveryLongThatTheSystemHas) {
#if defined(_WIN32)
  static_assert(sizeof(long) == 4);
#else
  static_assert(sizeof(long) == 8);
#endif
  for (const long value :
       {std::numeric_limits<long>::min(), -1L, 0L, 316L, std::numeric_limits<long>::max()}) {
    QvCommon::QvStatus status(value, true);
    EXPECT_EQ(status.GetCode(), value);
    ASSERT_TRUE(status.SetDiscreteDatum(1, value));
    long got = 42;
    EXPECT_TRUE(status.GetDiscreteDatum(1, got));
    EXPECT_EQ(got, value);
  }
}

TEST(Platform, ADatumOfABadRecordIsTheSameOnEverySystem) {
  qvtest::SmallModel model(QvConst::QvRegModelLogistic);
  std::vector<QvCommon::Record> rows = qvtest::SmallModel::Records();
  rows[7][1] = 4294967297.0;  // 2^32 + 1, which 32 bits would take for 1
  qvtest::VectorRecordIter records(rows);
  const auto component = model.MakeComponent();
  const QvCommon::QvStatus status = component->BuildModel(records);
  EXPECT_EQ(status.GetCode(), QvStatusCode::kBadCategory);
  long variable = -1;
  double value = 0.0;
  EXPECT_TRUE(status.GetDiscreteDatum(1, variable));
  EXPECT_TRUE(status.GetScaleDatum(1, value));
  EXPECT_EQ(variable, 1);
  EXPECT_EQ(value, 4294967297.0);
}

/// Waits on the library's own clock, and takes down the seconds that it reports.
class WaitingListener : public ProgressListener {
 public:
  void ReportProgress(ProgressReport* report) override {
    seconds.push_back(report->ScaleMeasure("time"));
    const std::clock_t end = std::clock() + CLOCKS_PER_SEC / 20;
    while (std::clock() < end) {
    }
  }

  std::vector<double> seconds;
};

TEST(Platform, TheReportedTimeIsInSecondsWhateverTheTickOfTheClock) {
  WaitingListener listener;
  qvtest::SmallModel model(QvConst::QvRegModelLogistic);
  model.Settings().SetProgressListener(&listener);
  qvtest::VectorRecordIter records(qvtest::SmallModel::Records());
  const auto component = model.MakeComponent();
  const auto begin = std::chrono::steady_clock::now();
  ASSERT_TRUE(component->BuildModel(records).IsOK());
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - begin;

  ASSERT_GE(listener.seconds.size(), 3U);
  for (std::size_t i = 1; i < listener.seconds.size(); ++i) {
    EXPECT_GE(listener.seconds[i] - listener.seconds[i - 1], 0.049) << "report " << i;
  }
  EXPECT_LE(listener.seconds.back(), wall.count() + 0.05);
}

}  // namespace
