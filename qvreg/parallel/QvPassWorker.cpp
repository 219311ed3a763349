#include "qvreg/parallel/QvPassWorker.h"

#include <map>
#include <utility>

#include "qvreg/common/QvBytes.h"
#include "qvreg/parallel/QvPassProcessor.h"

using QvCommon::QvBytes;
using QvCommon::QvStatus;

struct QvPassWorker::State {
  explicit State(QvQueryCancel* query) : processor(query) {}

  QvPassProcessor processor;
  /// By part, of the run of this digest.
  std::map<int, std::unique_ptr<IQvKeptRows>> rows;
  std::uint64_t rowsDigest = 0;
};

QvPassWorker::QvPassWorker(QvQueryCancel* query) : fpState(std::make_unique<State>(query)) {}

QvPassWorker::~QvPassWorker() = default;

QvStatus QvPassWorker::Run(const std::vector<unsigned char>& request, int part,
                           QvCommon::MultiPassRecordIter& iter,
                           std::vector<unsigned char>& answer) {
  return GuardOperation([&]() -> QvStatus {
    QvPassRequest unpacked;
    QvStatus status = ReadRequest(request, unpacked);
    if (!status.IsError()) status = fpState->processor.Prepare(unpacked);
    if (status.IsError()) return status;
    if (std::exchange(fpState->rowsDigest, unpacked.fBaseDigest) != unpacked.fBaseDigest) {
      fpState->rows.clear();
    }
    const std::unique_ptr<IQvPassSums> sums = fpState->processor.MakeSums();
    // No memory in the middle of the part is an answer, too.
    status = GuardOperation(
        [&] { return fpState->processor.RunPart(iter, *sums, fpState->rows[part]); });
    answer = WriteAnswer(unpacked, status, sums.get());
    return {};
  });
}

QvStatus QvPassWorker::Merge(const std::vector<unsigned char>& request,
                             const std::vector<unsigned char>& first,
                             const std::vector<unsigned char>& second,
                             std::vector<unsigned char>& merged) {
  return GuardOperation([&]() -> QvStatus {
    QvPassRequest unpacked;
    QvStatus status = ReadRequest(request, unpacked);
    if (!status.IsError()) status = fpState->processor.Prepare(unpacked);
    if (status.IsError()) return status;
    const std::unique_ptr<IQvPassSums> sums = fpState->processor.MakeSums();
    const std::unique_ptr<IQvPassSums> others = fpState->processor.MakeSums();
    QvStatus found = ReadAnswer(first, unpacked.fDigest, *sums);
    const QvStatus foundSecond = ReadAnswer(second, unpacked.fDigest, *others);
    for (const QvStatus& each : {found, foundSecond}) {
      if (each.GetCode() == QvStatusCode::kUnreadableMessage) return each;
    }
    if (!found.IsError()) found = foundSecond;
    if (!found.IsError() && !MergeSums(*sums, *others)) {
      return {QvStatusCode::kUnreadableMessage, false};
    }
    merged = WriteAnswer(unpacked, found, sums.get());
    return {};
  });
}
