#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvBytes.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/QvPassMessages.h"
#include "qvreg/parallel/QvPassProcessor.h"
#include "qvreg/parallel/QvThreadRunner.h"
#include "tests/qvreg/support/FewThreads.h"
#include "tests/qvreg/support/PassRequests.h"
#include "tests/qvreg/support/RandomModels.h"
#include "tests/qvreg/support/UnusualParts.h"
#include "tests/qvreg/support/VectorParts.h"

namespace {

using QvCommon::QvBytes;
using QvCommon::QvStatus;
using qvtest::ModelKind;
using qvtest::RandomRecords;
using qvtest::RequestsOf;
using qvtest::VectorParts;
using Iter = std::unique_ptr<QvCommon::MultiPassRecordIter>;

/// The request of a linear model's second pass over these records.
QvBytes ProductsOf(const std::vector<QvCommon::Record>& records) {
  return RequestsOf(ModelKind::kLinear, records)[1];
}

/// The answer of a pass, which has to succeed.
QvBytes AnswerOf(QvThreadRunner& runner, const QvBytes& request) {
  QvCancelInfo cancel;
  QvBytes answer;
  EXPECT_EQ(runner.Run(request, cancel, answer), QvStatus());
  return answer;
}

QvBytes AnswerOnOneThread(IQvRecordParts& parts, const QvBytes& request) {
  QvThreadRunner runner(parts, 1);
  return AnswerOf(runner, request);
}

/// Parts of which a test says what is done as they are opened, by the thread that opens.
class ActingParts : public VectorParts {
 public:
  using VectorParts::VectorParts;
  [[nodiscard]] Iter OpenPart(int part) override {
    {
      const std::lock_guard lock(lock_);
      ++opened_;
    }
    changed_.notify_all();
    if (act_) act_(part);
    return VectorParts::OpenPart(part);
  }
  /// Waits until so many parts have been opened, but not forever.
  void WaitUntilOpened(int count) {
    std::unique_lock lock(lock_);
    const bool isOpened =
        changed_.wait_for(lock, std::chrono::seconds(20), [&] { return opened_ >= count; });
    EXPECT_TRUE(isOpened) << opened_ << " of " << count;
  }
  [[nodiscard]] int Opened() {
    const std::lock_guard lock(lock_);
    return opened_;
  }

  std::function<void(int)> act_;

