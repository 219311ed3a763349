#include "host/fit/LinearFitQuality.h"

#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>

#include "host/fit/CompensatedSum.h"
#include "host/fit/ScaledEstimates.h"
#include "qvreg/common/QvBitSet.h"
#include "qvreg/common/Record.h"
#include "qvreg/glm/QvGLMOutputStats.h"

namespace qvhost {

namespace {

/// Sums logarithms of weights over some records. Borrows what it is made of.
class LogWeightSum {
 public:
  LogWeightSum(const ModelBinding& binding, const QvRegRecordValidator& validator)
      : binding_(binding), validator_(validator) {}

  bool Add(const QvCommon::Record& record, std::int64_t /*number*/) {
    QvCommon::QvStatus status;
    if (!validator_.IsValidRecord(record, status)) return true;
    const double count = binding_.freqWeight < 0 ? 1.0 : record[binding_.freqWeight];
    sum_.Add(count * std::log(record[binding_.regressionWeight]));
    return true;
  }
  void EndPart() {}
  void Merge(const LogWeightSum& next) { sum_.Add(next.sum_); }
  [[nodiscard]] double Value() const { return sum_.Value(); }

 private:
  const ModelBinding& binding_;
  const QvRegRecordValidator& validator_;
  CompensatedSum sum_;
};

}  // namespace

double SumLogWeights(const CodedTable& table, const ModelBinding& binding,
                     const QvRegRecordValidator& validator, int parts, const WalkOptions& walk) {
  if (binding.regressionWeight < 0) return 0.0;
  return WalkRecords<LogWeightSum>(
             table, parts, walk,
             [&](int, int) { return std::make_unique<LogWeightSum>(binding, validator); })
      ->Value();
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
