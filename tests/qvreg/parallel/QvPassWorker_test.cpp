#include "qvreg/parallel/QvPassWorker.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/IQvPassRunner.h"
#include "qvreg/factory/QvRegFactory.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/RandomModels.h"
#include "tests/qvreg/support/UnusualParts.h"
#include "tests/qvreg/support/VectorParts.h"

namespace {

using qvtest::FittedModel;
using qvtest::ModelKind;
using qvtest::NumbersOf;
using qvtest::RandomModel;
using qvtest::RandomRecords;
using qvtest::UntouchedIter;
using qvtest::VectorParts;
using Bytes = std::vector<unsigned char>;
using Doubles = std::vector<double>;
using QvCommon::QvStatus;

/// What befalls the answers on their way.
enum class Fate {
  kNone,
  kOneWorker,   ///< One worker computes every part.
  kAnyWorker,   ///< Each request goes to another worker, which knows nothing of the part.
  kRepeated,    ///< Every part is computed twice, and the second answer is used.
  kDropped,     ///< The first answer is lost, and computed again by another worker.
  kLate,        ///< Answers come in from the last part to the first.
  kCorrupted,   ///< The first answer is damaged, noticed, and computed again.
  kAfterwards,  ///< Answers of the pass before come in once more, and are noticed.
};

/// A runner that carries requests and answers between workers as a cluster does: as copies of their
/// bytes and nothing else. Remembers how many there were.
class BytesRunner : public IQvPassRunner {
 public:
  BytesRunner(VectorParts& parts, Fate fate, int workers = 3) : parts_(parts), fate_(fate) {
    for (int i = 0; i < workers; ++i) workers_.push_back(std::make_unique<QvPassWorker>());
  }

  QvStatus Run(const Bytes& request, QvCancelInfo& /*cancel*/, Bytes& answer) override {
    ++passes_;
    requestBytes_ += request.size();
    std::vector<Bytes> answers(static_cast<std::size_t>(parts_.GetPartCount()));
    for (int i = 0; i < parts_.GetPartCount(); ++i) {
      const int part = fate_ == Fate::kLate ? parts_.GetPartCount() - 1 - i : i;
      const QvStatus status = Answer(request, part, answers[static_cast<std::size_t>(part)]);
      if (status.IsError()) return status;
    }
    before_ = answers;
    return MergeAll(request, std::move(answers), answer);
  }

  [[nodiscard]] int Passes() const { return passes_; }
  [[nodiscard]] std::size_t RequestBytes() const { return requestBytes_; }
  [[nodiscard]] std::size_t AnswerBytes() const { return answerBytes_; }
  [[nodiscard]] int Refused() const { return refused_; }

 private:
  QvPassWorker& WorkerOf(int part) {
    std::size_t worker = static_cast<std::size_t>(part);
    if (fate_ == Fate::kOneWorker) worker = 0;
    if (fate_ == Fate::kAnyWorker) worker += static_cast<std::size_t>(passes_);
    return *workers_[worker % workers_.size()];
  }

  QvStatus Compute(QvPassWorker& worker, const Bytes& request, int part, Bytes& answer) {
    const auto iter = parts_.OpenPart(part);
    const QvStatus status = worker.Run(Bytes(request), part, *iter, answer);
    answerBytes_ += answer.size();
    return status;
  }

  QvStatus Answer(const Bytes& request, int part, Bytes& answer) {
    QvStatus status = Compute(WorkerOf(part), request, part, answer);
    const auto again = [&](int worker) {
      return Compute(*workers_[static_cast<std::size_t>(worker)], request, part, answer);
    };
    if (fate_ == Fate::kRepeated) status = again(part % 3);
    if (fate_ == Fate::kDropped && part == 0) status = again(2);
    if (fate_ == Fate::kCorrupted && part == 1) {
      answer[answer.size() / 2] ^= 0x10;
      ExpectRefused(request, answer);
      status = again(1);
    }
    if (fate_ == Fate::kAfterwards && !before_.empty()) {
      ExpectRefused(request, before_[static_cast<std::size_t>(part)]);
    }
    return status;
  }

