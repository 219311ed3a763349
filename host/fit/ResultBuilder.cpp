#include "host/fit/ResultBuilder.h"

#include <cstddef>
#include <vector>

#include "host/fit/FitWarnings.h"
#include "host/fit/ParameterNames.h"
#include "host/fit/StatusText.h"
#include "host/inference/CoefficientInference.h"
#include "host/inference/Finite.h"
#include "host/inference/ResidualVariance.h"
#include "qvreg/common/Constants.h"

namespace qvhost {

namespace {

/// A fit statistic of the library, none when the model does not have it.
std::optional<double> FitStatistic(const IQvRegOutputStats& output, QvConst::QvModelFitStat which) {
  const double value = output.GetModelFitStat(which);
  return value == QvMV::gMissingValue ? std::nullopt : Finite(value);
}

}  // namespace

FitResult ResultBuilder::Build(const FitOptions& options) const {
  FitResult result;
  result.formula = formula_.text;
  result.dependent = formula_.response.label;
  result.freqWeight = options.binding.freqWeight;
  result.regressionWeight = options.binding.regressionWeight;
  result.confidence = options.confidence;
  result.imposedDegreesOfFreedom = options.degreesOfFreedom.has_value();
  result.records = run_.Records();
  AddFit(options, result);
  AddParameters(options, result);
  result.warnings = FitWarnings(formula_, binding_, table_, run_.Output(), result).Find();
  AddStatus(result);
  return result;
}

void ResultBuilder::AddFit(const FitOptions& options, FitResult& result) const {
  const IQvRegOutputStats& output = run_.Output();
  result.rmse = FitStatistic(output, QvConst::QvFitRootMeanSquareError);
  result.rSquare = FitStatistic(output, QvConst::QvFitMultipleRSquare);
  result.libraryDegreesOfFreedom = output.GetNDegFreedom();
  const int kept = output.GetRedundancyIndicators().Count();
  const ResidualVariance residual = ComputeResidualVariance(
      result.rmse, output.GetTotalFreqWeight(), kept, options.degreesOfFreedom);
  result.degreesOfFreedom = residual.degreesOfFreedom;
  result.residualStdError = residual.stdError;
}

void ResultBuilder::AddParameters(const FitOptions& options, FitResult& result) const {
  const IQvRegOutputStats& output = run_.Output();
  const std::vector<double>& estimates = output.GetParamEstimates();
  const ParameterNames names(formula_, binding_, table_, options.intercept && formula_.intercept);
  const CoefficientInference inference(result.residualStdError, result.degreesOfFreedom,
                                       options.confidence);
  for (std::size_t i = 0; i < estimates.size(); ++i) {
    const int index = static_cast<int>(i);
    ParameterResult parameter = names.Name(output.GetParameters()[i]);
    parameter.estimate = Finite(estimates[i]);
    parameter.redundant = !output.GetRedundancyIndicators().IsIn(index);
    if (!parameter.redundant) {
      parameter.statistics =
          inference.Of(estimates[i], output.GetCovarianceMatrix()->GetElem(index, index));
    }
    result.parameters.push_back(std::move(parameter));
  }
}

void ResultBuilder::AddStatus(FitResult& result) const {
  QvCommon::QvStatus last;
  for (const QvCommon::QvStatus& warning : run_.Component().GetWarnings()) {
    result.warnings.push_back(StatusText(warning));
    last = warning;
  }
  result.statusCode = last.GetCode();
  result.statusMessage = StatusText(last);
}

}  // namespace qvhost
