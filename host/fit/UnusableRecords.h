#pragma once

#include <string>

#include "host/fit/FitResult.h"
#include "host/table/CodedTable.h"
#include "qvreg/settings/QvRegSettings.h"

namespace qvhost {

/// Why every record was left out, and what to do: which columns have no value in how many of them,
/// and in how many a weight is of no use.
[[nodiscard]] std::string UnusableRecordsText(const RecordUse& records, const CodedTable& table,
                                              const QvRegSettings& settings);

}  // namespace qvhost
