#include "host/fit/Interrupt.h"

#include <csignal>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "host/fit/ProgressBar.h"
#include "host/fit/RunFit.h"
#include "tests/host/fit/Fitting.h"

namespace qvhost {
namespace {

TEST(Interrupt, AnswersYesOnceCtrlCWasPressed) {
  Interrupt interrupt;
  EXPECT_FALSE(interrupt.Requested());
  EXPECT_FALSE(interrupt.QueryCancel());
  std::raise(SIGINT);
  EXPECT_TRUE(interrupt.Requested());
  EXPECT_TRUE(interrupt.QueryCancel());
  EXPECT_TRUE(interrupt.QueryWillCancel());
  std::raise(SIGINT);
  EXPECT_TRUE(interrupt.Requested());
}

TEST(Interrupt, StartsAnew) {
  {
    const Interrupt first;
    std::raise(SIGINT);
  }
  EXPECT_FALSE(Interrupt().Requested());
}

TEST(Interrupt, PutsTheFormerHandlerBack) {
  using Handler = void (*)(int);
  const Handler handler = [](int) {};
  const Handler before = std::signal(SIGINT, handler);
  { const Interrupt interrupt; }
  EXPECT_EQ(std::signal(SIGINT, before), handler);
}

TEST(Interrupt, AnIgnoredCtrlCStaysIgnored) {
  using Handler = void (*)(int);
  const Handler before = std::signal(SIGINT, SIG_IGN);
  {
    const Interrupt interrupt;
    std::raise(SIGINT);
    EXPECT_FALSE(interrupt.Requested());
  }
  EXPECT_EQ(std::signal(SIGINT, before), SIG_IGN);
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
