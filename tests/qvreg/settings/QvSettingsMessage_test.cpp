#include "qvreg/settings/QvSettingsMessage.h"

#include <cstddef>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/RandomModels.h"

namespace {

using Bytes = std::vector<unsigned char>;

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
    EXPECT_EQ(QvSettingsMessage::Read(bytes, settings).GetCode(), QvStatusCode::kUnreadableMessage);
    EXPECT_EQ(settings.get(), before);
  };
  for (std::size_t i = 0; i < whole.size(); ++i) {
    Bytes damaged = whole;
    damaged[i] ^= 0x01U;
    expectRefused(damaged);
    expectRefused(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(i)));
  }
}

/// Has every allocation of an operation fail once, until none is left.
template <typename Operation, typename Check>
void FailEachAllocation(Operation&& operation, Check&& expectError) {
  long long n = 0;
  for (bool hasStruck = true; hasStruck;) {
    const long long live = qvtest::LiveAllocations();
    long code = QvStatusCode::kOK;
    {
      const qvtest::AllocationFault fault(++n, qvtest::AllocationFault::Extent::kOnce);
      code = operation().GetCode();
      hasStruck = fault.HasStruck();
    }
    EXPECT_EQ(qvtest::LiveAllocations(), live) << n;
    if (hasStruck) {
      expectError(code);
    } else {
      EXPECT_EQ(code, QvStatusCode::kOK);
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
      [](long code) { EXPECT_EQ(code, QvStatusCode::kTooManyParameters); });
  FailEachAllocation(
      [&] {
        std::unique_ptr<QvRegSettings> settings;
        return QvSettingsMessage::Read(whole, settings);
      },
      [](long code) {
        EXPECT_TRUE(code == QvStatusCode::kTooManyParameters ||
                    code == QvStatusCode::kUnreadableMessage)
            << code;
      });
}

}  // namespace
