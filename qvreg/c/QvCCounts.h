#pragma once

#include "qvreg/c/QvCStruct.h"
#include "qvreg/c/qvreg_c_types.h"
#include "qvreg/data/QvRegRecordValidator.h"

/// Writes the library's counts of records to a host's structure, which it checks.
inline void QvCCopyCounts(const QvRecordCounts& from, qvreg_record_counts* counts) {
  QvCStruct::Fill(counts, "counts", [&](qvreg_record_counts& to) {
    to.read = from.fRead;
    to.used = from.fUsed;
    to.missing = from.fMissing;
    to.bad_weight = from.fBadWeight;
    to.out_of_range = from.fOutOfRange;
    to.used_later = from.fUsedLater;
  });
}
