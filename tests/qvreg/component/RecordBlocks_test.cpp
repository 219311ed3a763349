// Records in blocks give the fits of single ones, to the last bit, for every model.
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/QvRegComponent.h"
#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/parallel/QvThreadRunner.h"
#include "tests/qvreg/support/BlockIter.h"
#include "tests/qvreg/support/Cancellation.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/RandomModels.h"
#include "tests/qvreg/support/ReferenceCase.h"
#include "tests/qvreg/support/ReferenceRun.h"
#include "tests/qvreg/support/VectorParts.h"

namespace {

using QvCommon::QvStatus;
using qvtest::BlockIter;
using qvtest::FittedModel;
using qvtest::ModelKind;
using qvtest::NumbersOf;
using qvtest::RandomModel;
using qvtest::RandomRecords;
using qvtest::ReferenceCase;
using qvtest::UntouchedIter;
using qvtest::VectorRecordIter;
using Doubles = std::vector<double>;
using Records = std::vector<QvCommon::Record>;

constexpr std::size_t kAll = 100000;

Doubles FitSingly(QvRegSettings& settings, const Records& records) {
  VectorRecordIter iter(records);
  return NumbersOf(FittedModel(settings, iter).Stats());
}

Doubles FitByBlocks(QvRegSettings& settings, const Records& records, std::size_t rows,
                    std::size_t gap) {
  BlockIter iter(records, rows, gap);
  Doubles numbers = NumbersOf(FittedModel(settings, iter).Stats());
  EXPECT_EQ(iter.Nexts(), 0) << "every pass reads blocks";
  return numbers;
}

/// What building a model comes to: the status, and what became of the records.
struct Building {
  Building(ModelKind kind, QvCommon::MultiPassRecordIter& iter, QvQueryCancel* query = nullptr) {
    RandomModel settings(kind);
    settings.Get().SetCancelPointer(query);
    QvRegFactory factory;
    const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings.Get()));
    status = component->BuildModel(iter);
    counts = dynamic_cast<const QvRegComponent&>(*component).GetRecordCounts();
  }

  QvStatus status;
  QvRecordCounts counts;
};

class RecordBlocks : public ::testing::TestWithParam<ModelKind> {
 protected:
  const Records records_ = RandomRecords(600);
};

INSTANTIATE_TEST_SUITE_P(Models, RecordBlocks,
                         ::testing::Values(ModelKind::kLinear, ModelKind::kLogistic,
                                           ModelKind::kInMemory),
                         [](const auto& tested) { return qvtest::ModelKindName(tested.param); });

TEST_P(RecordBlocks, GiveTheBitsOfSingleRecords) {
  RandomModel settings(GetParam());
  const Doubles expected = FitSingly(settings.Get(), records_);
  for (const std::size_t rows : {std::size_t{1}, std::size_t{7}, std::size_t{64}, std::size_t{599},
                                 std::size_t{600}, kAll}) {
    for (const std::size_t gap : {std::size_t{0}, std::size_t{3}}) {
      EXPECT_EQ(FitByBlocks(settings.Get(), records_, rows, gap), expected) << rows << " " << gap;
    }
  }
}

/// Is read by blocks alone.
class BlocksAlone : public BlockIter {
 public:
  using BlockIter::BlockIter;
  BlocksAlone(const BlocksAlone&) = delete;
  BlocksAlone& operator=(const BlocksAlone&) = delete;
  ~BlocksAlone() override { EXPECT_EQ(Nexts(), 0); }
};

/// Parts that lend blocks of rows.
class BlockParts : public qvtest::VectorParts {
 public:
  BlockParts(const Records& records, std::size_t count, std::size_t rows)
      : VectorParts(records, count), rows_(rows) {}
  std::unique_ptr<QvCommon::MultiPassRecordIter> OpenPart(int part) override {
    return std::make_unique<BlocksAlone>(Part(part), rows_);
  }

 private:
  std::size_t rows_;
};

TEST_P(RecordBlocks, GiveTheBitsOfSingleRecordsInParts) {
  const auto fit = [&](IQvRecordParts& parts, int threads) {
    RandomModel settings(GetParam());
    QvThreadRunner runner(parts, threads);
    settings.Get().SetPassRunner(&runner);
    UntouchedIter none;
    return NumbersOf(FittedModel(settings.Get(), none).Stats());
  };
  qvtest::VectorParts singly(records_, 5);
  const Doubles expected = fit(singly, 1);
  for (const std::size_t rows : {std::size_t{1}, std::size_t{50}, kAll}) {
    BlockParts parts(records_, 5, rows);
    for (const int threads : {1, 3}) EXPECT_EQ(fit(parts, threads), expected) << rows;
  }
}

