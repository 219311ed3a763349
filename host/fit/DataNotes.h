#pragma once

#include <string>
#include <vector>

#include "host/fit/ModelBinding.h"
#include "host/formula/Formula.h"
#include "host/table/CodedTable.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// How the data were read, where a user may have meant something else: text that reads as numbers,
/// codes with leading zeros, dates of an order of their own, a missing header, skipped lines,
/// columns that not all files have, and, unless the user `choseMissing` strings, missing strings
/// that may be levels. A sentence each, of the columns of the model alone. Throws Error (kBadInput)
/// when a file cannot be read again.
[[nodiscard]] std::vector<std::string> DataNotes(const Formula& formula,
                                                 const ModelBinding& binding,
                                                 const CodedTable& table, const TableSource& source,
                                                 bool choseMissing);

}  // namespace qvhost
