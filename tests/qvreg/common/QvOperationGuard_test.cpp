#include "qvreg/common/QvOperationGuard.h"

#include <new>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace {

using QvCommon::QvStatus;

QvStatus RunOutOfMemory() { throw std::bad_alloc(); }
QvStatus AskForTooMuch() {
  std::string text;
  text.reserve(text.max_size() + 1);  // throws std::length_error
  return {};
}
QvStatus FailAsAHost() { throw std::runtime_error("the host's own"); }

TEST(QvOperationGuard, PassesTheResultOn) {
  EXPECT_TRUE(GuardOperation([] { return QvStatus(); }).IsOK());
  EXPECT_TRUE(GuardOperation([] { return QvStatus(309, false); }) == QvStatus(309, false));
}

TEST(QvOperationGuard, TurnsAFailedAllocationIntoStatus305) {
  EXPECT_TRUE(GuardOperation(RunOutOfMemory) == QvStatus(305, false));
  EXPECT_TRUE(GuardOperation(AskForTooMuch) == QvStatus(305, false));
}

TEST(QvOperationGuard, LetsTheHostsExceptionsThrough) {
  EXPECT_THROW(GuardOperation(FailAsAHost), std::runtime_error);
}

TEST(QvOperationGuard, RunStoresTheResult) {
  QvStatus status;
  EXPECT_EQ(RunOperation(status, [] { return QvStatus(307, false); }).GetCode(), 307);
  EXPECT_EQ(status.GetCode(), 307);
}

TEST(QvOperationGuard, RunDoesNothingWhileTheStatusIsAnError) {
  QvStatus status(301, false);
  bool wasCalled = false;
  EXPECT_EQ(RunOperation(status,
                         [&wasCalled] {
                           wasCalled = true;
                           return QvStatus();
                         })
                .GetCode(),
            301);
  EXPECT_FALSE(wasCalled);
}

TEST(QvOperationGuard, RunGoesOnAfterAWarning) {
  QvStatus status(319, true);
  EXPECT_TRUE(RunOperation(status, [] { return QvStatus(); }).IsOK());
  EXPECT_TRUE(status.IsOK());
}

TEST(QvOperationGuard, RunLeavesAnErrorBehindAHostsException) {
  QvStatus status;
  EXPECT_THROW(RunOperation(status, FailAsAHost), std::runtime_error);
  EXPECT_TRUE(status.IsError());
}

}  // namespace
