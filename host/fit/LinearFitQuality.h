#pragma once

#include "host/fit/ModelBinding.h"
#include "host/fit/RecordWalk.h"
#include "host/inference/LinearQuality.h"
#include "host/table/CodedTable.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/data/QvRegRecordValidator.h"

namespace qvhost {

/// The sum of the logarithms of the regression weights of the records used, each times its
/// frequency weight: the likelihood's part of them. Makes a pass over the table, in so many
/// `parts`, where there are regression weights, none otherwise. Throws as WalkRecords does.
[[nodiscard]] double SumLogWeights(const CodedTable& table, const ModelBinding& binding,
                                   const QvRegRecordValidator& validator, int parts,
                                   const WalkOptions& walk);

/// How well a linear model fits. `degreesOfFreedom`: of the residuals, or those imposed.
[[nodiscard]] LinearQuality LinearQualityOf(const IQvRegOutputStats& output,
                                            double degreesOfFreedom, double logWeights);

}  // namespace qvhost
