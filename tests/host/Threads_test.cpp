#include "host/Threads.h"

#include <atomic>
#include <chrono>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

TEST(Threads, MakeEachCallOnce) {
  for (const int threads : {0, 1, 3, 64}) {
    std::vector<std::atomic<int>> calls(1000);
    ForEachOnThreads(threads, calls.size(), [&](std::size_t i) { ++calls[i]; });
    for (const std::atomic<int>& count : calls) EXPECT_EQ(count, 1);
    ForEachOnThreads(threads, 0, [](std::size_t /*i*/) { FAIL() << "there is none to make"; });
  }
}

TEST(Threads, WorkAtTheSameTime) {
  std::mutex mutex;
  std::set<std::thread::id> seen;
  std::atomic<int> waiting = 0;
  ForEachOnThreads(3, 3, [&](std::size_t /*i*/) {
    {
      const std::lock_guard lock(mutex);
      seen.insert(std::this_thread::get_id());
    }
    ++waiting;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (waiting < 3 && std::chrono::steady_clock::now() < end) std::this_thread::yield();
  });
  EXPECT_EQ(seen.size(), 3U);
  EXPECT_TRUE(seen.contains(std::this_thread::get_id()));
}

TEST(Threads, ThrowWhatTheFirstFailingCallThrew) {
  for (const int threads : {1, 2, 8}) {
    std::atomic<int> calls = 0;
    const auto work = [&](std::size_t i) {
      ++calls;
      // The lower number fails later.
      if (i == 4) std::this_thread::sleep_for(std::chrono::milliseconds(20));
      if (i >= 4 && i < 10) throw std::runtime_error(std::to_string(i));
    };
    try {
      ForEachOnThreads(threads, 100000, work);
      ADD_FAILURE() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
      EXPECT_STREQ(error.what(), "4");
    }
    EXPECT_LT(calls, 100000) << "calls were begun after a failure";
  }
}

}  // namespace
}  // namespace qvhost
