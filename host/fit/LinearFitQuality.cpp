#include "host/fit/LinearFitQuality.h"

#include <cmath>

#include "host/fit/CompensatedSum.h"
#include "host/fit/ScaledEstimates.h"
#include "host/fit/SpoolRunner.h"
#include "qvreg/common/QvBitSet.h"
#include "qvreg/common/Record.h"
#include "qvreg/glm/QvGLMOutputStats.h"

namespace qvhost {

double SumLogWeights(const CodedTable& table, const ModelBinding& binding,
                     const QvRegRecordValidator& validator,
                     const std::function<void(long long)>& progress, const Interrupt& interrupt) {
  if (binding.regressionWeight < 0) return 0.0;
  CompensatedSum sum;
  SpoolRecords records(table, progress);
  while (const QvCommon::Record* record = records.Fetch(interrupt)) {
    QvCommon::QvStatus status;
    if (!validator.IsValidRecord(*record, status)) continue;
    const double count = binding.freqWeight < 0 ? 1.0 : (*record)[binding.freqWeight];
    sum.Add(count * std::log((*record)[binding.regressionWeight]));
  }
  return sum.Value();
}

LinearQuality LinearQualityOf(const IQvRegOutputStats& output, double degreesOfFreedom,
                              double logWeights) {
  const auto& linear = dynamic_cast<const QvGLMOutputStats&>(output);
  const std::optional<double> rmse = LibraryNumber(linear.GetScaledRootMeanSquareError());
  const std::optional<double> total = LibraryNumber(linear.GetScaledRootMeanSquareTotal());
  if (!rmse || !total) return {};
  LinearSums sums;
  sums.rmse = *rmse;
  sums.total = *total;
  sums.exponent = linear.GetDependentExponent();
  sums.freqWeight = linear.GetTotalFreqWeight();
  sums.logWeights = logWeights;
  sums.kept = linear.GetRedundancyIndicators().Count();
  sums.hasIntercept =
      !linear.GetParameters().empty() && linear.GetParameters().front().IsIntercept();
  sums.degreesOfFreedom = degreesOfFreedom;
  return ComputeLinearQuality(sums);
}

}  // namespace qvhost
