#include "qvreg/parallel/QvScorer.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/parallel/QvPassWorker.h"
#include "qvreg/parallel/QvThreadRunner.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/RandomModels.h"
#include "tests/qvreg/support/VectorParts.h"

namespace {

using QvCommon::QvStatus;
using qvtest::FittedModel;
using qvtest::ModelKind;
using qvtest::RandomModel;
using qvtest::RandomRecords;
using qvtest::ScoresOf;
using Bytes = std::vector<unsigned char>;
using Records = std::vector<QvCommon::Record>;

class QvScorerTest : public testing::TestWithParam<ModelKind> {
 protected:
  QvScorerTest() : model_(GetParam()), fitted_(model_.Get(), records_) {
    EXPECT_EQ(fitted_.Component().WriteScoring(bytes_).GetCode(), QvStatusCode::kOK);
  }

  const Records records_ = RandomRecords(400);
  RandomModel model_;
  FittedModel fitted_;
  const Records fresh_ = qvtest::FreshRecords();
  Bytes bytes_;
};

INSTANTIATE_TEST_SUITE_P(Models, QvScorerTest,
                         testing::Values(ModelKind::kLinear, ModelKind::kLogistic,
                                         ModelKind::kInMemory),
                         [](const auto& tested) { return qvtest::ModelKindName(tested.param); });

TEST_P(QvScorerTest, ScoresAsTheComponentDoesToTheLastBit) {
  QvScorer scorer;
  ASSERT_EQ(scorer.Open(bytes_).GetCode(), QvStatusCode::kOK);
  EXPECT_EQ(ScoresOf(records_, scorer), ScoresOf(records_, fitted_.Component()));
  EXPECT_EQ(ScoresOf(fresh_, scorer), ScoresOf(fresh_, fitted_.Component()));
}

TEST_P(QvScorerTest, ScoresAlikeForAModelThatThreadsFitted) {
  qvtest::VectorParts parts(records_, 5);
  QvThreadRunner threads(parts, 2);
  model_.Get().SetPassRunner(&threads);
  qvtest::UntouchedIter none;
  FittedModel fitted(model_.Get(), none);
  ASSERT_FALSE(fitted.Component().WriteScoring(bytes_).IsError());
  QvScorer scorer;
  ASSERT_FALSE(scorer.Open(bytes_).IsError());
  EXPECT_EQ(ScoresOf(fresh_, scorer), ScoresOf(fresh_, fitted.Component()));
}

TEST_P(QvScorerTest, ExpandsTheRowsOfTheResults) {
  QvScorer scorer;
  ASSERT_FALSE(scorer.Open(bytes_).IsError());
  const IQvRegOutputStats& stats = fitted_.Stats();
  const auto* linear = dynamic_cast<const QvGLMOutputStats*>(&stats);
  const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&stats);
  for (const QvCommon::Record& record : fresh_) {
    std::vector<int> indices;
    std::vector<int> expectedIndices;
    std::vector<double> values;
    std::vector<double> expectedValues;
    const bool isExpected = linear != nullptr
                                ? const_cast<QvGLMOutputStats*>(linear)->ExpandScaledRow(
                                      record, expectedIndices, expectedValues)
                                : logistic->ExpandRow(record, expectedIndices, expectedValues);
    EXPECT_EQ(scorer.ExpandRow(record, indices, values), isExpected);
    EXPECT_EQ(indices, expectedIndices);
    // Of a combination without a parameter the scorer has the other effects.
    if (!isExpected) continue;
    EXPECT_EQ(values, expectedValues);
  }
}

// That of a logistic model: LogModelRowsTest.ARecordThatCannotBeCodedHasItsOtherEffects.
TEST(QvScorer, ARowOfAnUnseenCombinationHasAllOtherEffects) {
  const Records records = RandomRecords(400);
  RandomModel model(ModelKind::kLinear);
  FittedModel fitted(model.Get(), records);
  Bytes bytes;
  ASSERT_FALSE(fitted.Component().WriteScoring(bytes).IsError());
  QvScorer scorer;
  ASSERT_FALSE(scorer.Open(bytes).IsError());
  QvCommon::Record unseen = records[0];
  unseen[qvtest::kF] = 3.0;
  unseen[qvtest::kG] = 2.0;
  std::vector<int> indices;
  std::vector<double> values;
  ASSERT_FALSE(scorer.ExpandRow(unseen, indices, values));
  ASSERT_FALSE(indices.empty());
  EXPECT_EQ(indices.front(), 0) << "the intercept";
  EXPECT_EQ(values.front(), 1.0);
}

