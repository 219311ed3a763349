#include "qvreg/parallel/QvPassProcessor.h"

#include <utility>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/data/IQvRecordBlocks.h"
#include "qvreg/data/QvBlockReader.h"
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
class StartedIter final : public QvCommon::MultiPassRecordIter, public QvCommon::IQvRecordBlocks {
 public:
  explicit StartedIter(QvCommon::MultiPassRecordIter& iter) : fReader(iter) {}

  [[nodiscard]] bool HasMore() const override { return fReader.Iter().HasMore(); }
  const QvCommon::Record* Next() override { return fReader.Iter().Next(); }
  [[nodiscard]] int GetFailReason() const override { return fReader.Iter().GetFailReason(); }
  int NewPass() override { return QvCommon::kIterOk; }
  QvCommon::QvRecordBlock NextBlock() override { return fReader.NextBlock(); }
  void EndBlock(std::size_t nRead) noexcept override { fReader.EndBlock(nRead); }

 private:
  QvBlockReader fReader;
};

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
  if (state.IsAtEnd()) return {};
  fpAlgorithm.reset();
  return Unreadable();
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
  StartedIter started(iter);
  // An algorithm that an exception left halfway, or that stopped, is of no further use.
  std::unique_ptr<QvRegAlgorithm> algorithm = std::move(fpAlgorithm);
  algorithm->SwapKeptRows(rows);
  const QvStatus status = algorithm->RunPart(fKind, started, sums);
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
