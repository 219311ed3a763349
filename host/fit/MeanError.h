#pragma once

#include <optional>

#include "host/fit/DesignRow.h"
#include "qvreg/common/Record.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/parallel/QvScorer.h"

namespace qvhost {

/// The standard error of what a linear model predicts: of the mean of records like this one,
/// sqrt(x' V x) for the design row x and the covariance matrix V of the estimates. Costs the square
/// of the row's non-zeros. Borrows statistics and scorer. One thread at a time; several with
/// scorers of their own are independent.
class MeanError {
 public:
  /// `residualStdError` is that of the fit; without one there are no standard errors. The `scorer`
  /// is open for the model.
  MeanError(const QvGLMOutputStats& output, std::optional<double> residualStdError,
            QvScorer& scorer);

  /// None for a level combination that has no parameter, and for one that is not finite. REQUIRES:
  /// a record that is valid for scoring.
  [[nodiscard]] std::optional<double> Of(const QvCommon::Record& record);

 private:
  const QvGLMOutputStats& output_;
  DesignRow row_;
  std::optional<double> residualStdError_;
};

}  // namespace qvhost
