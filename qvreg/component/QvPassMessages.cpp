#include "qvreg/component/QvPassMessages.h"

#include "qvreg/common/QvKernels.h"
#include "qvreg/common/QvStatusCodes.h"

using QvCommon::QvByteReader;
using QvCommon::QvBytes;
using QvCommon::QvByteWriter;
using QvCommon::QvMessageType;
using QvCommon::QvStatus;

namespace {

/// How sums are computed, so that those of one run are all alike: doubles in the order of the
/// records, with every product rounded by itself or with the sum that it enters.
std::int64_t Arithmetic() {
  constexpr std::int64_t kPlain = 1;
  constexpr std::int64_t kFused = 2;
  return QvCommon::QvKernels::Get().fbFused ? kFused : kPlain;
}

QvStatus Unreadable() { return {QvStatusCode::kUnreadableMessage, false}; }

}  // namespace

void WriteStatus(const QvStatus& status, QvByteWriter& writer) {
  writer.PutInt(status.GetCode());
  writer.PutBool(status.IsWarning());
  for (unsigned i = 0; i < QvStatus::kMaxData; ++i) {
    long discrete = 0;
    writer.PutBool(status.GetDiscreteDatum(i, discrete));
    writer.PutInt(discrete);
    double scale = 0.0;
    writer.PutBool(status.GetScaleDatum(i, scale));
    writer.PutDouble(scale);
  }
}

QvStatus ReadStatus(QvByteReader& reader) {
  constexpr int kLargestCode = 9999;
  const int code = reader.GetIntWithin(0, kLargestCode);
  const bool isWarning = reader.GetBool();
  if (isWarning && code == QvStatusCode::kOK) reader.Fail();
  QvStatus status(code, isWarning);
  for (unsigned i = 0; i < QvStatus::kMaxData; ++i) {
    const bool hasDiscrete = reader.GetBool();
    const auto discrete = static_cast<long>(reader.GetInt());
    if (hasDiscrete) status.SetDiscreteDatum(i, discrete);
    const bool hasScale = reader.GetBool();
    const double scale = reader.GetDouble();
    if (hasScale) status.SetScaleDatum(i, scale);
  }
  return status;
}

void WriteCounts(const QvRecordCounts& counts, QvByteWriter& writer) {
  for (const long long count :
       {counts.fRead, counts.fUsed, counts.fMissing, counts.fBadWeight, counts.fOutOfRange}) {
    writer.PutInt(count);
  }
}

void ReadCounts(QvByteReader& reader, QvRecordCounts& counts) {
  for (long long* count :
       {&counts.fRead, &counts.fUsed, &counts.fMissing, &counts.fBadWeight, &counts.fOutOfRange}) {
    *count = reader.GetTotal();
  }
}

QvBytes WriteRequest(QvPassKind kind, std::span<const unsigned char> base,
                     std::span<const unsigned char> state) {
  QvByteWriter writer;
  writer.PutInt(static_cast<int>(kind));
  writer.PutInt(Arithmetic());
  writer.PutWord(QvCommon::DigestOf(base));
  writer.PutBytes(base);
  writer.PutBytes(state);
  return writer.TakeMessage(QvMessageType::kRequest);
}

QvStatus ReadRequest(std::span<const unsigned char> bytes, QvPassRequest& request) {
  QvByteReader reader(bytes, QvMessageType::kRequest);
  request.fKind = static_cast<QvPassKind>(reader.GetIntWithin(
      static_cast<int>(QvPassKind::kTables), static_cast<int>(QvPassKind::kScoring)));
  const bool isComputed = reader.GetInt() == Arithmetic();
  request.fBaseDigest = reader.GetWord();
  request.fBase = reader.GetBytes();
  request.fState = reader.GetBytes();
  request.fDigest = QvCommon::DigestOf(bytes);
  return reader.IsAtEnd() && isComputed ? QvStatus() : Unreadable();
}

QvBytes WriteAnswer(const QvPassRequest& request, const QvStatus& status, const IQvPassSums* sums) {
  QvByteWriter writer;
  writer.PutWord(request.fDigest);
  WriteStatus(status, writer);
  if (!status.IsError()) {
    writer.PutInt(sums->fNUsed);
    sums->Write(writer);
  }
  return writer.TakeMessage(QvMessageType::kAnswer);
}

QvStatus ReadAnswer(std::span<const unsigned char> answer, std::uint64_t requestDigest,
                    IQvPassSums& sums) {
  QvByteReader reader(answer, QvMessageType::kAnswer);
  if (reader.GetWord() != requestDigest) return Unreadable();
  const QvStatus status = ReadStatus(reader);
  if (!status.IsError()) {
    sums.fNUsed = reader.GetTotal();
    sums.Read(reader);
  }
  return reader.IsAtEnd() ? status : Unreadable();
}
