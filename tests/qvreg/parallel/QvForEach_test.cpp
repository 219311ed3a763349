#include "qvreg/parallel/QvForEach.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/support/FewThreads.h"

namespace qvtest {
namespace {

TEST(QvForEach, CallsEveryNumberOnce) {
  for (const int threads : {1, 2, 8}) {
    std::vector<std::atomic<int>> calls(100);
    std::vector<std::thread::id> workers(static_cast<std::size_t>(threads));
    std::mutex lock;
    QvForEach(threads, static_cast<long long>(calls.size()), [&](int worker, long long number) {
      ++calls[static_cast<std::size_t>(number)];
      const std::lock_guard guard(lock);
      auto& thread = workers.at(static_cast<std::size_t>(worker));
      EXPECT_TRUE(thread == std::thread::id() || thread == std::this_thread::get_id());
      thread = std::this_thread::get_id();
    });
    EXPECT_TRUE(std::all_of(calls.begin(), calls.end(), [](const auto& n) { return n == 1; }));
    EXPECT_TRUE(workers[0] == std::thread::id() || workers[0] == std::this_thread::get_id());
  }
  QvForEach(3, 0, [](int, long long) { ADD_FAILURE(); });
}

/// What a call of QvForEach with two threads throws, whose numbers 1 and 2 fail, `first` before
/// the other.
std::string FailureOfBoth(long long first) {
  std::atomic<int> failed = 0;
  try {
    QvForEach(2, 3, [&](int, long long number) {
      if (number == 0) return;
      if (number != first) {
        while (failed == 0) std::this_thread::yield();
        // The other one's exception is on its way.
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
      }
      ++failed;
      throw std::runtime_error(std::to_string(number));
    });
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return {};
}

TEST(QvForEach, ThrowsTheFailureOfTheLowestNumber) {
  EXPECT_EQ(FailureOfBoth(2), "1");
  EXPECT_EQ(FailureOfBoth(1), "1");
}

TEST(QvForEach, BeginsNothingBehindAFailure) {
  long long last = 0;
  EXPECT_THROW(QvForEach(1, 100,
                         [&](int, long long number) {
                           last = number;
                           if (number == 5) throw std::runtime_error("five");
                         }),
               std::runtime_error);
  EXPECT_EQ(last, 5);
}

#if defined(QVTEST_FEW_THREADS)
TEST(QvForEach, CallsEveryNumberOnceThoughTheSystemGivesFewerThreads) {
  for (const int given : {0, 1}) {
    std::vector<std::atomic<int>> calls(100);
    const FewThreads few(given);
    QvForEach(4, static_cast<long long>(calls.size()), [&](int worker, long long number) {
      EXPECT_LE(worker, given);
      ++calls[static_cast<std::size_t>(number)];
    });
    EXPECT_TRUE(std::all_of(calls.begin(), calls.end(), [](const auto& n) { return n == 1; }));
  }
}
#endif

TEST(QvThreadCount, IsThatOfTheCoresWithoutANumber) {
  EXPECT_EQ(QvThreadCount(3), 3);
  EXPECT_GE(QvThreadCount(0), 1);
}

}  // namespace
}  // namespace qvtest
