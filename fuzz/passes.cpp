// Requests and answers that were altered on their way, so that their checksum does not tell:
// refused, or computed with; a run ends with a status or a model, whatever its runner answers.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/Check.h"
#include "fuzz/Messages.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/QvPassMessages.h"
#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/parallel/QvPassWorker.h"
#include "qvreg/settings/QvSettingsBytes.h"
#include "tests/qvreg/support/RandomModels.h"
#include "tests/qvreg/support/VectorParts.h"

namespace {

using namespace qvfuzz;
using QvCommon::QvBytes;
using QvCommon::QvMessageType;
using QvCommon::QvStatus;

constexpr std::size_t kParts = 2;

/// A pass of an honest run.
struct Pass {
  QvBytes request;
  std::vector<QvBytes> answers;  ///< Of each part.
};

/// Makes passes with one worker, and keeps them; or answers one of them with altered bytes.
class Runner : public IQvPassRunner {
 public:
  explicit Runner(qvtest::VectorParts& parts) : parts_(parts) {}

  /// Has the final answer of pass `number` damaged by `data`.
  void DamageAnswer(std::size_t number, FuzzedDataProvider& data) {
    damaged_ = number;
    data_ = &data;
  }

  QvStatus Run(const QvBytes& request, QvCancelInfo& /*cancel*/, QvBytes& answer) override {
    Pass pass{request, std::vector<QvBytes>(kParts)};
    for (std::size_t i = 0; i < kParts; ++i) {
      const auto part = static_cast<int>(i);
      const auto records = parts_.OpenPart(part);
      Check(worker_.Run(request, part, *records, pass.answers[i]).IsOK(), "a request is answered");
    }
    Check(worker_.Merge(request, pass.answers[0], pass.answers[1], answer).IsOK(),
          "answers are merged");
    if (data_ != nullptr && passes_.size() == damaged_) {
      QvBytes contents = ContentsOf(answer);
      Damage(*data_, contents);
      answer = MessageOf(QvMessageType::kAnswer, contents);
    }
    passes_.push_back(std::move(pass));
    return {};
  }

  [[nodiscard]] const std::vector<Pass>& Passes() const { return passes_; }

 private:
  qvtest::VectorParts& parts_;
  QvPassWorker worker_;
  std::vector<Pass> passes_;
  std::size_t damaged_ = 0;
  FuzzedDataProvider* data_ = nullptr;
};

/// A run by this runner: a status, or a model that can be written.
void RunWith(qvtest::ModelKind kind, Runner& runner) {
  qvtest::RandomModel model(kind);
  if (auto* logistic = dynamic_cast<QvLogRegSettings*>(&model.Get())) {
    constexpr int kFewIterations = 4;
    Check(logistic->SetMaxIterations(kFewIterations), "iterations");
  }
  model.Get().SetPassRunner(&runner);
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(model.Get()));
  qvtest::UntouchedIter untouched;
  const QvStatus status = component->BuildModel(untouched);
  Check(component->IsModelBuilt() != status.IsError(), "a run ends with an error or with a model");
  if (status.IsError()) return;
  IQvRegOutputStats* stats = nullptr;
  Check(component->GetOutputStats(stats).IsOK(), "a model has results");
  static_cast<void>(qvtest::NumbersOf(*stats));
  QvBytes bytes;
  Check(component->WriteModel(bytes).IsOK(), "a model is written");
}

/// The passes of one honest run of each kind of model.
struct Honest {
  Honest() {
    for (const auto kind :
         {qvtest::ModelKind::kLinear, qvtest::ModelKind::kLogistic, qvtest::ModelKind::kInMemory}) {
      kinds.push_back(kind);
      Runner runner(parts);
      RunWith(kind, runner);
      passes.push_back(runner.Passes());
    }
  }

  qvtest::VectorParts parts{qvtest::RandomRecords(40), kParts};
  std::vector<qvtest::ModelKind> kinds;
  std::vector<std::vector<Pass>> passes;
};

/// Whether a request is for tables of millions of levels, which are allowed, and take gigabytes.
bool IsLarge(const QvBytes& bytes) {
  QvPassRequest request;
  if (ReadRequest(bytes, request).IsError()) return false;
  QvCommon::QvByteReader reader(request.fBase);
  const std::unique_ptr<QvRegSettings> settings = ReadSettings(reader);
  constexpr int kLarge = 1 << 16;
  return settings != nullptr &&
         std::ranges::any_of(settings->GetFactorSizes(), [](int size) { return size > kLarge; });
}

/// A worker that gets an altered request, and answers to it.
void TryRequest(Honest& honest, const Pass& pass, FuzzedDataProvider& data) {
  QvBytes contents = ContentsOf(pass.request);
  Damage(data, contents);
  const QvBytes request = MessageOf(QvMessageType::kRequest, contents);
  if (IsLarge(request)) return;
  QvPassWorker worker;
  std::vector<QvBytes> answers(kParts);
  for (std::size_t i = 0; i < kParts; ++i) {
    const auto records = honest.parts.OpenPart(static_cast<int>(i));
    const QvStatus status = worker.Run(request, static_cast<int>(i), *records, answers[i]);
    if (status.IsError()) return;
  }
  QvBytes merged;
  Check(worker.Merge(request, answers[0], answers[1], merged).IsOK(), "a worker's own answers");
}

/// A worker that merges altered answers.
void TryAnswers(const Pass& pass, FuzzedDataProvider& data) {
  std::vector<QvBytes> answers = pass.answers;
  for (QvBytes& answer : answers) {
    QvBytes contents = ContentsOf(answer);
    Damage(data, contents);
    answer = MessageOf(QvMessageType::kAnswer, contents);
  }
  QvPassWorker worker;
  QvBytes merged;
  const QvStatus status = worker.Merge(pass.request, answers[0], answers[1], merged);
  Check(!status.IsOK() || !merged.empty(), "a merged answer or an error");
  if (!status.IsOK()) return;
  QvBytes again;
  Check(worker.Merge(pass.request, merged, merged, again).IsOK(), "a merged answer is an answer");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static Honest honest;
  FuzzedDataProvider data(bytes, size);
  const auto which = data.ConsumeIntegralInRange<std::size_t>(0, honest.kinds.size() - 1);
  const std::vector<Pass>& passes = honest.passes[which];
  const auto number = data.ConsumeIntegralInRange<std::size_t>(0, passes.size() - 1);
  // A whole run costs ten times as much as a request or two answers.
  switch (data.ConsumeIntegralInRange(0, 7)) {
    case 0:
    case 1:
    case 2:
      TryRequest(honest, passes[number], data);
      break;
    case 3:
    case 4:
    case 5:
    case 6:
      TryAnswers(passes[number], data);
      break;
    default: {
      Runner runner(honest.parts);
      runner.DamageAnswer(number, data);
      RunWith(honest.kinds[which], runner);
    }
  }
  return 0;
}