  void ExpectRefused(const Bytes& request, const Bytes& answer) {
    Bytes merged;
    const QvStatus status = workers_[0]->Merge(request, answer, answer, merged);
    EXPECT_EQ(status.GetCode(), QvStatusCode::kUnreadableMessage);
    ++refused_;
  }

  QvStatus MergeAll(const Bytes& request, std::vector<Bytes> answers, Bytes& answer) {
    while (answers.size() > 1) {
      std::vector<Bytes> merged;
      for (std::size_t i = 0; i < answers.size(); i += 2) {
        merged.push_back(answers[i]);
        if (i + 1 == answers.size()) continue;
        const QvStatus status = workers_[i % workers_.size()]->Merge(request, answers[i],
                                                                     answers[i + 1], merged.back());
        if (status.IsError()) return status;
      }
      answers = std::move(merged);
    }
    answer = answers.front();
    return {};
  }

  VectorParts& parts_;
  Fate fate_;
  std::vector<std::unique_ptr<QvPassWorker>> workers_;
  std::vector<Bytes> before_;
  int passes_ = 0;
  std::size_t requestBytes_ = 0;
  std::size_t answerBytes_ = 0;
  int refused_ = 0;
};

Doubles FitWith(ModelKind kind, IQvPassRunner* runner, QvCommon::MultiPassRecordIter& iter) {
  RandomModel model(kind);
  model.Get().SetPassRunner(runner);
  return NumbersOf(FittedModel(model.Get(), iter).Stats());
}

/// The status of building a model with the runner.
QvStatus StatusWith(ModelKind kind, IQvPassRunner& runner) {
  RandomModel model(kind);
  model.Get().SetPassRunner(&runner);
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(model.Get()));
  UntouchedIter iter;
  return component->BuildModel(iter);
}

Doubles FitWith(ModelKind kind, IQvPassRunner& runner) {
  UntouchedIter iter;
  return FitWith(kind, &runner, iter);
}

class QvPassWorkerTest : public ::testing::TestWithParam<ModelKind> {
 protected:
  VectorParts parts_{RandomRecords(400), 5};
};

INSTANTIATE_TEST_SUITE_P(Models, QvPassWorkerTest,
                         ::testing::Values(ModelKind::kLinear, ModelKind::kLogistic,
                                           ModelKind::kInMemory),
                         [](const auto& tested) { return qvtest::ModelKindName(tested.param); });

TEST_P(QvPassWorkerTest, WhateverBefallsAnswersTheBitsAreTheSame) {
  BytesRunner runner(parts_, Fate::kNone);
  const Doubles expected = FitWith(GetParam(), runner);
  for (const Fate fate : {Fate::kOneWorker, Fate::kAnyWorker, Fate::kRepeated, Fate::kDropped,
                          Fate::kLate, Fate::kCorrupted, Fate::kAfterwards}) {
    BytesRunner other(parts_, fate);
    EXPECT_EQ(FitWith(GetParam(), other), expected) << static_cast<int>(fate);
    if (fate == Fate::kCorrupted) {
      EXPECT_EQ(other.Refused(), other.Passes());
    }
    if (fate == Fate::kAfterwards) {
      EXPECT_EQ(other.Refused(), 5 * (other.Passes() - 1));
    }
  }
}

TEST_P(QvPassWorkerTest, OnePartGivesTheBitsOfARunWithoutRunner) {
  const std::vector<QvCommon::Record> records = RandomRecords(400);
  VectorParts whole(records, 1);
  BytesRunner runner(whole, Fate::kNone);
  qvtest::VectorRecordIter iter(records);
  EXPECT_EQ(FitWith(GetParam(), runner), FitWith(GetParam(), nullptr, iter));
}

TEST_P(QvPassWorkerTest, AnswersAreOfTheSizeOfTheModelNotOfTheRecords) {
  BytesRunner few(parts_, Fate::kNone);
  FitWith(GetParam(), few);
  VectorParts many(RandomRecords(8000), 5);
  BytesRunner runner(many, Fate::kNone);
  FitWith(GetParam(), runner);
  const auto perPass = [](const BytesRunner& of) {
    return (of.RequestBytes() + of.AnswerBytes()) / static_cast<std::size_t>(of.Passes());
  };
  EXPECT_EQ(perPass(runner) / 1000, perPass(few) / 1000);
}

