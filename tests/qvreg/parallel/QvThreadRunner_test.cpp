#include "qvreg/parallel/QvThreadRunner.h"

#include <algorithm>
#include <array>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvBytes.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/RandomModels.h"
#include "tests/qvreg/support/UnusualParts.h"
#include "tests/qvreg/support/VectorParts.h"

namespace {

using qvtest::CountingParts;
using qvtest::EndlessParts;
using qvtest::FittedModel;
using qvtest::MakeRecord;
using qvtest::ModelKind;
using qvtest::NumbersOf;
using qvtest::RandomModel;
using qvtest::RandomRecords;
using qvtest::UntouchedIter;
using qvtest::VectorParts;
using qvtest::VectorRecordIter;
using Doubles = std::vector<double>;
using Records = std::vector<QvCommon::Record>;

Doubles FitPlainly(ModelKind model, const Records& records) {
  RandomModel settings(model);
  VectorRecordIter iter(records);
  return NumbersOf(FittedModel(settings.Get(), iter).Stats());
}

Doubles FitWith(ModelKind model, IQvPassRunner& runner) {
  RandomModel settings(model);
  settings.Get().SetPassRunner(&runner);
  UntouchedIter iter;
  const Doubles numbers = NumbersOf(FittedModel(settings.Get(), iter).Stats());
  EXPECT_EQ(iter.Touches(), 0) << "the iterator is not needed";
  return numbers;
}

Doubles FitOnThreads(ModelKind model, IQvRecordParts& parts, int threads) {
  QvThreadRunner runner(parts, threads);
  return FitWith(model, runner);
}

/// The status of building a model with the runner.
QvCommon::QvStatus StatusWith(ModelKind model, IQvPassRunner& runner,
                              QvQueryCancel* query = nullptr) {
  RandomModel settings(model);
  settings.Get().SetPassRunner(&runner);
  settings.Get().SetCancelPointer(query);
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings.Get()));
  UntouchedIter iter;
  return component->BuildModel(iter);
}

void ExpectNear(const Doubles& actual, const Doubles& expected, double share) {
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < actual.size(); ++i) {
    EXPECT_NEAR(actual[i], expected[i], share * std::abs(expected[i]) + share * 1e-3) << i;
  }
}

class QvThreadRunnerTest : public ::testing::TestWithParam<ModelKind> {
 protected:
  const Records records_ = RandomRecords(600);
};

INSTANTIATE_TEST_SUITE_P(Models, QvThreadRunnerTest,
                         ::testing::Values(ModelKind::kLinear, ModelKind::kLogistic,
                                           ModelKind::kInMemory),
                         [](const auto& tested) { return qvtest::ModelKindName(tested.param); });

TEST_P(QvThreadRunnerTest, OnePartGivesTheBitsOfARunWithoutRunner) {
  VectorParts parts(records_, 1);
  EXPECT_EQ(FitOnThreads(GetParam(), parts, 1), FitPlainly(GetParam(), records_));
}

TEST_P(QvThreadRunnerTest, SeveralPartsDifferByRoundingOnly) {
  VectorParts parts(records_, 5);
  ExpectNear(FitOnThreads(GetParam(), parts, 2), FitPlainly(GetParam(), records_), 1e-9);
}

TEST_P(QvThreadRunnerTest, AColumnThatIsNotFiniteIsLeftOutInEveryPart) {
  Records records = records_;
  records.back()[qvtest::kZ] = std::numeric_limits<double>::infinity();
  const Doubles expected = FitPlainly(GetParam(), records);
  EXPECT_NE(expected, FitPlainly(GetParam(), records_));
  VectorParts parts(records, 5);
  ExpectNear(FitOnThreads(GetParam(), parts, 2), expected, 1e-9);
}

TEST_P(QvThreadRunnerTest, TheNumberOfThreadsDoesNotShow) {
  VectorParts parts(records_, 13);
  const Doubles one = FitOnThreads(GetParam(), parts, 1);
  for (const int threads : {2, 3, 7, 64}) {
    EXPECT_EQ(FitOnThreads(GetParam(), parts, threads), one) << threads;
  }
}

TEST_P(QvThreadRunnerTest, ARunnerServesSeveralRuns) {
  VectorParts parts(records_, 4);
  QvThreadRunner runner(parts, 2);
  const Doubles first = FitWith(GetParam(), runner);
  FitWith(ModelKind::kLinear, runner);
  EXPECT_EQ(FitWith(GetParam(), runner), first);
}

TEST_P(QvThreadRunnerTest, PartsMayBeEmptyOrOfMissingRecords) {
  const Records missing(3, MakeRecord({1, 1, -1, -1, 0, 10, 1, 1}));
  const auto half = static_cast<std::ptrdiff_t>(records_.size() / 2);
  VectorParts parts({{},
                     missing,
                     Records(records_.begin(), records_.begin() + half),
                     {},
                     Records(records_.begin() + half, records_.end()),
                     {}});
  ExpectNear(FitOnThreads(GetParam(), parts, 3), FitPlainly(GetParam(), records_), 1e-9);
}

