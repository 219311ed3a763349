#pragma once

#include <functional>

#include "host/fit/Interrupt.h"
#include "host/fit/ModelBinding.h"
#include "host/inference/LinearQuality.h"
#include "host/table/CodedTable.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/data/QvRegRecordValidator.h"

namespace qvhost {

/// The sum of the logarithms of the regression weights of the records used, each times its
/// frequency weight: the likelihood's part of them. Makes a pass over the table where there are
/// regression weights, none otherwise; `progress` is called with the number of records read, and
/// may be empty. Throws Cancelled when interrupted, Error (kRunFailed) when the table cannot be
/// read to its end.
[[nodiscard]] double SumLogWeights(const CodedTable& table, const ModelBinding& binding,
                                   const QvRegRecordValidator& validator,
                                   const std::function<void(long long)>& progress,
                                   const Interrupt& interrupt);

/// How well a linear model fits. `degreesOfFreedom`: of the residuals, or those imposed.
[[nodiscard]] LinearQuality LinearQualityOf(const IQvRegOutputStats& output,
                                            double degreesOfFreedom, double logWeights);

}  // namespace qvhost
