#pragma once

#include <string>

#include "host/fit/ModelBinding.h"
#include "host/fit/RecordWalk.h"
#include "host/table/CodedTable.h"
#include "qvreg/data/QvRegRecordValidator.h"

namespace qvhost {

/// A digest of the records used: of the dependent (a category by its text) and both weights of each
/// of them. It depends neither on their order nor on `parts`, and is the same on every machine; two
/// sets of records that differ in it are different, and different ones hardly agree: 32 hexadecimal
/// digits. A weight that there is not is 1. Makes a pass over the table; throws as WalkRecords
/// does.
[[nodiscard]] std::string DigestRecords(const CodedTable& table, const ModelBinding& binding,
                                        const QvRegRecordValidator& validator, int parts,
                                        const WalkOptions& walk);

}  // namespace qvhost