TEST_P(QvThreadRunnerTest, NoRecordAtAllIsAnError) {
  VectorParts parts({{}, {}, {}});
  QvThreadRunner runner(parts, 2);
  EXPECT_EQ(StatusWith(GetParam(), runner).GetCode(), QvStatusCode::kNoRecords);
}

TEST_P(QvThreadRunnerTest, TheFirstBadRecordOfSeveralIsReported) {
  Records records = records_;
  records[100][qvtest::kF] = 77.0;  // in part 0 of 3
  records[250][qvtest::kG] = 88.5;
  records[599][qvtest::kF] = 99.0;
  VectorParts parts(records, 3);
  for (const int threads : {1, 3}) {
    QvThreadRunner runner(parts, threads);
    const QvCommon::QvStatus status = StatusWith(GetParam(), runner);
    EXPECT_EQ(status.GetCode(), QvStatusCode::kBadCategory);
    double value = 0.0;
    long variable = -1;
    EXPECT_TRUE(status.GetScaleDatum(1, value));
    EXPECT_TRUE(status.GetDiscreteDatum(1, variable));
    EXPECT_EQ(value, 77.0);
    EXPECT_EQ(variable, qvtest::kF);
  }
}

TEST_P(QvThreadRunnerTest, ACategoryThatOnePartHoldsIsThere) {
  Records sorted = records_;
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const auto& a, const auto& b) { return a[qvtest::kF] < b[qvtest::kF]; });
  VectorParts parts(sorted, 4);
  ExpectNear(FitOnThreads(GetParam(), parts, 2), FitPlainly(GetParam(), sorted), 1e-9);
}

/// The numbers' bits, so that what is not a number equals itself.
std::vector<std::uint64_t> BitsOf(const Doubles& numbers) {
  std::vector<std::uint64_t> bits;
  for (const double number : numbers) bits.push_back(std::bit_cast<std::uint64_t>(number));
  return bits;
}

/// Records that reach what RandomRecords do not: a part's sums are of another kind than those of
/// the next.
struct HardRecords {
  std::string name;
  std::function<void(QvCommon::Record& record, bool isFirstHalf)> change;
};

void PrintTo(const HardRecords& hard, std::ostream* out) { *out << hard.name; }

class QvThreadRunnerHard : public ::testing::TestWithParam<std::tuple<ModelKind, HardRecords>> {};

std::vector<HardRecords> AllHardRecords() {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const auto tiny = [](double first, double second) {
    return [=](auto& r, bool isFirst) { r[qvtest::kRegr] = isFirst ? first : second; };
  };
  return {
      {"TinyWeightsFirst", tiny(1e-150, 1e150)},
      {"TinyWeightsLast", tiny(1e150, 1e-150)},
      {"LargeColumns", [](auto& r, bool) { r[qvtest::kX] *= 1e300; }},
      {"LargeColumnsInOneHalf", [](auto& r, bool first) { r[qvtest::kX] *= first ? 1e300 : 1.0; }},
      {"OneInfinity",
       [](auto& r, bool) {
         if (r[qvtest::kX] > 2.5) r[qvtest::kX] = kInfinity;
       }},
      {"ConstantDependent", [](auto& r, bool) { r[qvtest::kY] = 0.1; }},
      {"DependentConstantInEachHalf",
       [](auto& r, bool first) { r[qvtest::kY] = first ? 0.1 : 0.3; }},
      {"SeparatedLevels",
       [](auto& r, bool) {
         if (r[qvtest::kX] > 0.5) r[qvtest::kCategory] = 0.0;
       }},
  };
}

INSTANTIATE_TEST_SUITE_P(Records, QvThreadRunnerHard,
                         ::testing::Combine(::testing::Values(ModelKind::kLinear,
                                                              ModelKind::kLogistic,
                                                              ModelKind::kInMemory),
                                            ::testing::ValuesIn(AllHardRecords())),
                         [](const auto& tested) {
                           return qvtest::ModelKindName(std::get<0>(tested.param)) +
                                  std::get<1>(tested.param).name;
                         });

TEST_P(QvThreadRunnerHard, OnePartIsAPlainRunAndThreadsDoNotShow) {
  const auto& [kind, hard] = GetParam();
  Records records = RandomRecords(600);
  for (std::size_t i = 0; i < records.size(); ++i) {
    if (records[i][qvtest::kX] != QvMV::gMissingValue) hard.change(records[i], i < 300);
  }
  VectorParts whole(records, 1);
  EXPECT_EQ(BitsOf(FitOnThreads(kind, whole, 2)), BitsOf(FitPlainly(kind, records)));
  VectorParts parts(records, 6);
  const std::vector<std::uint64_t> one = BitsOf(FitOnThreads(kind, parts, 1));
  EXPECT_EQ(BitsOf(FitOnThreads(kind, parts, 3)), one);
}

