#include "qvreg/c/QvCForEach.h"

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

#include "qvreg/c/QvCCall.h"

namespace qvtest {
namespace {

TEST(CForEach, CallsEveryNumberOnce) {
  for (const int threads : {1, 2, 8}) {
    std::vector<std::atomic<int>> calls(100);
    std::vector<std::thread::id> workers(static_cast<std::size_t>(threads));
    std::mutex lock;
    QvCForEach(threads, calls.size(), [&](int worker, std::size_t number) {
      ++calls[number];
      const std::lock_guard guard(lock);
      auto& thread = workers.at(static_cast<std::size_t>(worker));
      EXPECT_TRUE(thread == std::thread::id() || thread == std::this_thread::get_id());
      thread = std::this_thread::get_id();
    });
    EXPECT_TRUE(std::all_of(calls.begin(), calls.end(), [](const auto& n) { return n == 1; }));
    EXPECT_TRUE(workers[0] == std::thread::id() || workers[0] == std::this_thread::get_id());
  }
  QvCForEach(3, 0, [](int, std::size_t) { ADD_FAILURE(); });
}

/// What a call of QvCForEach with two threads throws, whose numbers 0 and 1 fail, `first` before
/// the other.
std::string FailureOfBoth(std::size_t first) {
  std::atomic<int> failed = 0;
  try {
    QvCForEach(2, 2, [&](int, std::size_t number) {
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

TEST(CForEach, ThrowsTheFailureOfTheLowestNumber) {
  EXPECT_EQ(FailureOfBoth(1), "0");
  EXPECT_EQ(FailureOfBoth(0), "0");
}

TEST(CForEach, BeginsNothingBehindAFailure) {
  std::size_t last = 0;
  EXPECT_THROW(QvCForEach(1, 100,
                          [&](int, std::size_t number) {
                            last = number;
                            if (number == 5) throw std::runtime_error("five");
                          }),
               std::runtime_error);
  EXPECT_EQ(last, 5U);
}

TEST(CForEach, TakesNoNumberOfThreadsBelow0) {
  EXPECT_EQ(QvCThreadCount(3), 3);
  EXPECT_GE(QvCThreadCount(0), 1);
  EXPECT_THROW(static_cast<void>(QvCThreadCount(-1)), QvCRefusal);
}

}  // namespace
}  // namespace qvtest
