#pragma once

#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "tests/qvreg/c/CHost.h"

namespace qvtest {

/// Expects everything that the C interface tells of results to be what the C++ interface tells, to
/// the last bit.
void ExpectSameResults(const CResults& results, const IQvRegOutputStats& expected);

void ExpectSameCounts(const qvreg_record_counts& counts, const QvRecordCounts& expected);

}  // namespace qvtest
