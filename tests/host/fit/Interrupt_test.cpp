#include "host/fit/Interrupt.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <system_error>
#include <thread>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "host/TemporaryFolder.h"
#include "host/fit/ProgressBar.h"
#include "host/fit/RunFit.h"
#include "host/table/Connection.h"
#include "host/table/QueryError.h"
#include "tests/host/fit/Fitting.h"
#include "tests/support/TempFolder.h"

#ifdef __linux__
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace qvhost {
namespace {

using Handler = void (*)(int);

class InterruptSignals : public ::testing::TestWithParam<int> {};

#ifdef SIGHUP
INSTANTIATE_TEST_SUITE_P(, InterruptSignals, ::testing::Values(SIGINT, SIGTERM, SIGHUP));
#else
INSTANTIATE_TEST_SUITE_P(, InterruptSignals, ::testing::Values(SIGINT, SIGTERM));
#endif

TEST_P(InterruptSignals, AreNoticed) {
  Interrupt interrupt;
  EXPECT_FALSE(interrupt.Requested());
  EXPECT_EQ(interrupt.Signal(), 0);
  EXPECT_FALSE(interrupt.QueryCancel());
  std::raise(GetParam());
  EXPECT_TRUE(interrupt.Requested());
  EXPECT_EQ(interrupt.Signal(), GetParam());
  EXPECT_TRUE(interrupt.QueryCancel());
  EXPECT_TRUE(interrupt.QueryWillCancel());
  EXPECT_FALSE(interrupt.Repeated());
  std::raise(SIGTERM);
  EXPECT_EQ(interrupt.Signal(), GetParam()) << "the first";
  EXPECT_TRUE(interrupt.Repeated());
}

TEST_P(InterruptSignals, AreForgottenByTheNext) {
  {
    const Interrupt first;
    std::raise(GetParam());
    std::raise(GetParam());
  }
  const Interrupt second;
  EXPECT_FALSE(second.Requested());
  EXPECT_FALSE(second.Repeated());
}

TEST_P(InterruptSignals, GoToTheFormerHandlerAgain) {
  const Handler handler = [](int) {};
  const Handler before = std::signal(GetParam(), handler);
  { const Interrupt interrupt; }
  EXPECT_EQ(std::signal(GetParam(), before), handler);
}

TEST_P(InterruptSignals, StayIgnored) {
  const Handler before = std::signal(GetParam(), SIG_IGN);
  {
    const Interrupt interrupt;
    std::raise(GetParam());
    EXPECT_FALSE(interrupt.Requested());
  }
  EXPECT_EQ(std::signal(GetParam(), before), SIG_IGN);
}

TEST(Interrupt, ASignalHasItsCodeAndSentence) {
  EXPECT_EQ(Cancelled().Code(), ExitCode::kCancelled);
  EXPECT_STREQ(Cancelled(SIGINT).what(), "Cancelled.");
  EXPECT_EQ(Cancelled(SIGTERM).Code(), ExitCode::kTerminated);
  EXPECT_STREQ(Cancelled(SIGTERM).what(), "Cancelled by SIGTERM.");
#ifdef SIGHUP
  EXPECT_EQ(Cancelled(SIGHUP).Code(), ExitCode::kHungUp);
  EXPECT_STREQ(Cancelled(SIGHUP).what(), "Cancelled by SIGHUP.");
#endif
}

TEST(Interrupt, StopsAFit) {
  ProgressBar none(nullptr);
  OutputFiles outputs;
  Interrupt interrupt;
  std::raise(SIGINT);
  try {
    static_cast<void>(
        RunFit(OptionsFor("SELECT range AS y FROM range(100)", "y ~ 1"), none, interrupt, outputs));
    FAIL() << "the fit ran to its end";
  } catch (const Error& error) {
    EXPECT_EQ(error.Code(), ExitCode::kCancelled);
  }
}

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