TEST_P(QvScorerTest, IsIndependentOfTheComponentAndOfOthers) {
  const std::vector<std::uint64_t> expected = ScoresOf(fresh_, fitted_.Component());
  fitted_.Component().Cancel();
  std::vector<std::vector<std::uint64_t>> scores(3);
  std::vector<std::thread> threads;
  for (std::vector<std::uint64_t>& scored : scores) {
    threads.emplace_back([&] {
      QvScorer scorer;
      if (!scorer.Open(Bytes(bytes_)).IsError()) scored = ScoresOf(fresh_, scorer);
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::vector<std::uint64_t>& scored : scores) EXPECT_EQ(scored, expected);
}

TEST_P(QvScorerTest, RefusesDamagedBytes) {
  const auto code = [](const Bytes& bytes) { return QvScorer().Open(bytes).GetCode(); };
  for (std::size_t i = 0; i < bytes_.size(); ++i) {
    Bytes damaged = bytes_;
    damaged[i] ^= 0x08U;
    ASSERT_EQ(code(damaged), QvStatusCode::kUnreadableMessage) << i;
    ASSERT_EQ(code(Bytes(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(i))),
              QvStatusCode::kUnreadableMessage)
        << i;
  }
}

TEST_P(QvScorerTest, TakesNoRequestOfAPassNorAWorkerWhatScores) {
  class Runner : public IQvPassRunner {
   public:
    QvStatus Run(const Bytes& request, QvCancelInfo& /*cancel*/, Bytes& /*answer*/) override {
      EXPECT_EQ(QvScorer().Open(request), QvStatus(QvStatusCode::kUnreadableMessage, false));
      return {QvStatusCode::kCancelled, false};
    }
  };
  Runner runner;
  model_.Get().SetPassRunner(&runner);
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(model_.Get()));
  qvtest::UntouchedIter none;
  EXPECT_EQ(component->BuildModel(none).GetCode(), QvStatusCode::kCancelled);

  qvtest::VectorRecordIter iter(records_);
  Bytes answer;
  EXPECT_EQ(QvPassWorker().Run(bytes_, 0, iter, answer).GetCode(),
            QvStatusCode::kUnreadableMessage);
}

TEST_P(QvScorerTest, NeedsAModelThatIsBuilt) {
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(model_.Get()));
  EXPECT_EQ(component->WriteScoring(bytes_).GetCode(), QvStatusCode::kNotBuilt);
  QvScorer scorer;
  double predicted = -99.0;
  std::vector<double> values;
  std::vector<int> indices;
  EXPECT_EQ(scorer.Score(records_[0], predicted, values), QvStatus(QvStatusCode::kNotBuilt, false));
  EXPECT_FALSE(scorer.ExpandRow(records_[0], indices, values));
  EXPECT_EQ(predicted, -99.0);
  // What cannot be opened leaves nothing open.
  ASSERT_FALSE(scorer.Open(bytes_).IsError());
  EXPECT_TRUE(scorer.Open({1, 2, 3}).IsError());
  EXPECT_EQ(scorer.Score(records_[0], predicted, values).GetCode(), QvStatusCode::kNotBuilt);
}

TEST_P(QvScorerTest, ARowWithoutMemoryForItIsNone) {
  QvScorer scorer;
  ASSERT_FALSE(scorer.Open(bytes_).IsError());
  std::vector<int> indices;
  std::vector<double> values;
  const qvtest::AllocationFault fault(1, qvtest::AllocationFault::Extent::kEverAfter);
  EXPECT_FALSE(scorer.ExpandRow(records_[0], indices, values));
  EXPECT_TRUE(fault.HasStruck());
}

TEST_P(QvScorerTest, AnAllocationThatFailsIsAStatus) {
  using qvtest::AllocationFault;
  // The codes of an operation whose n-th allocation fails, for each n.
  const auto codes = [](const auto& operation) {
    std::set<long> found;
    for (int n = 1;; ++n) {
      const AllocationFault fault(n, AllocationFault::Extent::kOnce);
      const long code = operation();
      if (!fault.HasStruck()) return found;
      found.insert(code);
    }
  };
  Bytes written;
  EXPECT_EQ(codes([&] { return fitted_.Component().WriteScoring(written).GetCode(); }),
            std::set<long>{QvStatusCode::kTooManyParameters});
  EXPECT_EQ(written, bytes_);
  // Room to sort in may be missing without harm.
  QvScorer scorer;
  const std::vector<std::uint64_t> expected = ScoresOf(fresh_, fitted_.Component());
  std::set<long> found = codes([&] { return scorer.Open(bytes_).GetCode(); });
  EXPECT_EQ(ScoresOf(fresh_, scorer), expected);
  found.erase(QvStatusCode::kOK);
  EXPECT_EQ(found,
            (std::set<long>{QvStatusCode::kTooManyParameters, QvStatusCode::kUnreadableMessage}));
}

}  // namespace
