#include "qvreg/logistic/QvRecordIterHandler.h"

#include <cstddef>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/logistic/IQvAccumStats.h"
#include "qvreg/logistic/QvAccumStatsLogistic.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "tests/qvreg/support/Cancellation.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/FaultyIter.h"
#include "tests/qvreg/support/StubAccumStats.h"
#include "tests/qvreg/support/StubRegModel.h"
#include "tests/qvreg/support/VectorRecordIter.h"
#include "tests/qvreg/support/VirtualSlot.h"

namespace {

using QvCommon::QvStatus;
using qvtest::MakeRecords;
using qvtest::VectorRecordIter;
using Rows = std::vector<std::vector<double>>;
using Doubles = std::vector<double>;
using Ints = std::vector<int>;

constexpr int kY = 0;
constexpr int kX = 1;
constexpr int kFrequency = 2;
constexpr int kRegression = 3;
constexpr int kNone = -1;
constexpr double kMissing = QvMV::gMissingValue;

/// One row as the statistics were given it.
struct Update {
  Ints indices;
  Doubles values;
  int category;
  double weight;
  bool llOnly;

  bool operator==(const Update&) const = default;
};

/// Statistics that write down what they are given.
class JournalStats : public qvtest::StubAccumStats {
 public:
  std::vector<Update> updates;
  std::vector<std::pair<int, bool>> resets;
  /// The update, counted from 1, that is refused.
  std::size_t refused = 0;

  void Reset(QvConst::QvEstimationMethod method, bool separationCheck) override {
    resets.emplace_back(method, separationCheck);
  }
  int UpdateForRow(const Ints& indices, const Doubles& values, int category, double weight,
                   bool llOnly) override {
    updates.push_back({indices, values, category, weight, llOnly});
    return updates.size() == refused ? -1 : 0;
  }
};

/// Gives every row the sparse form (0, 1.0), (1, x).
class LineModel : public qvtest::StubRegModel {
 public:
  LineModel() {
    categories = {0, 1, 2};
    localIndices = {0, 1, 2};
  }

  bool isCoded = true;

  bool GetSparseRow(const double* row, int& count, Ints& indices, Doubles& values) const override {
    indices = isCoded ? Ints{0, 1} : Ints{};
    values = isCoded ? Doubles{1.0, row[kX]} : Doubles{};
    count = static_cast<int>(indices.size());
    return isCoded;
  }
};

/// Answers NewPass with a fail reason, and delivers the records all the same.
class RefusedPassIter : public VectorRecordIter {
 public:
  using VectorRecordIter::VectorRecordIter;

  int NewPass() override {
    VectorRecordIter::NewPass();
    return QvCommon::kIterEndOfData;
  }
};

class QvRecordIterHandlerTest : public ::testing::Test {
 protected:
  QvRecordIterHandlerTest() { SetTypes(3); }

  void SetTypes(int nCategories) {
    validator_.SetRecordInfo({QvConst::QvVarDependent, QvConst::QvVarCovariate,
                              QvConst::QvVarFreqWeight, QvConst::QvVarRegrWeight},
                             {}, {}, nCategories);
  }
  QvRecordIterHandler Make(VectorRecordIter& iter, int frequency = kFrequency,
                           int regression = kRegression) {
    return QvRecordIterHandler(iter, cancel_, validator_, kY, frequency, regression);
  }
  /// One pass of a new handler.
  QvStatus Pass(VectorRecordIter& iter, bool llOnly = false) {
    QvRecordIterHandler handler = Make(iter);
    handler.SetStatsModel(&stats_, &model_);
    return handler.ComputeStatsForOptimizer(llOnly);
  }
  QvStatus Pass(const Rows& rows) {
    VectorRecordIter iter(MakeRecords(rows));
    return Pass(iter);
  }

