#pragma once

#include <cstdint>
#include <span>

#include "qvreg/common/QvBytes.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/component/IQvPassSums.h"
#include "qvreg/data/QvRegRecordValidator.h"

/// \file
/// What travels between an algorithm and its workers: requests there, answers back.

/// Writes a status with its data, and reads one.
void WriteStatus(const QvCommon::QvStatus& status, QvCommon::QvByteWriter& writer);
[[nodiscard]] QvCommon::QvStatus ReadStatus(QvCommon::QvByteReader& reader);

/// Writes what became of the records of a first pass, and reads it into `counts`; what later passes
/// used is not among it.
void WriteCounts(const QvRecordCounts& counts, QvCommon::QvByteWriter& writer);
void ReadCounts(QvCommon::QvByteReader& reader, QvRecordCounts& counts);

/// A pass request, unpacked; it borrows the bytes.
struct QvPassRequest {
  QvPassKind fKind = QvPassKind::kTables;
  /// The settings and, but for the first pass, what the first pass learned.
  std::span<const unsigned char> fBase;
  std::uint64_t fBaseDigest = 0;
  /// What else the pass needs.
  std::span<const unsigned char> fState;
  /// Of the whole request: answers name it.
  std::uint64_t fDigest = 0;
};

[[nodiscard]] QvCommon::QvBytes WriteRequest(QvPassKind kind, std::span<const unsigned char> base,
                                             std::span<const unsigned char> state);
/// kUnreadableMessage for bytes that are no request, or one whose arithmetic this process does not
/// compute with (see QvKernels::Get).
QvCommon::QvStatus ReadRequest(std::span<const unsigned char> bytes, QvPassRequest& request);

/// Writes what came of a request: an error, or else the sums, which may be null for an error.
[[nodiscard]] QvCommon::QvBytes WriteAnswer(const QvPassRequest& request,
                                            const QvCommon::QvStatus& status,
                                            const IQvPassSums* sums);
/// Reads an answer to the request of this digest into sums that were started alike. The error that
/// the answer reports; kUnreadableMessage for bytes that are no answer to it.
QvCommon::QvStatus ReadAnswer(std::span<const unsigned char> answer, std::uint64_t requestDigest,
                              IQvPassSums& sums);
