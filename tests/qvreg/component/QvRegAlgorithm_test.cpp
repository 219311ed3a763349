#include "qvreg/component/QvRegAlgorithm.h"

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
  EXPECT_TRUE(GuardOperation([] { return QvStatus(QvStatusCode::kNoParameters, false); }) ==
              QvStatus(QvStatusCode::kNoParameters, false));
}

TEST(QvOperationGuard, TurnsAFailedAllocationIntoTooManyParameters) {
  EXPECT_TRUE(GuardOperation(RunOutOfMemory) == QvStatus(QvStatusCode::kTooManyParameters, false));
  EXPECT_TRUE(GuardOperation(AskForTooMuch) == QvStatus(QvStatusCode::kTooManyParameters, false));
}

TEST(QvOperationGuard, LetsTheHostsExceptionsThrough) {
  EXPECT_THROW(GuardOperation(FailAsAHost), std::runtime_error);
}

TEST(QvOperationGuard, RunStoresTheResult) {
  QvStatus status;
  EXPECT_EQ(
      RunOperation(status, [] { return QvStatus(QvStatusCode::kNoRecords, false); }).GetCode(),
      QvStatusCode::kNoRecords);
  EXPECT_EQ(status.GetCode(), QvStatusCode::kNoRecords);
}

TEST(QvOperationGuard, RunDoesNothingWhileTheStatusIsAnError) {
  QvStatus status(QvStatusCode::kNoDependent, false);
  bool wasCalled = false;
  EXPECT_EQ(RunOperation(status,
                         [&wasCalled] {
                           wasCalled = true;
                           return QvStatus();
                         })
                .GetCode(),
            QvStatusCode::kNoDependent);
  EXPECT_FALSE(wasCalled);
}

TEST(QvOperationGuard, RunGoesOnAfterAWarning) {
  QvStatus status(QvStatusCode::kReferenceNotObserved, true);
  EXPECT_TRUE(RunOperation(status, [] { return QvStatus(); }).IsOK());
  EXPECT_TRUE(status.IsOK());
}

TEST(QvOperationGuard, RunLeavesAnErrorBehindAHostsException) {
  QvStatus status;
  EXPECT_THROW(RunOperation(status, FailAsAHost), std::runtime_error);
  EXPECT_TRUE(status.IsError());
}

}  // namespace
