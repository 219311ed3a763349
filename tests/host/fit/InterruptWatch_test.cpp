#include "host/fit/InterruptWatch.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <system_error>
#include <thread>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "host/TemporaryFolder.h"
#include "host/table/Connection.h"
#include "host/table/QueryError.h"
#include "tests/support/TempFolder.h"

#ifdef __linux__
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace qvhost {
namespace {

using std::chrono::milliseconds;

TEST(InterruptWatch, RunsTheLastStep) {
  const Interrupt interrupt;
  InterruptWatch watch(interrupt);
  bool ran = false;
  watch.RunLastStep([&ran] { ran = true; });
  EXPECT_TRUE(ran);
}

TEST(InterruptWatch, DoesNotRunTheLastStepAfterASignal) {
  const Interrupt interrupt;
  InterruptWatch watch(interrupt);
  std::raise(SIGTERM);
  bool ran = false;
  try {
    watch.RunLastStep([&ran] { ran = true; });
    FAIL() << "nothing was thrown";
  } catch (const Cancelled& error) {
    EXPECT_EQ(error.Code(), ExitCode::kTerminated);
  }
  EXPECT_FALSE(ran);
}

#ifdef __linux__

constexpr int kRanToItsEnd = 77;

/// How a process of its own ends that runs this: its exit code, or minus the signal.
int EndOf(const std::function<void()>& run) {
  const pid_t child = fork();
  if (child == 0) {
    run();
    _exit(kRanToItsEnd);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

TEST(InterruptWatch, ASignalInTheLastStepComesTooLate) {
  const int end = EndOf([] {
    const Interrupt interrupt;
    InterruptWatch watch(interrupt);
    watch.RunLastStep([] {
      std::raise(SIGTERM);
      std::raise(SIGTERM);
      std::this_thread::sleep_for(milliseconds(700));
    });
    std::this_thread::sleep_for(milliseconds(100));
  });
  EXPECT_EQ(end, kRanToItsEnd);
}

TEST(InterruptWatch, EndsARunThatDoesNotEndAndRemovesItsFolders) {
  const qvtest::TempFolder folder;
  const int end = EndOf([&folder] {
    const Interrupt interrupt;
    const InterruptWatch watch(interrupt);
    std::error_code error;
    const auto own = TemporaryFolder::Make(folder.Path(), error);
    std::raise(SIGHUP);
    std::this_thread::sleep_for(milliseconds(5000));
  });
  EXPECT_EQ(end, static_cast<int>(ExitCode::kHungUp));
  EXPECT_TRUE(folder.IsEmpty());
}

TEST(InterruptWatch, GivesARunTimeToEndByItself) {
  const int end = EndOf([] {
    const Interrupt interrupt;
    const InterruptWatch watch(interrupt);
    std::raise(SIGINT);
    std::this_thread::sleep_for(milliseconds(250));
  });
  EXPECT_EQ(end, kRanToItsEnd);
}

TEST(InterruptWatch, StopsTheQueryThatRuns) {
  const int end = EndOf([] {
    const Interrupt interrupt;
    const InterruptWatch watch(interrupt);
    Connection connection;
    std::signal(SIGALRM, [](int) { std::raise(SIGINT); });
    alarm(1);
    try {
      connection.Execute(
          "SELECT count(*) FROM range(1000000) a, range(1000000) b "
          "WHERE (a.range * b.range) % 7 = 3");
    } catch (const QueryError&) {
      return;
    }
  });
  EXPECT_EQ(end, kRanToItsEnd);
}

TEST(InterruptWatch, AThirdSignalEndsEvenAProcessWithoutOne) {
  const int end = EndOf([] {
    const Interrupt interrupt;
    std::raise(SIGINT);
    std::raise(SIGINT);
    std::raise(SIGINT);
  });
  EXPECT_EQ(end, -SIGINT);
}

#endif

}  // namespace
}  // namespace qvhost
