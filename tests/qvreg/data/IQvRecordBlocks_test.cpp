#include "qvreg/data/IQvRecordBlocks.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/data/QvRecordPass.h"
#include "tests/qvreg/support/BlockIter.h"
#include "tests/qvreg/support/VirtualSlot.h"

namespace {

using QvCommon::QvRecordBlock;
using QvCommon::QvStatus;
using qvtest::BlockIter;
using Doubles = std::vector<double>;
using Counts = std::vector<std::size_t>;

/// Records of a factor of three levels.
std::vector<QvCommon::Record> RecordsOf(const Doubles& codes) {
  std::vector<QvCommon::Record> records;
  for (const double code : codes) records.push_back(qvtest::MakeRecord({code}));
  return records;
}

/// What a pass comes to, and which values it hands over before it ends at number `last` of them.
struct Outcome {
  explicit Outcome(BlockIter& iter, QvQueryCancel* host = nullptr, std::size_t last = 0) {
    QvRegRecordValidator validator;
    validator.SetRecordInfo({QvConst::QvVarFactor}, {0}, {3}, 0);
    QvCancelInfo cancel(host);
    QvRecordPass pass(iter, cancel, validator);
    status = pass.Run([&](const double* record, QvRecordVerdict, QvStatus& own) {
      values.push_back(record[0]);
      if (values.size() == last) own = QvStatus(305, false);
      return values.size() != last;
    });
  }

  QvStatus status;
  Doubles values;
};

TEST(QvRecordBlock, FindsARecordByTheStride) {
  const double values[] = {1, 2, 3, 4, 5, 6};
  const QvRecordBlock forward{values, 2, 3, 2};
  EXPECT_EQ(forward.Row(1)[1], 5.0);
  const QvRecordBlock backward{values + 4, 3, -2, 2};
  EXPECT_EQ(backward.Row(2)[1], 2.0);
}

TEST(IQvRecordBlocks, VirtualOperationsStandInTheirOrder) {
  if (!qvtest::kKnowsVirtualSlots) GTEST_SKIP() << "the compiler's tables are not known";
  std::size_t slot = qvtest::kSlotAfterDestructor;
  EXPECT_EQ(qvtest::VirtualSlot(&QvCommon::IQvRecordBlocks::NextBlock), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&QvCommon::IQvRecordBlocks::EndBlock), slot++);
}

TEST(IQvRecordBlocks, AreReadInPlaceOfSingleRecords) {
  const Doubles codes{0, 1, 2, 1, 0};
  const std::vector<Counts> expected{{1, 1, 1, 1, 1}, {2, 2, 1}, {3, 2}, {4, 1}, {5}, {5}};
  for (std::size_t rows = 1; rows <= expected.size(); ++rows) {
    SCOPED_TRACE(rows);
    BlockIter iter(RecordsOf(codes), rows);
    for (int pass = 0; pass < 2; ++pass) {
      const Outcome outcome(iter);
      EXPECT_TRUE(outcome.status.IsOK());
      EXPECT_EQ(outcome.values, codes);
    }
    EXPECT_EQ(iter.Nexts(), 0);
    Counts twice = expected[rows - 1];
    twice.insert(twice.end(), expected[rows - 1].begin(), expected[rows - 1].end());
    EXPECT_EQ(iter.Ended(), twice);
  }
}

TEST(IQvRecordBlocks, OfNoRecordsAre307) {
  BlockIter iter({}, 4);
  EXPECT_TRUE(Outcome(iter).status == QvStatus(307, false));
  EXPECT_EQ(iter.Ended(), Counts{});
}

/// Announces a record more than it lends.
class ShortOfOne : public BlockIter {
 public:
  using BlockIter::BlockIter;
  [[nodiscard]] bool HasMore() const override { return true; }
};

TEST(IQvRecordBlocks, ABlockOfNoRecordAnswers312AndIsNotEnded) {
  ShortOfOne iter(RecordsOf({0, 1, 2}), 2);
  const Outcome outcome(iter);
  EXPECT_TRUE(outcome.status == QvStatus(312, false));
  EXPECT_EQ(outcome.values, (Doubles{0, 1, 2}));
  EXPECT_EQ(iter.Ended(), (Counts{2, 1}));
}