/// Keeps the first request of each pass, and its answer.
class RecordingRunner : public BytesRunner {
 public:
  using BytesRunner::BytesRunner;
  QvStatus Run(const Bytes& request, QvCancelInfo& cancel, Bytes& answer) override {
    const QvStatus status = BytesRunner::Run(request, cancel, answer);
    messages_.emplace_back(request, answer);
    return status;
  }
  [[nodiscard]] const std::vector<std::pair<Bytes, Bytes>>& Messages() const { return messages_; }

 private:
  std::vector<std::pair<Bytes, Bytes>> messages_;
};

TEST_P(QvPassWorkerTest, DamagedRequestsAndAnswersAreRefused) {
  RecordingRunner runner(parts_, Fate::kNone);
  FitWith(GetParam(), runner);
  std::mt19937 random(7);
  QvPassWorker worker;
  for (const auto& [request, answer] : runner.Messages()) {
    for (int trial = 0; trial < 60; ++trial) {
      Bytes damagedRequest = request;
      Bytes damagedAnswer = answer;
      if (trial % 3 == 0) {
        damagedRequest.resize(random() % request.size());
        damagedAnswer.resize(random() % answer.size());
      } else {
        damagedRequest[random() % request.size()] ^= static_cast<unsigned char>(1 + random() % 255);
        damagedAnswer[random() % answer.size()] ^= static_cast<unsigned char>(1 + random() % 255);
      }
      Bytes result;
      qvtest::VectorRecordIter iter(parts_.Part(0));
      EXPECT_EQ(worker.Run(damagedRequest, 0, iter, result).GetCode(),
                QvStatusCode::kUnreadableMessage);
      EXPECT_EQ(worker.Merge(request, damagedAnswer, answer, result).GetCode(),
                QvStatusCode::kUnreadableMessage);
      EXPECT_EQ(worker.Merge(request, answer, damagedAnswer, result).GetCode(),
                QvStatusCode::kUnreadableMessage);
    }
  }
}

TEST_P(QvPassWorkerTest, ARunnerThatAnswersNonsenseEndsTheRun) {
  class Nonsense : public IQvPassRunner {
   public:
    QvStatus Run(const Bytes& request, QvCancelInfo& /*cancel*/, Bytes& answer) override {
      answer = request;
      return {};
    }
  };
  Nonsense runner;
  EXPECT_EQ(StatusWith(GetParam(), runner).GetCode(), QvStatusCode::kUnreadableMessage);
}

TEST_P(QvPassWorkerTest, ARunnersOwnStatusEndsTheRun) {
  class Refusing : public IQvPassRunner {
   public:
    QvStatus Run(const Bytes& /*request*/, QvCancelInfo& /*cancel*/, Bytes& /*answer*/) override {
      return {QvStatusCode::kUnreadableRecord, false};
    }
  };
  Refusing runner;
  EXPECT_EQ(StatusWith(GetParam(), runner).GetCode(), QvStatusCode::kUnreadableRecord);
}

TEST(QvPassWorker, ReadsThePartsOfAModelInMemoryTwiceInARunAndAgainInAnother) {
  qvtest::CountingParts parts(RandomRecords(400), 5);
  BytesRunner worker(parts, Fate::kOneWorker);
  const Doubles first = FitWith(ModelKind::kInMemory, worker);
  EXPECT_EQ(parts.starts_, 2 * 5);

  const auto fitOther = [&](IQvPassRunner& runner) {
    qvtest::LogisticSettings model(qvtest::kCategory, 3, {{qvtest::kF, 4}}, {qvtest::kZ});
    model.Effect({qvtest::kF}).Effect({}, {qvtest::kZ}).InMemory(true);
    model.Get().SetPassRunner(&runner);
    UntouchedIter iter;
    return NumbersOf(FittedModel(model.Get(), iter).Stats());
  };
  const Doubles other = fitOther(worker);
  EXPECT_EQ(parts.starts_, 4 * 5);
  BytesRunner fresh(parts, Fate::kOneWorker);
  EXPECT_EQ(other, fitOther(fresh));
  EXPECT_NE(other, first);
}

}  // namespace