TEST_P(RecordBlocks, AreCountedAsSingleRecords) {
  VectorRecordIter singly(records_);
  const Building expected(GetParam(), singly);
  for (const std::size_t gap : {std::size_t{0}, std::size_t{3}}) {
    BlockIter blocks(records_, 150, gap);
    const Building run(GetParam(), blocks);
    EXPECT_EQ(run.counts.fRead, expected.counts.fRead);
    EXPECT_EQ(run.counts.fUsed, expected.counts.fUsed);
    EXPECT_EQ(run.counts.fMissing, expected.counts.fMissing);
    EXPECT_EQ(run.counts.fBadWeight, expected.counts.fBadWeight);
    EXPECT_EQ(run.counts.fUsedLater, -1);
    EXPECT_GT(run.counts.fMissing, 0);
    EXPECT_GT(run.counts.fBadWeight, 0);
  }
}

TEST_P(RecordBlocks, EndWithTheErrorOfSingleRecords) {
  Records records = records_;
  records[130][qvtest::kG] = 88.5;
  VectorRecordIter singly(records);
  const Building expected(GetParam(), singly);
  EXPECT_EQ(expected.status.GetCode(), QvStatusCode::kBadCategory);
  BlockIter blocks(records, 64);
  const Building run(GetParam(), blocks);
  EXPECT_TRUE(run.status.IsIdenticalTo(expected.status));
  EXPECT_EQ(run.counts.fRead, expected.counts.fRead);
  EXPECT_EQ(blocks.Ended(), (std::vector<std::size_t>{64, 64, 3}));
}

TEST_P(RecordBlocks, TooShortAreAnError) {
  Records records;
  for (const QvCommon::Record& record : records_) {
    records.push_back(qvtest::MakeRecord({record[0], record[1]}));
  }
  BlockIter blocks(records, 64);
  EXPECT_EQ(Building(GetParam(), blocks).status.GetCode(), QvStatusCode::kShortRecord);
}

TEST_P(RecordBlocks, OfNoRecordsAre307) {
  BlockIter blocks({}, 64);
  EXPECT_EQ(Building(GetParam(), blocks).status.GetCode(), QvStatusCode::kNoRecords);
}

TEST_P(RecordBlocks, AreStoppedWhereSingleRecordsAre) {
  VectorRecordIter singly(records_);
  qvtest::CancelAtPoll never(0);
  const Building whole(GetParam(), singly, &never);
  EXPECT_TRUE(whole.status.IsOK());
  // In the first pass, the second, and one near the end.
  for (const int poll : {1, 100, 700, never.Polls() - 5}) {
    SCOPED_TRACE(poll);
    VectorRecordIter one(records_);
    qvtest::CancelAtPoll stop(poll);
    const Building expected(GetParam(), one, &stop);
    BlockIter blocks(records_, 64);
    qvtest::CancelAtPoll stopBlocks(poll);
    const Building run(GetParam(), blocks, &stopBlocks);
    EXPECT_EQ(run.status.GetCode(), QvStatusCode::kCancelled);
    EXPECT_TRUE(run.status.IsIdenticalTo(expected.status));
    EXPECT_EQ(run.counts.fRead, expected.counts.fRead);
    EXPECT_EQ(stopBlocks.Polls(), stop.Polls());
    EXPECT_EQ(blocks.Passes(), one.Passes());
  }
}

/// Every number of a reference case's fit by blocks, and by single records.
template <typename Settings>
void ExpectSameFit(const ReferenceCase& reference, Settings& settings) {
  const Doubles expected = FitSingly(settings, reference.table.records);
  for (const std::size_t rows : {std::size_t{1}, std::size_t{5}, kAll}) {
    const Doubles numbers = FitByBlocks(settings, reference.table.records, rows, 0);
    ASSERT_EQ(numbers.size(), expected.size());
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      EXPECT_TRUE(numbers[i] == expected[i] ||
                  (numbers[i] != numbers[i] && expected[i] != expected[i]))
          << reference.name << ' ' << i;
    }
  }
}

TEST(RecordBlocksOfReferenceCases, GiveTheBitsOfSingleRecordsForLinearModels) {
  for (const char* folder : {"linear", "r"}) {
    for (const std::string& name : qvtest::ReferenceNames(folder)) {
      const ReferenceCase reference = qvtest::LoadReferenceCase(name);
      for (const bool refine : {false, true}) {
        const auto settings = qvtest::LinearSettingsOf(reference);
        if (refine) settings->Refined();
        ExpectSameFit(reference, settings->Get());
      }
    }
  }
}

TEST(RecordBlocksOfReferenceCases, GiveTheBitsOfSingleRecordsForLogisticModels) {
  for (const std::string& name : qvtest::ReferenceNames("logistic/fits")) {
    const ReferenceCase reference = qvtest::LoadReferenceCase(name);
    for (const bool inMemory : {false, true}) {
      const auto settings = qvtest::LogisticSettingsOf(reference);
      settings->InMemory(inMemory);
      ExpectSameFit(reference, settings->Get());
    }
  }
}

}  // namespace