TEST(QvThreadRunner, SumsOfVeryDifferentWeightsAreThoseOfOnePart) {
  for (const bool isTinyFirst : {true, false}) {
    Records records = RandomRecords(600);
    for (std::size_t i = 0; i < records.size(); ++i) {
      records[i][qvtest::kRegr] = (i < 300) == isTinyFirst ? 1e-150 : 1e150;
    }
    VectorParts parts(records, 6);
    ExpectNear(FitOnThreads(ModelKind::kLinear, parts, 2), FitPlainly(ModelKind::kLinear, records),
               1e-9);
  }
}

TEST_P(QvThreadRunnerTest, APartIsStartedOnceAPassAndNotWhereItsRowsAreKept) {
  CountingParts parts(records_, 4);
  QvThreadRunner threads(parts, 1);
  class Runner : public IQvPassRunner {
   public:
    explicit Runner(IQvPassRunner& inner) : inner_(inner) {}
    QvCommon::QvStatus Run(const std::vector<unsigned char>& request, QvCancelInfo& cancel,
                           std::vector<unsigned char>& answer) override {
      ++passes_;
      return inner_.Run(request, cancel, answer);
    }
    int passes_ = 0;

   private:
    IQvPassRunner& inner_;
  };
  Runner runner(threads);
  FitWith(GetParam(), runner);
  const int reading = GetParam() == ModelKind::kInMemory ? 2 : runner.passes_;
  EXPECT_EQ(parts.starts_, 4 * reading);
}

TEST_P(QvThreadRunnerTest, APartThatCannotBeStartedEndsTheRun) {
  for (const int refused : {1, 2, 6}) {
    CountingParts parts(records_, 4);
    parts.refused_ = refused;
    QvThreadRunner runner(parts, 1);
    EXPECT_EQ(StatusWith(GetParam(), runner).GetCode(), QvStatusCode::kNoRecords) << refused;
  }
}

/// Parts that throw, or cannot be opened.
class FailingParts : public VectorParts {
 public:
  struct Exception : std::runtime_error {
    using std::runtime_error::runtime_error;
  };

  using VectorParts::VectorParts;
  [[nodiscard]] std::unique_ptr<QvCommon::MultiPassRecordIter> OpenPart(int part) override {
    if (part == throwing_ && opened_[static_cast<std::size_t>(part)]++ >= from_) {
      throw Exception("part " + std::to_string(part));
    }
    if (part == missing_) return nullptr;
    return VectorParts::OpenPart(part);
  }

  int throwing_ = -1;
  int from_ = 0;
  int missing_ = -1;

 private:
  std::array<int, 8> opened_{};
};

TEST_P(QvThreadRunnerTest, WhatAPartThrowsArrivesOnTheCallingThread) {
  for (const int from : {0, 1, 2}) {
    FailingParts parts(records_, 5);
    parts.throwing_ = 3;
    parts.from_ = from;
    QvThreadRunner runner(parts, 2);
    EXPECT_THROW(StatusWith(GetParam(), runner), FailingParts::Exception) << from;
  }
}

TEST_P(QvThreadRunnerTest, APartThatCannotBeOpenedEndsTheRun) {
  FailingParts parts(records_, 5);
  parts.missing_ = 2;
  QvThreadRunner runner(parts, 2);
  EXPECT_EQ(StatusWith(GetParam(), runner).GetCode(), QvStatusCode::kNoRecords);
}

/// A query that answers yes from the n-th question on, and knows who asks.
class CountingQuery : public QvQueryCancel {
 public:
  explicit CountingQuery(int from) : from_(from) {}
  bool QueryCancel() override { return QueryWillCancel(); }
  bool QueryWillCancel() override {
    isOwnThread_ = isOwnThread_ && std::this_thread::get_id() == owner_;
    return ++questions_ >= from_;
  }
  [[nodiscard]] bool IsOwnThread() const { return isOwnThread_; }

 private:
  const std::thread::id owner_ = std::this_thread::get_id();
  bool isOwnThread_ = true;
  int from_;
  int questions_ = 0;
};

TEST_P(QvThreadRunnerTest, TheQueryIsAskedOnTheCallingThreadAndStopsARun) {
  EndlessParts parts(records_, 3);
  QvThreadRunner runner(parts, 2);
  CountingQuery query(5);
  EXPECT_EQ(StatusWith(GetParam(), runner, &query).GetCode(), QvStatusCode::kCancelled);
  EXPECT_TRUE(query.IsOwnThread());
}

