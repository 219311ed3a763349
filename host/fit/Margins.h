#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/fit/FitResult.h"
#include "host/fit/MarginPlan.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/RecordWalk.h"
#include "host/inference/CoefficientCovariance.h"
#include "host/table/CodedTable.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/data/QvRegRecordValidator.h"

namespace qvhost {

/// A model that was built, and the records to average over. Borrows all but the covariance.
struct MarginInput {
  const Formula& formula;
  const ModelBinding& binding;
  const MarginPlan& plan;
  const CodedTable& table;  ///< Or its grouped records, with validator and weight of these.
  const QvRegRecordValidator& validator;
  int freqWeight = -1;  ///< Position in the records; -1 for none.
  const IQvRegOutputStats& output;
  const std::vector<StandardizedVariable>& standardized;
  CoefficientCovariance covariance;  ///< In the units of the estimation, see ScaledCovarianceOf.
  double confidence = 0.95;
  int parts = 1;  ///< Into how many to divide the records; see QvPartCount.
};

/// The effects of all variables of a plan, and what there is to say of them. A plain value.
struct Margins {
  std::vector<MarginResult> results;
  std::vector<std::string> notes;
};

/// Average effects over the records used, each with its frequency weight: of a column of covariates
/// the derivative of the prediction, of a factor the difference between the predictions with each
/// level and with the base in the place of the record's own. The predictions of a logistic model
/// are the probabilities of all categories. Standard errors are those of the delta method, from the
/// average gradient by the estimates: the gradient is exact.
///
/// Makes one pass over the table; of a logistic model one more for each 16 MiB of sums, which a
/// factor of thousands of levels may take. The result depends on the number of parts alone. An
/// effect that a combination of levels without records or redundant columns leave open has no
/// value. Throws as WalkRecords does.
[[nodiscard]] Margins ComputeMargins(const MarginInput& input, const WalkOptions& walk);

}  // namespace qvhost
