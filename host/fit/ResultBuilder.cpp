#include "host/fit/ResultBuilder.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/fit/FitWarnings.h"
#include "host/fit/LibraryNumber.h"
#include "host/fit/OptimizationWarnings.h"
#include "host/fit/Overflow.h"
#include "host/fit/ParameterNames.h"
#include "host/fit/ScaledEstimates.h"
#include "host/fit/StatusText.h"
#include "host/inference/Finite.h"
#include "host/inference/ResidualVariance.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "qvreg/settings/QvLogRegSettings.h"

namespace qvhost {

namespace {

const QvCommon::QvBitSet& NonFiniteParameters(const IQvRegOutputStats& output) {
  if (const auto* linear = dynamic_cast<const QvGLMOutputStats*>(&output)) {
    return linear->GetNonFiniteParameters();
  }
  return dynamic_cast<const QvLogOutputStats&>(output).GetNonFiniteParameters();
}

}  // namespace

FitResult ResultBuilder::Build(const FitOptions& options) const {
  FitResult result;
  result.kind = binding_.kind;
  result.formula = formula_.text;
  result.dependent = formula_.response.label;
  result.freqWeight = options.binding.freqWeight;
  result.regressionWeight = options.binding.regressionWeight;
  result.confidence = options.confidence;
  result.imposedDegreesOfFreedom = options.degreesOfFreedom.has_value();
  result.records = run_.Records();
  result.libraryDegreesOfFreedom = run_.Output().GetNDegFreedom();
  if (binding_.kind == ModelKind::kLinear) {
    AddLinearFit(options, result);
  } else {
    AddLogisticFit(options, result);
  }
  RefuseOverflow(result, ScaledEstimatesOf(run_.Output()), binding_, table_,
                 run_.Output().GetTotalFreqWeight());
  AddWarnings(options, result);
  AddStatus(result);
  return result;
}

void ResultBuilder::AddLinearFit(const FitOptions& options, FitResult& result) const {
  const IQvRegOutputStats& output = run_.Output();
  const ScaledEstimates scaled = ScaledEstimatesOf(output);
  const auto inDataUnits = [&scaled](std::optional<double> error) {
    return error ? TimesPowerOf2(*error, scaled.dependentExponent) : std::nullopt;
  };
  result.rmse = inDataUnits(scaled.rmse);
  result.rSquare = LibraryNumber(output.GetModelFitStat(QvConst::QvFitMultipleRSquare));
  const int kept = output.GetRedundancyIndicators().Count();
  const ResidualVariance residual = ComputeResidualVariance(
      scaled.rmse, output.GetTotalFreqWeight(), kept, options.degreesOfFreedom);
  result.degreesOfFreedom = residual.degreesOfFreedom;
  result.residualStdError = inDataUnits(residual.stdError);
  AddParameters(
      options, CoefficientInference(residual.stdError, result.degreesOfFreedom, options.confidence),
      result);
}

LogisticFitBuilder ResultBuilder::Logistic() const {
  return {dynamic_cast<const QvLogOutputStats&>(run_.Output()),
          dynamic_cast<const QvLogRegSettings&>(run_.Component().GetCompSettings()), run_.Ending(),
          table_.Columns()[ModelBinding::kDependent]};
}

void ResultBuilder::AddLogisticFit(const FitOptions& options, FitResult& result) const {
  const IQvRegOutputStats& output = run_.Output();
  result.degreesOfFreedom = output.GetTotalFreqWeight() - output.GetRedundancyIndicators().Count();
  const LogisticFitBuilder logistic = Logistic();
  result.logistic = logistic.Build();
  AddParameters(options, CoefficientInference::Normal(options.confidence), result);
  for (std::size_t i = 0; i < result.parameters.size(); ++i) {
    result.parameters[i].category = logistic.CategoryOf(static_cast<int>(i));
  }
}

bool ResultBuilder::IsDetermined(const ParameterResult& parameter, double variance) const {
  const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&run_.Output());
  if (logistic == nullptr) return true;
  // A singular information matrix leaves no variance to one of the estimates that grow together,
  // and too small a one to the others.
  const bool isFixed = parameter.growth != 0.0 && logistic->GetOutcome() == kOptHessianSingular;
  return variance > 0.0 && !isFixed;
}

void ResultBuilder::AddParameters(const FitOptions& options, const CoefficientInference& inference,
                                  FitResult& result) const {
  const IQvRegOutputStats& output = run_.Output();
  const ScaledEstimates scaled = ScaledEstimatesOf(output);
  const ParameterNames names(formula_, binding_, table_, options.intercept && formula_.intercept);
  for (std::size_t i = 0; i < scaled.estimates.size(); ++i) {
    const int index = static_cast<int>(i);
    ParameterResult parameter = names.Name(output.GetParameters()[i]);
    parameter.estimate = TimesPowerOf2(scaled.estimates[i], scaled.PowerOf(i));
    parameter.redundant = !output.GetRedundancyIndicators().IsIn(index);
    parameter.nonFinite = NonFiniteParameters(output).IsIn(index);
    if (!run_.Ending().growth.empty()) parameter.growth = run_.Ending().growth.at(i);
    const double variance = scaled.covariance.GetElem(index, index);
    if (!parameter.redundant && IsDetermined(parameter, variance)) {
      parameter.statistics = inference.Of(scaled.estimates[i], variance, scaled.PowerOf(i));
    }
    result.parameters.push_back(std::move(parameter));
  }
}

void ResultBuilder::AddWarnings(const FitOptions& options, FitResult& result) const {
  result.warnings = FitWarnings(formula_, binding_, table_, run_.Output(), result).Find();
  if (!result.logistic) return;
  std::vector<std::string> covariates;
  std::vector<double> spans;
  for (int i = 0; i < binding_.covariateCount; ++i) {
    const int position = ModelBinding::kDependent + 1 + binding_.factorCount + i;
    const CodedColumn& column = table_.Columns()[static_cast<std::size_t>(position)];
    covariates.push_back(column.label);
    spans.push_back(std::min(column.highest - column.lowest, std::numeric_limits<double>::max()));
  }
  const OptimizationWarnings endings(result, options.logistic, std::move(covariates),
                                     std::move(spans));
  for (std::string& warning : endings.Find()) result.warnings.push_back(std::move(warning));
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