TEST(IQvRecordBlocks, ARecordThatIsNotValidEndsThePassWithinItsBlock) {
  BlockIter iter(RecordsOf({0, 1, 2, 0, 7.5, 1, 2}), 4);
  const Outcome outcome(iter);
  EXPECT_TRUE(outcome.status == QvStatus(316, false));
  double value = 0.0;
  EXPECT_TRUE(outcome.status.GetScaleDatum(1, value));
  EXPECT_EQ(value, 7.5);
  EXPECT_EQ(outcome.values, (Doubles{0, 1, 2, 0}));
  EXPECT_EQ(iter.Ended(), (Counts{4, 1}));
}

TEST(IQvRecordBlocks, ARefusalEndsThePassWithinTheBlock) {
  BlockIter iter(RecordsOf({0, 1, 2, 0, 1}), 5);
  const Outcome outcome(iter, nullptr, 2);
  EXPECT_TRUE(outcome.status == QvStatus(305, false));
  EXPECT_EQ(iter.Ended(), Counts{2});
  EXPECT_EQ(Outcome(iter).values, (Doubles{0, 1, 2, 0, 1})) << "the next pass is whole";
}

/// Says stop, or throws, at a question, counted from 1.
class Host : public QvQueryCancel {
 public:
  explicit Host(int stopAt, bool isThrown = false) : stopAt_(stopAt), isThrown_(isThrown) {}

  bool QueryCancel() override { return false; }
  bool QueryWillCancel() override {
    if (++questions_ == stopAt_ && isThrown_) throw std::runtime_error("boom");
    return questions_ == stopAt_;
  }
  [[nodiscard]] int Questions() const { return questions_; }

 private:
  int stopAt_;
  bool isThrown_;
  int questions_ = 0;
};

TEST(IQvRecordBlocks, TheHostIsAskedBeforeEveryRecord) {
  for (const std::size_t rows : {std::size_t{1}, std::size_t{2}, std::size_t{9}}) {
    BlockIter whole(RecordsOf({0, 1, 2, 0, 1}), rows);
    Host never(0);
    const Outcome outcome(whole, &never);
    EXPECT_EQ(never.Questions(), 5);
  }
}

TEST(IQvRecordBlocks, AStopEndsThePassBeforeARecordOfTheBlock) {
  BlockIter iter(RecordsOf({0, 1, 2, 0, 1, 2, 0}), 3);
  Host host(6);
  const Outcome outcome(iter, &host);
  EXPECT_TRUE(outcome.status == QvStatus(1, false));
  EXPECT_EQ(outcome.values, (Doubles{0, 1, 2, 0, 1}));
  EXPECT_EQ(iter.Ended(), (Counts{3, 2}));
}

TEST(IQvRecordBlocks, AStopBeforeABlockLendsNone) {
  BlockIter iter(RecordsOf({0, 1, 2, 0}), 3);
  Host host(4);
  const Outcome outcome(iter, &host);
  EXPECT_TRUE(outcome.status == QvStatus(1, false));
  EXPECT_EQ(iter.Position(), 3U);
  EXPECT_EQ(iter.Ended(), Counts{3});
}

TEST(IQvRecordBlocks, AnExceptionOfTheHostsEndsTheBlock) {
  BlockIter iter(RecordsOf({0, 1, 2, 0}), 3);
  Host host(2, true);
  EXPECT_THROW(Outcome(iter, &host), std::runtime_error);
  EXPECT_EQ(iter.Ended(), Counts{1});
}

/// Ends no block in a way of its own.
class WithoutEnd : public qvtest::VectorRecordIter, public QvCommon::IQvRecordBlocks {
 public:
  using VectorRecordIter::VectorRecordIter;
  QvRecordBlock NextBlock() override {
    const QvCommon::Record* record = Next();
    return {record->GetAll(), 1, 1, record->Size()};
  }
};

TEST(IQvRecordBlocks, MayDoWithoutTheirEnd) {
  WithoutEnd iter(RecordsOf({0, 1}));
  iter.EndBlock(7);
  EXPECT_EQ(iter.Position(), 0U);
}

}  // namespace
