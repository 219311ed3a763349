#include "qvreg/parallel/QvScorer.h"

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/QvPassMessages.h"
#include "qvreg/component/QvRegAlgorithm.h"
#include "qvreg/parallel/QvPassProcessor.h"

using QvCommon::QvStatus;

struct QvScorer::State {
  QvPassProcessor processor{nullptr};
  QvRegAlgorithm* algorithm = nullptr;  ///< The processor's.
};

QvScorer::QvScorer() = default;

QvScorer::~QvScorer() = default;

QvStatus QvScorer::Open(const std::vector<unsigned char>& model) {
  fpState.reset();
  return GuardOperation([&]() -> QvStatus {
    QvPassRequest request;
    const QvStatus status = ReadRequest(model, request);
    if (status.IsError()) return status;
    auto state = std::make_unique<State>();
    state->algorithm = state->processor.PrepareScoring(request);
    if (state->algorithm == nullptr) return {QvStatusCode::kUnreadableMessage, false};
    fpState = std::move(state);
    return {};
  });
}

QvStatus QvScorer::Score(const QvCommon::Record& record, double& predicted,
                         std::vector<double>& values) {
  if (fpState == nullptr) return {QvStatusCode::kNotBuilt, false};
  return GuardOperation([&] { return fpState->algorithm->Score(record, predicted, values); });
}

bool QvScorer::ExpandRow(const QvCommon::Record& record, std::vector<int>& indices,
                         std::vector<double>& values) {
  bool isExpanded = false;
  GuardOperation([&]() -> QvStatus {
    isExpanded = fpState != nullptr && fpState->algorithm->ExpandSparseRow(record, indices, values);
    return {};
  });
  return isExpanded;
}
