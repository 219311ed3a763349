#include "host/fit/Interrupt.h"

#include <csignal>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "host/fit/ProgressBar.h"
#include "host/fit/RunFit.h"
#include "tests/host/fit/Fitting.h"

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

}  // namespace
}  // namespace qvhost