 private:
  std::mutex lock_;
  std::condition_variable changed_;
  int opened_ = 0;
};

/// Long enough for other threads to do what they should not.
void Pause() { std::this_thread::sleep_for(std::chrono::milliseconds(50)); }

// With 64 parts, 3 threads may have 3 + 7 + 2 sums. While the parts 0 and 32 are under way there
// are, beside their two: those of the parts 1, 2-3, 4-7, 8-15, 16-31, of 33, 34-35, 36-39, 40-41
// and of 42. The third thread waits.
constexpr int kOpenedBehindTwo = 43;

TEST(QvThreadRunner, NoMoreSumsExistAtOnceThanItPromises) {
  const std::vector<QvCommon::Record> records = RandomRecords(128);
  const QvBytes request = ProductsOf(records);
  ActingParts parts(records, 64);
  int opened = 0;
  parts.act_ = [&](int part) {
    if (part == 0) {
      parts.WaitUntilOpened(kOpenedBehindTwo);
      Pause();
      opened = parts.Opened();
    }
    // Both threads go on when there are fewer sums.
    if (part == 32 || part == kOpenedBehindTwo) parts.WaitUntilOpened(kOpenedBehindTwo + 2);
  };
  QvThreadRunner runner(parts, 3);
  const QvBytes answer = AnswerOf(runner, request);
  EXPECT_EQ(opened, kOpenedBehindTwo);
  VectorParts plain(records, 64);
  EXPECT_EQ(answer, AnswerOnOneThread(plain, request));
}

TEST(QvThreadRunner, AFailureEndsThreadsThatWaitForOthersSums) {
  const std::vector<QvCommon::Record> records = RandomRecords(128);
  const QvBytes request = ProductsOf(records);
  ActingParts parts(records, 64);
  std::atomic<bool> isReady = false;
  parts.act_ = [&](int part) {
    if (part == 0) {
      parts.WaitUntilOpened(kOpenedBehindTwo);
      isReady = true;
      throw std::runtime_error("part 0");
    }
    while (part == 32 && !isReady) std::this_thread::yield();
  };
  QvThreadRunner runner(parts, 3);
  QvCancelInfo cancel;
  QvBytes answer;
  EXPECT_THROW(runner.Run(request, cancel, answer), std::runtime_error);
  EXPECT_TRUE(answer.empty());
}

/// What a run of two parts throws that both fail, `first` before the other.
std::string FailureOfBoth(int first) {
  const std::vector<QvCommon::Record> records = RandomRecords(20);
  ActingParts parts(records, 2);
  std::atomic<bool> hasFailed = false;
  parts.act_ = [&](int part) {
    parts.WaitUntilOpened(2);
    if (part != first) {
      while (!hasFailed) std::this_thread::yield();
      // The other one's exception is on its way.
      Pause();
    }
    hasFailed = true;
    throw std::runtime_error("part " + std::to_string(part));
  };
  QvThreadRunner runner(parts, 2);
  QvCancelInfo cancel;
  QvBytes answer;
  try {
    runner.Run(ProductsOf(records), cancel, answer);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return {};
}

TEST(QvThreadRunner, OfTwoFailuresThatOfTheLowerPartIsTold) {
  EXPECT_EQ(FailureOfBoth(0), "part 0");
  EXPECT_EQ(FailureOfBoth(1), "part 0");
}

/// Endless parts, but for one.
class EndlessBehind : public qvtest::EndlessParts {
 public:
  using EndlessParts::EndlessParts;
  [[nodiscard]] Iter OpenPart(int part) override {
    if (part == 0) return VectorParts::OpenPart(part);
    if (part == 2) isOpened_ = true;
    while (part == 1 && !isOpened_) std::this_thread::yield();
    if (part == 1) throw std::runtime_error("part 1");
    return EndlessParts::OpenPart(part);
  }

 private:
  std::atomic<bool> isOpened_ = false;
};

TEST(QvThreadRunner, APartBehindOneThatFailedIsStopped) {
  const std::vector<QvCommon::Record> records = RandomRecords(60);
  EndlessBehind parts(records, 3);
  QvThreadRunner runner(parts, 3);
  QvCancelInfo cancel;
  QvBytes answer;
  EXPECT_THROW(runner.Run(ProductsOf(records), cancel, answer), std::runtime_error);
}

TEST(QvThreadRunner, WhatTheQueryThrowsEndsTheRun) {
  class Query : public QvQueryCancel {
   public:
    bool QueryCancel() override { throw std::runtime_error("query"); }
    bool QueryWillCancel() override { return QueryCancel(); }
  };
  const std::vector<QvCommon::Record> records = RandomRecords(60);
  qvtest::EndlessParts parts(records, 3);
  QvThreadRunner runner(parts, 2);
  Query query;
  QvCancelInfo cancel(&query);
  QvBytes answer;
  EXPECT_THROW(runner.Run(ProductsOf(records), cancel, answer), std::runtime_error);
}

TEST(QvThreadRunner, AStoppedRunIsAnErrorAndHasNoAnswer) {
  const std::vector<QvCommon::Record> records = RandomRecords(60);
  VectorParts parts(records, 3);
  QvThreadRunner runner(parts, 2);
  QvCancelInfo cancel;
  cancel.SetCancel();
  QvBytes answer;
  EXPECT_EQ(runner.Run(ProductsOf(records), cancel, answer),
            QvStatus(QvStatusCode::kCancelled, false));
  EXPECT_TRUE(answer.empty());
}

TEST(QvThreadRunner, ARunAfterOneThatFailedIsAsTheFirst) {
  const std::vector<QvCommon::Record> records = RandomRecords(200);
  const QvBytes request = ProductsOf(records);
  for (const int failing : {1, 3, 4}) {
    ActingParts parts(records, 5);
    parts.act_ = [&](int part) {
      if (part == failing) throw std::runtime_error("once");
    };
    QvThreadRunner runner(parts, 2);
    QvCancelInfo cancel;
    QvBytes answer;
    EXPECT_THROW(runner.Run(request, cancel, answer), std::runtime_error);
    parts.act_ = nullptr;
    answer = AnswerOf(runner, request);
    EXPECT_EQ(answer, AnswerOnOneThread(parts, request)) << failing;
  }
}

TEST(QvThreadRunner, AsManyThreadsRunAsTheMemoryOfTheirSumsAllows) {
  const std::vector<QvCommon::Record> records = RandomRecords(120);
  VectorParts parts(records, 6);
  for (const QvBytes& request : RequestsOf(ModelKind::kLinear, records)) {
    QvPassRequest unpacked;
    ASSERT_FALSE(ReadRequest(request, unpacked).IsError());
    QvPassProcessor processor(nullptr);
    ASSERT_FALSE(processor.Prepare(unpacked).IsError());
    const auto size = static_cast<long long>(processor.MakeSums()->GetSize());
    const auto threadsWithin = [&](int asked, long long bytes) {
      QvThreadRunner runner(parts, asked);
      runner.SetMemoryBound(bytes);
      AnswerOf(runner, request);
      return runner.GetThreadCount();
    };
    // threads + log2(parts) + 2, where 6 parts have 3 levels.
    EXPECT_EQ(threadsWithin(3, 8 * size), 3);
    EXPECT_EQ(threadsWithin(3, 8 * size - 1), 2);
    EXPECT_EQ(threadsWithin(3, 7 * size), 2);
    EXPECT_EQ(threadsWithin(3, 7 * size - 1), 1);
    EXPECT_EQ(threadsWithin(2, 7 * size), 2);
    EXPECT_EQ(threadsWithin(1, 8 * size), 1);
    EXPECT_EQ(threadsWithin(9, 100 * size), 6) << "no more than parts";
  }
}

TEST(QvThreadRunner, ARequestOfNoModelIsAnsweredOnOneThread) {
  const QvBytes request = WriteRequest(QvPassKind::kTables, QvBytes{1, 2, 3}, {});
  VectorParts parts(RandomRecords(20), 4);
  QvThreadRunner runner(parts, 3);
  QvPassRequest unpacked;
  ASSERT_FALSE(ReadRequest(request, unpacked).IsError());
  const QvStatus refused(QvStatusCode::kTooManyParameters, false);
  EXPECT_EQ(AnswerOf(runner, request), WriteAnswer(unpacked, refused, nullptr));
  EXPECT_EQ(runner.GetThreadCount(), 1);
}

#if defined(QVTEST_FEW_THREADS)
TEST(QvThreadRunner, RunsOnAsManyThreadsAsTheSystemGives) {
  const std::vector<QvCommon::Record> records = RandomRecords(120);
  const QvBytes request = ProductsOf(records);
  VectorParts parts(records, 6);
  const QvBytes expected = AnswerOnOneThread(parts, request);
  for (const int given : {0, 1, 2}) {
    QvThreadRunner runner(parts, 4);
    const qvtest::FewThreads few(given);
    EXPECT_EQ(AnswerOf(runner, request), expected) << given;
    EXPECT_EQ(runner.GetThreadCount(), given == 0 ? 1 : given);
  }
}
#endif

}  // namespace
