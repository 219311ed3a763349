#include "qvreg/parallel/QvPassProcessor.h"

#include <utility>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/data/IQvRecordBlocks.h"
#include "qvreg/glm/QvGLMAlgorithm.h"
#include "qvreg/logistic/QvLogAlgorithm.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "qvreg/settings/QvSettingsBytes.h"

using QvCommon::QvByteReader;
using QvCommon::QvStatus;

namespace {

QvStatus Unreadable() { return {QvStatusCode::kUnreadableMessage, false}; }

std::unique_ptr<QvRegAlgorithm> MakeAlgorithm(const QvRegSettings& settings) {
  const auto* logistic = dynamic_cast<const QvLogRegSettings*>(&settings);
  if (logistic != nullptr) return std::make_unique<QvLogAlgorithm>(*logistic);
  return std::make_unique<QvGLMAlgorithm>(settings);
}

/// An iterator whose pass has been started already.
class StartedIter : public QvCommon::MultiPassRecordIter {
 public:
  explicit StartedIter(QvCommon::MultiPassRecordIter& iter) : fIter(iter) {}

  [[nodiscard]] bool HasMore() const override { return fIter.HasMore(); }
  const QvCommon::Record* Next() override { return fIter.Next(); }
  [[nodiscard]] int GetFailReason() const override { return fIter.GetFailReason(); }
  int NewPass() override { return QvCommon::kIterOk; }

 private:
  QvCommon::MultiPassRecordIter& fIter;
};

/// One that lends blocks.
class StartedBlocks final : public StartedIter, public QvCommon::IQvRecordBlocks {
 public:
  StartedBlocks(QvCommon::MultiPassRecordIter& iter, QvCommon::IQvRecordBlocks& blocks)
      : StartedIter(iter), fBlocks(blocks) {}

  QvCommon::QvRecordBlock NextBlock() override { return fBlocks.NextBlock(); }
  void EndBlock(std::size_t nRead) noexcept override { fBlocks.EndBlock(nRead); }

 private:
  QvCommon::IQvRecordBlocks& fBlocks;
};

/// Calls `run` with the iterator, whose pass has been started.
template <typename Run>
QvStatus RunStarted(QvCommon::MultiPassRecordIter& iter, Run&& run) {
  if (auto* blocks = dynamic_cast<QvCommon::IQvRecordBlocks*>(&iter); blocks != nullptr) {
    StartedBlocks started(iter, *blocks);
    return run(started);
  }
  StartedIter started(iter);
  return run(started);
}

}  // namespace

QvStatus QvPassProcessor::SetUp(const QvPassRequest& request) {
  fpAlgorithm.reset();
  QvByteReader reader(request.fBase);
  fpSettings = ReadSettings(reader);
  if (fpSettings == nullptr) return Unreadable();
  fpSettings->SetCancelPointer(fpQuery);
  std::unique_ptr<QvRegAlgorithm> algorithm = MakeAlgorithm(*fpSettings);
  if (request.fKind != QvPassKind::kTables) algorithm->ReadTables(reader);
  if (!reader.IsAtEnd()) return Unreadable();
  fpAlgorithm = std::move(algorithm);
  fBaseDigest = request.fBaseDigest;
  return {};
}

QvStatus QvPassProcessor::PrepareAny(const QvPassRequest& request) {
  if (fpAlgorithm == nullptr || request.fBaseDigest != fBaseDigest) {
    const QvStatus status = SetUp(request);
    if (status.IsError()) return status;
  }
  fKind = request.fKind;
  QvByteReader state(request.fState);
  fpAlgorithm->ReadState(fKind, state);
  return state.IsAtEnd() ? QvStatus() : Unreadable();
}

QvStatus QvPassProcessor::Prepare(const QvPassRequest& request) {
  return request.fKind == QvPassKind::kScoring ? Unreadable() : PrepareAny(request);
}

QvRegAlgorithm* QvPassProcessor::PrepareScoring(const QvPassRequest& request) {
  const bool isReady = request.fKind == QvPassKind::kScoring && !PrepareAny(request).IsError();
  return isReady ? fpAlgorithm.get() : nullptr;
}

std::unique_ptr<IQvPassSums> QvPassProcessor::MakeSums() { return fpAlgorithm->MakeSums(fKind); }

QvStatus QvPassProcessor::RunPart(QvCommon::MultiPassRecordIter& iter, IQvPassSums& sums,
                                  std::unique_ptr<IQvKeptRows>& rows) {
  // Rows that were kept are not read again.
  if (rows == nullptr) {
    const int reason = iter.NewPass();
    const bool isEmpty = reason == QvCommon::kIterOk && !iter.HasMore();
    if (isEmpty || reason == QvCommon::kIterEndOfData) return {};
    if (reason != QvCommon::kIterOk) return {QvStatusCode::kNoRecords, false};
  }
  // An algorithm that an exception left halfway, or that stopped, is of no further use.
  std::unique_ptr<QvRegAlgorithm> algorithm = std::move(fpAlgorithm);
  algorithm->SwapKeptRows(rows);
  const QvStatus status =
      RunStarted(iter, [&](auto& started) { return algorithm->RunPart(fKind, started, sums); });
  algorithm->SwapKeptRows(rows);
  if (fpQuery != nullptr && fpQuery->QueryWillCancel()) return {QvStatusCode::kCancelled, false};
  // A part may be without a record that can be used.
  const bool isUnused =
      fKind == QvPassKind::kTables && status.GetCode() == QvStatusCode::kNoRecords;
  if (status.IsError() && !isUnused) return status;
  fpAlgorithm = std::move(algorithm);
  return {};
}

bool MergeSums(IQvPassSums& sums, const IQvPassSums& others) {
  if (!sums.Merge(others)) return false;
  sums.fNUsed += others.fNUsed;
  return true;
}
