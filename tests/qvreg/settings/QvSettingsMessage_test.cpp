#include "qvreg/settings/QvSettingsMessage.h"

#include <cstddef>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvBytes.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "qvreg/settings/QvSettingsBytes.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/RandomModels.h"

namespace {

using Bytes = std::vector<unsigned char>;

const QvCommon::QvStatus kUnreadable(QvStatusCode::kUnreadableMessage, false);
const QvCommon::QvStatus kNoMemory(QvStatusCode::kTooManyParameters, false);

Bytes Written(const QvRegSettings& settings) {
  Bytes bytes;
  EXPECT_TRUE(QvSettingsMessage::Write(settings, bytes).IsOK());
  return bytes;
}

TEST(SettingsMessage, IsReadToTheSameSettingsOfTheSameClass) {
  const auto linear = qvtest::RandomLinear();
  const auto logistic = qvtest::RandomLogistic();
  std::unique_ptr<QvRegSettings> read;
  ASSERT_TRUE(QvSettingsMessage::Read(Written(linear->Get()), read).IsOK());
  EXPECT_EQ(dynamic_cast<QvLogRegSettings*>(read.get()), nullptr);
  EXPECT_EQ(Written(*read), Written(linear->Get()));
  ASSERT_TRUE(QvSettingsMessage::Read(Written(logistic->Get()), read).IsOK());
  EXPECT_NE(dynamic_cast<QvLogRegSettings*>(read.get()), nullptr);
  EXPECT_EQ(Written(*read), Written(logistic->Get()));
}

TEST(SettingsMessage, ThatIsDamagedLeavesTheSettings) {
  const Bytes whole = Written(qvtest::RandomLogistic()->Get());
  auto settings = std::make_unique<QvRegSettings>();
  const QvRegSettings* before = settings.get();
  const auto expectRefused = [&](const Bytes& bytes) {
    EXPECT_EQ(QvSettingsMessage::Read(bytes, settings), kUnreadable);
    EXPECT_EQ(settings.get(), before);
  };
  for (std::size_t i = 0; i < whole.size(); ++i) {
    Bytes damaged = whole;
    damaged[i] ^= 0x01U;
    expectRefused(damaged);
    expectRefused(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(i)));
  }
}

TEST(SettingsMessage, WithMoreBehindTheSettingsIsRefused) {
  QvCommon::QvByteWriter writer;
  WriteSettings(qvtest::RandomLinear()->Get(), writer);
  writer.PutInt(0);
  std::unique_ptr<QvRegSettings> settings;
  const Bytes message = writer.TakeMessage(QvCommon::QvMessageType::kSettings);
  EXPECT_EQ(QvSettingsMessage::Read(message, settings), kUnreadable);
  EXPECT_EQ(settings, nullptr);
}

/// Has every allocation of an operation fail once, until none is left.
template <typename Operation, typename Check>
void FailEachAllocation(Operation&& operation, Check&& expectError) {
  long long n = 0;
  for (bool hasStruck = true; hasStruck;) {
    const long long live = qvtest::LiveAllocations();
    QvCommon::QvStatus status;
    {
      const qvtest::AllocationFault fault(++n, qvtest::AllocationFault::Extent::kOnce);
      status = operation();
      hasStruck = fault.HasStruck();
    }
    EXPECT_EQ(qvtest::LiveAllocations(), live) << n;
    if (hasStruck) {
      expectError(status);
    } else {
      EXPECT_TRUE(status.IsOK());
    }
  }
  EXPECT_GT(n, 3);
}

TEST(SettingsMessage, ReportsAnAllocationThatFails) {
  const auto model = qvtest::RandomLogistic();
  const Bytes whole = Written(model->Get());
  FailEachAllocation(
      [&] {
        Bytes bytes;
        return QvSettingsMessage::Write(model->Get(), bytes);
      },
      [](const QvCommon::QvStatus& status) { EXPECT_EQ(status, kNoMemory); });
  FailEachAllocation(
      [&] {
        std::unique_ptr<QvRegSettings> settings;
        return QvSettingsMessage::Read(whole, settings);
      },
      [](const QvCommon::QvStatus& status) {
        EXPECT_TRUE(status == kNoMemory || status == kUnreadable) << status.GetCode();
      });
}

}  // namespace
