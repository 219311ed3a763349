#include "qvreg/data/QvCancelInfo.h"

#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/support/VirtualSlot.h"

namespace {

/// A host that gives prepared answers, then no, and counts the questions.
class ScriptedHost : public QvQueryCancel {
 public:
  explicit ScriptedHost(std::vector<bool> answers) : answers_(std::move(answers)) {}

  bool QueryCancel() override { return Answer(cancelCalls++); }
  bool QueryWillCancel() override { return Answer(willCancelCalls++); }

  std::size_t cancelCalls = 0;
  std::size_t willCancelCalls = 0;

 private:
  [[nodiscard]] bool Answer(std::size_t call) const {
    return call < answers_.size() && answers_[call];
  }

  std::vector<bool> answers_;
};

TEST(QvCancelInfo, WithoutAHostIsCancelledBySetCancelOnly) {
  QvCancelInfo info;
  EXPECT_EQ(info.GetCancelPtr(), nullptr);
  EXPECT_FALSE(info.IsCancel());
  EXPECT_FALSE(info.WillCancel());
  info.SetCancel();
  EXPECT_TRUE(info.IsCancel());
  EXPECT_TRUE(info.WillCancel());
}

TEST(QvCancelInfo, TakesTheHostAtConstruction) {
  ScriptedHost host({});
  const QvCancelInfo info(&host);
  EXPECT_EQ(info.GetCancelPtr(), &host);
}

TEST(QvCancelInfo, IsCancelKeepsTheHostsYesAndAsksNoMore) {
  ScriptedHost host({false, true, false});
  QvCancelInfo info(&host);
  EXPECT_FALSE(info.IsCancel());
  EXPECT_TRUE(info.IsCancel());
  EXPECT_TRUE(info.IsCancel());
  EXPECT_TRUE(info.WillCancel());
  EXPECT_EQ(host.cancelCalls, 2U);
  EXPECT_EQ(host.willCancelCalls, 0U);
}

TEST(QvCancelInfo, WillCancelDoesNotKeepTheHostsYes) {
  ScriptedHost host({true, false});
  const QvCancelInfo info(&host);
  EXPECT_TRUE(info.WillCancel());
  EXPECT_FALSE(info.WillCancel());
}

TEST(QvCancelInfo, WillCancelLeavesTheFlagForIsCancel) {
  ScriptedHost willOnly({true});
  QvCancelInfo info(&willOnly);
  EXPECT_TRUE(info.WillCancel());
  info.SetCancelPtr(nullptr);
  EXPECT_FALSE(info.IsCancel());
}

TEST(QvCancelInfo, EachQuestionAsksItsOwnQuery) {
  ScriptedHost host({});
  QvCancelInfo info(&host);
  EXPECT_FALSE(info.IsCancel());
  EXPECT_EQ(host.cancelCalls, 1U);
  EXPECT_EQ(host.willCancelCalls, 0U);
  EXPECT_FALSE(info.WillCancel());
  EXPECT_EQ(host.cancelCalls, 1U);
  EXPECT_EQ(host.willCancelCalls, 1U);
}

TEST(QvCancelInfo, AfterSetCancelTheHostIsNotAsked) {
  ScriptedHost host({});
  QvCancelInfo info(&host);
  info.SetCancel();
  EXPECT_TRUE(info.IsCancel());
  EXPECT_TRUE(info.WillCancel());
  EXPECT_EQ(host.cancelCalls + host.willCancelCalls, 0U);
}

TEST(QvCancelInfo, AnotherHostKeepsTheRunCancelled) {
  ScriptedHost host({});
  QvCancelInfo info;
  info.SetCancel();
  info.SetCancelPtr(&host);
  EXPECT_EQ(info.GetCancelPtr(), &host);
  EXPECT_TRUE(info.IsCancel());
  EXPECT_TRUE(info.WillCancel());
}

TEST(QvCancelInfo, StopRequestedKeepsTheHostsYesAndAsksNoMore) {
  ScriptedHost host({false, true, false});
  QvCancelInfo info(&host);
  EXPECT_FALSE(info.StopRequested());
  EXPECT_FALSE(info.IsFlagSet());
  EXPECT_TRUE(info.StopRequested());
  EXPECT_TRUE(info.IsFlagSet());
  EXPECT_TRUE(info.StopRequested());
  EXPECT_EQ(host.willCancelCalls, 2U);
  EXPECT_EQ(host.cancelCalls, 0U);
}

TEST(QvCancelInfo, StopRequestedWithoutAHostFollowsTheFlag) {
  QvCancelInfo info;
  EXPECT_FALSE(info.StopRequested());
  info.SetCancel();
  EXPECT_TRUE(info.StopRequested());
}

TEST(QvCancelInfo, IsFlagSetNeverAsksTheHost) {
  ScriptedHost host({true, true});
  QvCancelInfo info(&host);
  EXPECT_FALSE(info.IsFlagSet());
  info.SetCancel();
  EXPECT_TRUE(info.IsFlagSet());
  EXPECT_EQ(host.cancelCalls + host.willCancelCalls, 0U);
}

TEST(QvCancelInfo, IsCancelRaisesTheFlag) {
  ScriptedHost host({true});
  QvCancelInfo info(&host);
  EXPECT_TRUE(info.IsCancel());
  EXPECT_TRUE(info.IsFlagSet());
}

TEST(QvCancelInfo, CopiesCarryHostAndFlag) {
  ScriptedHost host({});
  QvCancelInfo original(&host);
  QvCancelInfo before(original);
  original.SetCancel();
  QvCancelInfo after(original);
  QvCancelInfo assigned;
  assigned = original;
  EXPECT_FALSE(before.IsCancel());
  EXPECT_TRUE(after.IsCancel());
  EXPECT_TRUE(assigned.IsCancel());
  EXPECT_EQ(after.GetCancelPtr(), &host);
  EXPECT_EQ(assigned.GetCancelPtr(), &host);
}

TEST(QvCancelInfo, ACancelFromAnotherThreadIsSeen) {
  QvCancelInfo info;
  std::thread canceller([&info] { info.SetCancel(); });
  while (!info.WillCancel()) std::this_thread::yield();
  canceller.join();
  EXPECT_TRUE(info.IsCancel());
}

TEST(QvQueryCancel, VirtualOperationsStandInTheirOrder) {
  if (!qvtest::kKnowsVirtualSlots) GTEST_SKIP() << "the compiler's tables are not known";
  std::size_t slot = qvtest::kSlotAfterDestructor;
  EXPECT_EQ(qvtest::VirtualSlot(&QvQueryCancel::QueryCancel), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&QvQueryCancel::QueryWillCancel), slot++);
}

}  // namespace
