#pragma once

#include <functional>

#include "host/fit/Interrupt.h"
#include "host/fit/ModelBinding.h"
#include "host/formula/Formula.h"
#include "host/table/CodedTable.h"
#include "qvreg/data/QvRegRecordValidator.h"

namespace qvhost {

/// Throws Error (kBadInput) for a model of more than `most` parameters, all levels of the dependent
/// together, before any matrix is made. Reads the records where the numbers of levels leave open
/// how many parameters crossings have; `progress` is called with the records so far.
void CheckParameterCount(const Formula& formula, const ModelBinding& binding,
                         const CodedTable& table, const QvRegRecordValidator& validator, int most,
                         const std::function<void(long long)>& progress,
                         const Interrupt& interrupt);

}  // namespace qvhost