/// Makes passes as another runner does; a stop is asked for while the last of its answers is made.
class StoppingRunner : public IQvPassRunner {
 public:
  explicit StoppingRunner(IQvPassRunner& runner) : runner_(runner) {}
  QvCommon::QvStatus Run(const QvCommon::QvBytes& request, QvCancelInfo& cancel,
                         QvCommon::QvBytes& answer) override {
    const QvCommon::QvStatus status = runner_.Run(request, cancel, answer);
    cancel.SetCancel();
    return status;
  }

 private:
  IQvPassRunner& runner_;
};

TEST_P(QvThreadRunnerTest, AStopIsSeenThoughTheAnswerIsThere) {
  VectorParts parts(records_, 2);
  QvThreadRunner runner(parts, 1);
  StoppingRunner stopping(runner);
  EXPECT_EQ(StatusWith(GetParam(), stopping), QvCommon::QvStatus(QvStatusCode::kCancelled, false));
}

TEST_P(QvThreadRunnerTest, CancelFromAnotherThreadStopsARun) {
  EndlessParts parts(records_, 3);
  QvThreadRunner runner(parts, 2);
  RandomModel settings(GetParam());
  settings.Get().SetPassRunner(&runner);
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings.Get()));
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    component->Cancel();
  });
  UntouchedIter iter;
  EXPECT_EQ(component->BuildModel(iter).GetCode(), QvStatusCode::kCancelled);
  other.join();
}

TEST_P(QvThreadRunnerTest, LittleMemoryMeansOneThreadAndTheSameBits) {
  VectorParts parts(records_, 6);
  QvThreadRunner runner(parts, 3);
  EXPECT_EQ(runner.GetThreadCount(), 3);
  runner.SetMemoryBound(1);
  const Doubles numbers = FitWith(GetParam(), runner);
  EXPECT_EQ(runner.GetThreadCount(), 1);
  EXPECT_EQ(numbers, FitOnThreads(GetParam(), parts, 3));
}

TEST_P(QvThreadRunnerTest, AFailedAllocationEndsTheRunAsOnOneThread) {
  const Records records = RandomRecords(60);
  VectorParts parts(records, 4);
  const Doubles expected = FitOnThreads(GetParam(), parts, 2);
  bool hasStruck = true;
  for (long long n = 1; hasStruck; n += 1 + n / 20) {
    QvThreadRunner runner(parts, 2);
    RandomModel settings(GetParam());
    settings.Get().SetPassRunner(&runner);
    QvRegFactory factory;
    const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings.Get()));
    UntouchedIter iter;
    QvCommon::QvStatus status;
    bool hasThrown = false;
    {
      const qvtest::AllocationFault fault(n, qvtest::AllocationFault::Extent::kOnce);
      try {
        status = component->BuildModel(iter);
      } catch (...) {
        hasThrown = true;
      }
      hasStruck = fault.HasStruck();
    }
    EXPECT_FALSE(hasThrown) << n;
    if (hasStruck && status.IsError()) {
      // A record that could not be copied is empty, which is found as it is checked.
      EXPECT_TRUE(status.GetCode() == QvStatusCode::kTooManyParameters ||
                  status.GetCode() == QvStatusCode::kShortRecord)
          << n << ": " << status.GetCode();
      continue;
    }
    ASSERT_FALSE(status.IsError()) << n;
    IQvRegOutputStats* stats = nullptr;
    ASSERT_FALSE(component->GetOutputStats(stats).IsError());
    EXPECT_EQ(NumbersOf(*stats), expected) << n;
  }
}

TEST(QvThreadRunner, CountsRecordsAsOneThreadDoes) {
  RandomModel plain(ModelKind::kLinear);
  RandomModel threaded(ModelKind::kLinear);
  const Records records = RandomRecords(300);
  VectorParts parts(records, 7);
  QvThreadRunner runner(parts, 2);
  threaded.Get().SetPassRunner(&runner);
  UntouchedIter untouched;
  VectorRecordIter iter(records);
  FittedModel expectedFit(plain.Get(), iter);
  FittedModel fit(threaded.Get(), untouched);
  const auto& expected = dynamic_cast<const QvGLMOutputStats&>(expectedFit.Stats());
  const auto& actual = dynamic_cast<const QvGLMOutputStats&>(fit.Stats());
  EXPECT_EQ(actual.GetRecordCounts().fRead, expected.GetRecordCounts().fRead);
  EXPECT_EQ(actual.GetRecordCounts().fUsed, expected.GetRecordCounts().fUsed);
  EXPECT_EQ(actual.GetRecordCounts().fMissing, expected.GetRecordCounts().fMissing);
  EXPECT_EQ(actual.GetRecordCounts().fBadWeight, expected.GetRecordCounts().fBadWeight);
  EXPECT_EQ(actual.GetRecordCounts().fUsedLater, -1);
}

}  // namespace
