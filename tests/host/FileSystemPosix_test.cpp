#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <optional>
#include <thread>

#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include "host/FileSystem.h"

namespace qvhost {
namespace {

using namespace std::chrono_literals;

/// What a read of an empty pipe gave, and errno then.
struct Arrived {
  std::optional<std::size_t> size;
  int error = 0;
};

TEST(ReadArrived, ASignalEndsTheWait) {
  struct sigaction ours {};
  struct sigaction before {};
  ours.sa_handler = [](int) {};
  // A read would go on after the signal; what waits for input does not.
  ours.sa_flags = SA_RESTART;
  ASSERT_EQ(sigaction(SIGUSR1, &ours, &before), 0);
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  std::FILE* const stream = fdopen(ends[0], "rb");
  Arrived arrived;
  std::atomic<bool> isDone = false;
  std::thread reader([&] {
    std::array<char, 8> buffer{};
    arrived.size = ReadArrived(stream, buffer, 1min);
    arrived.error = errno;
    isDone = true;
  });
  for (int i = 0; i < 200 && !isDone; ++i) {
    pthread_kill(reader.native_handle(), SIGUSR1);
    std::this_thread::sleep_for(10ms);
  }
  // Ends a read that has not ended.
  EXPECT_EQ(write(ends[1], "x", 1), 1);
  reader.join();
  std::fclose(stream);
  close(ends[1]);
  sigaction(SIGUSR1, &before, nullptr);
  EXPECT_EQ(arrived.size, std::nullopt);
  EXPECT_EQ(arrived.error, 0);
}

}  // namespace
}  // namespace qvhost