  QvCancelInfo cancel_;
  QvRegRecordValidator validator_;
  JournalStats stats_;
  LineModel model_;
};

TEST_F(QvRecordIterHandlerTest, GivesEveryRecordToTheStatistics) {
  EXPECT_TRUE(Pass({{2, 5, 3, 0.5}, {0, -1, 1, 2}}).IsOK());
  EXPECT_EQ(stats_.updates, (std::vector<Update>{{{0, 1}, {1, 5}, 2, 1.5, false},
                                                 {{0, 1}, {1, -1}, 0, 2.0, false}}));
}

TEST_F(QvRecordIterHandlerTest, PassesTheKindOfPassOn) {
  VectorRecordIter iter(MakeRecords({{1, 0, 1, 1}}));
  EXPECT_TRUE(Pass(iter, true).IsOK());
  ASSERT_EQ(stats_.updates.size(), 1U);
  EXPECT_TRUE(stats_.updates[0].llOnly);
}

TEST_F(QvRecordIterHandlerTest, EveryRequestIsOnePassFromTheStart) {
  VectorRecordIter iter(MakeRecords({{1, 0, 1, 1}, {2, 0, 1, 1}}));
  QvRecordIterHandler handler = Make(iter);
  handler.SetStatsModel(&stats_, &model_);
  for (int pass = 1; pass <= 3; ++pass) {
    EXPECT_TRUE(handler.ComputeStatsForOptimizer(false).IsOK());
    EXPECT_EQ(iter.Passes(), pass);
    EXPECT_EQ(stats_.updates.size(), 2U * static_cast<std::size_t>(pass));
  }
}

TEST_F(QvRecordIterHandlerTest, OnePassAnswersBothRequestsAtTheSameEstimates) {
  QvLogRegSettings settings;
  Doubles beta(4, 0.25);
  QvAccumStatsLogistic stats(settings, 2, 3, beta);
  VectorRecordIter iter(MakeRecords({{1, 0.5, 1, 1}, {2, -1, 1, 1}}));
  QvRecordIterHandler handler = Make(iter);
  handler.SetStatsModel(&stats, &model_);
  const auto request = [&](bool llOnly) {
    handler.ResetAccumStats(QvConst::QvMethodNewtonRaphson, false);
    EXPECT_TRUE(handler.ComputeStatsForOptimizer(llOnly).IsOK());
    return iter.Passes();
  };
  EXPECT_EQ(request(true), 1);
  EXPECT_EQ(stats.GetScores(), Doubles(4, 0.0));
  EXPECT_EQ(request(false), 1);
  EXPECT_NE(stats.GetScores(), Doubles(4, 0.0));
  EXPECT_EQ(request(false), 2) << "what was taken is gone";
  EXPECT_EQ(request(true), 3);
  beta[3] = 0.5;
  EXPECT_EQ(request(false), 4) << "at other estimates";
}

TEST_F(QvRecordIterHandlerTest, ACancelledPassAnswersItsOwnRequestAlone) {
  QvLogRegSettings settings;
  const Doubles beta(4, 0.25);
  QvAccumStatsLogistic stats(settings, 2, 3, beta);
  VectorRecordIter iter(MakeRecords({{1, 0.5, 1, 1}, {2, -1, 1, 1}}));
  QvRecordIterHandler handler = Make(iter);
  handler.SetStatsModel(&stats, &model_);
  cancel_.SetCancel();
  handler.ResetAccumStats(QvConst::QvMethodNewtonRaphson, false);
  EXPECT_TRUE(handler.ComputeStatsForOptimizer(true).IsOK());
  handler.ResetAccumStats(QvConst::QvMethodNewtonRaphson, false);
  EXPECT_TRUE(handler.ComputeStatsForOptimizer(false).IsOK());
  EXPECT_EQ(iter.Passes(), 2);
}

TEST_F(QvRecordIterHandlerTest, MapsTheCodeToItsLocalCategory) {
  model_.categories = {0, 2};
  model_.localIndices = {1, -1, 0};  // Category 0 is the reference, 1 was not observed.
  EXPECT_TRUE(Pass({{0, 0, 1, 1}, {2, 0, 1, 1}}).IsOK());
  ASSERT_EQ(stats_.updates.size(), 2U);
  EXPECT_EQ(stats_.updates[0].category, 1);
  EXPECT_EQ(stats_.updates[1].category, 0);
}

TEST_F(QvRecordIterHandlerTest, ADependentIsTruncatedTowardZero) {
  // A validator without target categories lets 2.9 pass.
  SetTypes(0);
  EXPECT_TRUE(Pass({{2.9, 0, 1, 1}, {0.6, 0, 1, 1}, {-0.4, 0, 1, 1}}).IsOK());
  ASSERT_EQ(stats_.updates.size(), 3U);
  EXPECT_EQ(stats_.updates[0].category, 2);
  EXPECT_EQ(stats_.updates[1].category, 0);
  EXPECT_EQ(stats_.updates[2].category, 0);
}

TEST_F(QvRecordIterHandlerTest, WithoutWeightVariablesEveryWeightIs1) {
  VectorRecordIter iter(MakeRecords({{1, 0, 7, 9}, {2, 0, 8, 9}}));
  QvRecordIterHandler handler = Make(iter, kNone, kNone);
  handler.SetStatsModel(&stats_, &model_);
  EXPECT_TRUE(handler.ComputeStatsForOptimizer(false).IsOK());
  ASSERT_EQ(stats_.updates.size(), 2U);
  for (const Update& update : stats_.updates) EXPECT_EQ(update.weight, 1.0);
}

TEST_F(QvRecordIterHandlerTest, EitherWeightAloneIsTheWeight) {
  VectorRecordIter iter(MakeRecords({{1, 0, 7, 9}}));
  QvRecordIterHandler frequency = Make(iter, kFrequency, kNone);
  frequency.SetStatsModel(&stats_, &model_);
  frequency.ComputeStatsForOptimizer(false);
  QvRecordIterHandler regression = Make(iter, kNone, kRegression);
  regression.SetStatsModel(&stats_, &model_);
  regression.ComputeStatsForOptimizer(false);
  ASSERT_EQ(stats_.updates.size(), 2U);
  EXPECT_EQ(stats_.updates[0].weight, 7.0);
  EXPECT_EQ(stats_.updates[1].weight, 9.0);
}

TEST_F(QvRecordIterHandlerTest, SkipsRecordsThatTheValidatorLeavesOut) {
  EXPECT_TRUE(Pass({{1, kMissing, 1, 1}, {-1, 0, 1, 1}, {1, 0, 0, 1}, {1, 4, 1, 1}}).IsOK());
  ASSERT_EQ(stats_.updates.size(), 1U);
  EXPECT_EQ(stats_.updates[0].values[1], 4.0);
}

TEST_F(QvRecordIterHandlerTest, AnErrorOfTheValidatorEndsThePass) {
  EXPECT_TRUE(Pass({{1, 0, 1, 1}, {0.5, 0, 1, 1}, {1, 0, 1, 1}}) == QvStatus(316, false));
  EXPECT_EQ(stats_.updates.size(), 1U);
}

TEST_F(QvRecordIterHandlerTest, AnEmptyIteratorLeavesTheStatisticsUntouched) {
  VectorRecordIter iter({});
  // An empty iterator also refuses the new pass, which the next request tells.
  EXPECT_TRUE(Pass(iter).IsOK());
  EXPECT_TRUE(stats_.updates.empty());
}

TEST_F(QvRecordIterHandlerTest, AFailedNewPassIsTheAnswerToTheNextRequest) {
  RefusedPassIter iter(MakeRecords({{1, 0, 1, 1}, {2, 0, 1, 1}}));
  QvRecordIterHandler handler = Make(iter);
  handler.SetStatsModel(&stats_, &model_);
  EXPECT_TRUE(handler.ComputeStatsForOptimizer(false).IsOK());
  EXPECT_EQ(stats_.updates.size(), 2U) << "the pass goes on as far as the iterator allows";
  EXPECT_TRUE(handler.ComputeStatsForOptimizer(false) == QvStatus(307, false));
  EXPECT_EQ(stats_.updates.size(), 2U) << "the next request reads no record";
  EXPECT_EQ(iter.Passes(), 2) << "but asks for its pass first";
  EXPECT_TRUE(handler.ComputeStatsForOptimizer(false) == QvStatus(307, false));
  EXPECT_EQ(iter.Passes(), 3);
}

TEST_F(QvRecordIterHandlerTest, ARefusedRowAfterARefusedPassIsTheErrorKept) {
  stats_.refused = 1;
  RefusedPassIter iter(MakeRecords({{1, 0, 1, 1}}));
  QvRecordIterHandler handler = Make(iter);
  handler.SetStatsModel(&stats_, &model_);
  EXPECT_TRUE(handler.ComputeStatsForOptimizer(false) == QvStatus(303, false));
  EXPECT_TRUE(handler.GetStatus() == QvStatus(303, false));
}

TEST_F(QvRecordIterHandlerTest, ADependentBelow0HasNoCategory) {
  // A validator without target categories lets it pass; the model has categories all the same.
  SetTypes(0);
  EXPECT_TRUE(Pass({{-1, 0, 1, 1}, {-1.5, 0, 1, 1}, {-1e300, 0, 1, 1}}).IsOK());
  ASSERT_EQ(stats_.updates.size(), 3U);
  for (const Update& update : stats_.updates) EXPECT_EQ(update.category, -1);
}

TEST_F(QvRecordIterHandlerTest, ARecordAnnouncedButNotDeliveredAnswers304) {
  qvtest::FaultyIter iter(MakeRecords({{1, 0, 1, 1}, {2, 0, 1, 1}}), qvtest::Fault::kNull, 1);
  QvRecordIterHandler handler = Make(iter);
  handler.SetStatsModel(&stats_, &model_);
  EXPECT_TRUE(handler.ComputeStatsForOptimizer(false) == QvStatus(304, false));
  EXPECT_EQ(stats_.updates.size(), 1U);
}

TEST_F(QvRecordIterHandlerTest, ARefusedRowAnswers303ForGood) {
  stats_.refused = 2;
  VectorRecordIter iter(MakeRecords({{1, 0, 1, 1}, {2, 0, 1, 1}, {0, 0, 1, 1}}));
  QvRecordIterHandler handler = Make(iter);
  handler.SetStatsModel(&stats_, &model_);
  EXPECT_TRUE(handler.ComputeStatsForOptimizer(false) == QvStatus(303, false));
  EXPECT_EQ(stats_.updates.size(), 2U) << "the pass ends there";
  EXPECT_TRUE(handler.ComputeStatsForOptimizer(false) == QvStatus(303, false));
  EXPECT_EQ(stats_.updates.size(), 2U);
  EXPECT_EQ(iter.Passes(), 2);
}

TEST_F(QvRecordIterHandlerTest, ACategoryThatWasNotObservedIsForTheStatisticsToRefuse) {
  model_.localIndices = {0, -1, 1};
  EXPECT_TRUE(Pass({{1, 0, 1, 1}}).IsOK());
  ASSERT_EQ(stats_.updates.size(), 1U);
  EXPECT_EQ(stats_.updates[0].category, -1);
}

TEST_F(QvRecordIterHandlerTest, ARowTheModelCannotCodeGoesOnWithoutDesignValues) {
  model_.isCoded = false;
  EXPECT_TRUE(Pass({{1, 0, 1, 1}}).IsOK());
  ASSERT_EQ(stats_.updates.size(), 1U);
  EXPECT_TRUE(stats_.updates[0].indices.empty());
}

TEST_F(QvRecordIterHandlerTest, CancellationEndsThePassBeforeTheRecordWithoutAnError) {
  qvtest::CancelAtPoll query(2);
  cancel_.SetCancelPtr(&query);
  VectorRecordIter iter(MakeRecords({{1, 0, 1, 1}, {2, 0, 1, 1}, {0, 0, 1, 1}}));
  EXPECT_TRUE(Pass(iter).IsOK());
  EXPECT_EQ(stats_.updates.size(), 1U);
  EXPECT_EQ(iter.Position(), 1U);
}

TEST_F(QvRecordIterHandlerTest, ACancelFlagReadsNoRecord) {
  cancel_.SetCancel();
  VectorRecordIter iter(MakeRecords({{1, 0, 1, 1}}));
  EXPECT_TRUE(Pass(iter).IsOK());
  EXPECT_EQ(iter.Position(), 0U);
}

TEST_F(QvRecordIterHandlerTest, AsksTheHostOncePerRecord) {
  qvtest::CancelAtPoll query(0);
  cancel_.SetCancelPtr(&query);
  EXPECT_TRUE(Pass({{1, 0, 1, 1}, {2, 0, 1, 1}, {0, 0, 1, 1}}).IsOK());
  EXPECT_EQ(query.Polls(), 3);
}

TEST_F(QvRecordIterHandlerTest, ResetsTheStatisticsAsAsked) {
  VectorRecordIter iter({});
  QvRecordIterHandler handler = Make(iter);
  handler.SetStatsModel(&stats_, &model_);
  handler.ResetAccumStats(QvConst::QvMethodFisherScoring, true);
  handler.ResetAccumStats(QvConst::QvMethodNewtonRaphson, false);
  EXPECT_EQ(stats_.resets, (std::vector<std::pair<int, bool>>{{1, true}, {0, false}}));
}

TEST_F(QvRecordIterHandlerTest, HasNoWarningsAndDisplaysNothing) {
  VectorRecordIter iter({});
  QvRecordIterHandler handler = Make(iter);
  handler.SetStatsModel(&stats_, &model_);
  handler.ComputeStatsForOptimizer(false);
  handler.CleanStatsModel();
  EXPECT_TRUE(handler.GetWarnings().empty());
  EXPECT_EQ(qvtest::OutputOf([&handler] { handler.Display(); }), "");
}

TEST(IQvDataHandler, DeclaresItsOperationsInSlotOrder) {
  if (!qvtest::kKnowsVirtualSlots) GTEST_SKIP() << "the compiler's tables are not known";
  std::size_t slot = qvtest::kSlotAfterDestructor;
  EXPECT_EQ(qvtest::VirtualSlot(&IQvDataHandler::SetStatsModel), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&IQvDataHandler::ResetAccumStats), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&IQvDataHandler::CleanStatsModel), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&IQvDataHandler::ComputeStatsForOptimizer), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&IQvDataHandler::GetWarnings), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&IQvDataHandler::Display), slot++);
}

}  // namespace
