#include "host/fit/ResultBuilder.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/fit/FitWarnings.h"
#include "host/fit/OptimizationWarnings.h"
#include "host/fit/Overflow.h"
#include "host/fit/ScaledEstimates.h"
#include "host/fit/StatusText.h"
#include "host/inference/Inference.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "qvreg/settings/QvLogRegSettings.h"

namespace qvhost {
namespace {

void Extend(std::string& label, const std::string& part) {
  if (!label.empty()) label += ':';
  label += part;
}

/// Names the library's parameters: labels, levels and covariates. Borrows everything it is made of.
/// `intercept`: whether the model has one, which then is effect 0.
class ParameterNames {
 public:
  ParameterNames(const Formula& formula, const ModelBinding& binding, const CodedTable& table,
                 bool intercept)
      : formula_(formula), binding_(binding), table_(table), intercept_(intercept) {}

  /// A result with its names filled in and the rest at its defaults.
  [[nodiscard]] ParameterResult Name(const QvRegrParameter& parameter) const {
    ParameterResult result;
    if (parameter.IsIntercept()) {
      result.label = "(Intercept)";
      return result;
    }
    const int term = parameter.GetEffectIndex() - (intercept_ ? 1 : 0);
    for (const TermPart& part : formula_.terms.at(static_cast<std::size_t>(term)).parts) {
      const auto variable = static_cast<std::size_t>(part.variable);
      const auto add =
          binding_.isFactor[variable] ? &ParameterNames::AddFactor : &ParameterNames::AddCovariate;
      (this->*add)(formula_.variables[variable], binding_.positions[variable], parameter, result);
    }
    return result;
  }

 private:
  void AddFactor(const Variable& variable, int position, const QvRegrParameter& parameter,
                 ParameterResult& result) const {
    const auto category = static_cast<std::size_t>(parameter.ContainsFactor(position, -1));
    const CodedColumn& column = table_.Columns()[static_cast<std::size_t>(position)];
    result.levels.push_back({PlainName(variable), column.levels.at(category)});
    Extend(result.label, result.levels.back().factor + "=" + result.levels.back().level);
  }

  void AddCovariate(const Variable& variable, int position, const QvRegrParameter& parameter,
                    ParameterResult& result) const {
    const auto named = [&](const CovariatePower& power) {
      return power.covariate == variable.label;
    };
    // A term such as x:I(x^2) names x twice; its power is that of both.
    if (std::any_of(result.covariates.begin(), result.covariates.end(), named)) return;
    const int power = parameter.GetCovariateMult(position);
    result.covariates.push_back({variable.label, power});
    Extend(result.label,
           power == 1 ? variable.label : fmt::format("I({}^{})", variable.label, power));
  }

  const Formula& formula_;
  const ModelBinding& binding_;
  const CodedTable& table_;
  bool intercept_;
};

/// Makes the part of the result that only a logistic model has. Borrows everything it is made of.
class LogisticFitBuilder {
 public:
  LogisticFitBuilder(const QvLogOutputStats& output, const QvLogRegSettings& settings,
                     const OptimizationEnding& ending, const CodedColumn& dependent)
      : output_(output), settings_(settings), ending_(ending), dependent_(dependent) {}

  /// All but the parameters.
  [[nodiscard]] LogisticFit Build() const {
    LogisticFit fit;
    fit.inMemory = settings_.GetUsePatternTabulator();
    AddLevels(fit);
    AddEnding(fit);
    AddQuality(fit);
    AddClassification(fit);
    return fit;
  }

  /// The level whose linear predictor has the parameter at this position of all parameters.
  [[nodiscard]] const std::string& CategoryOf(int parameter) const {
    const std::vector<int>& categories = output_.GetDependCategories();
    const std::size_t blocks = categories.size() - 1;
    const std::size_t blockSize = output_.GetParamEstimates().size() / blocks;
    return LevelText(categories.at(static_cast<std::size_t>(parameter) / blockSize));
  }

 private:
  void AddLevels(LogisticFit& fit) const {
    const std::vector<int>& categories = output_.GetDependCategories();
    const std::vector<double>& weights = output_.GetDependCategoryWeights();
    for (std::size_t i = 0; i < categories.size(); ++i) {
      fit.levels.push_back({LevelText(categories[i]), weights[i]});
    }
  }

  void AddEnding(LogisticFit& fit) const {
    const QvOptimizationOutcome outcome = ending_.outcome;
    fit.iterations = ending_.iterations;
    fit.stepHalvings = ending_.stepHalvings;
    fit.outcomeCode = outcome;
    fit.outcome = OutcomeName(outcome);
    if (outcome == kOptQuasiSeparation) fit.separation = "quasi";
    if (outcome == kOptCompleteSeparation) fit.separation = "complete";
    const bool settled =
        outcome == kOptLLConverged || outcome == kOptParamConverged || outcome == kOptBothConverged;
    const bool nothingToIterate = outcome == kOptNoIterations && settings_.GetMaxIterations() > 0;
    fit.converged = settled || nothingToIterate;
    fit.ending = EndingText(outcome, fit.iterations);
    fit.logLikelihoodChange = LibraryNumber(output_.GetLLChange());
    fit.parameterChange = LibraryNumber(output_.GetParameterChange());
  }

  void AddQuality(LogisticFit& fit) const {
    fit.initialLogLikelihood = LibraryNumber(output_.GetInitialLL());
    fit.logLikelihood = LibraryNumber(output_.GetFinalLL());
    fit.coxSnell = LibraryNumber(output_.GetModelFitStat(QvConst::QvFitCoxSnellRSquare));
    fit.nagelkerke = LibraryNumber(output_.GetModelFitStat(QvConst::QvFitNagelkerkeRSquare));
    fit.mcFadden = LibraryNumber(output_.GetModelFitStat(QvConst::QvFitMcFaddenRSquare));
    if (!fit.logLikelihood || !fit.initialLogLikelihood) return;

    const int kept = output_.GetRedundancyIndicators().Count();
    const int intercepts =
        settings_.GetInterceptUse() ? static_cast<int>(fit.levels.size()) - 1 : 0;
    const double deviance = -2.0 * *fit.logLikelihood;
    fit.chiSquare = Finite(-2.0 * *fit.initialLogLikelihood - deviance);
    fit.chiSquareDegrees = kept - intercepts;
    fit.chiSquareP = UpperChiSquare(fit.chiSquare, fit.chiSquareDegrees);
    fit.aic = Finite(deviance + 2.0 * kept);
    fit.bic = Finite(deviance + kept * std::log(output_.GetTotalFreqWeight()));
  }

  void AddClassification(LogisticFit& fit) const {
    const QvCommon::QvRectMatrix* table = output_.GetClassificationTable();
    if (table == nullptr) return;
    for (int row = 0; row < table->GetNRows(); ++row) {
      std::vector<double>& counts = fit.classification.emplace_back();
      for (int column = 0; column < table->GetNColumns(); ++column) {
        counts.push_back(table->GetElem(row, column));
      }
    }
  }

  [[nodiscard]] const std::string& LevelText(int category) const {
    return dependent_.levels.at(static_cast<std::size_t>(category));
  }

  const QvLogOutputStats& output_;
  const QvLogRegSettings& settings_;
  const OptimizationEnding& ending_;
  const CodedColumn& dependent_;
};

/// The library counts records held out as missing, but for those whose weight is bad.
void SetApart(const HeldOutScores& heldOut, RecordUse& records) {
  records.heldOut = heldOut.heldOut;
  records.missing -= heldOut.heldOut - heldOut.badWeight;
  records.badWeight -= heldOut.badWeight;
}

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
  result.tolerance = options.tolerance.value_or(DefaultTolerance(binding_.kind));
  result.imposedDegreesOfFreedom = options.degreesOfFreedom.has_value();
  result.records = run_.Records();
  if (heldOut_ != nullptr) SetApart(*heldOut_, result.records);
  result.libraryDegreesOfFreedom = run_.Output().GetNDegFreedom();
  result.covariance.kind = options.covariance;
  result.covariance.column = options.binding.cluster;
  if (robust_ != nullptr) result.covariance.clusters = robust_->clusters;
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
  // A robust matrix has the residuals in it.
  const std::optional<double> unit =
      robust_ != nullptr && residual.stdError ? std::optional(1.0) : residual.stdError;
  AddParameters(options, CoefficientInference(unit, result.degreesOfFreedom, options.confidence),
                result);
}

void ResultBuilder::AddLogisticFit(const FitOptions& options, FitResult& result) const {
  const IQvRegOutputStats& output = run_.Output();
  result.degreesOfFreedom = output.GetTotalFreqWeight() - output.GetRedundancyIndicators().Count();
  const LogisticFitBuilder logistic(
      dynamic_cast<const QvLogOutputStats&>(output),
      dynamic_cast<const QvLogRegSettings&>(run_.Component().GetCompSettings()), run_.Ending(),
      table_.Columns()[ModelBinding::kDependent]);
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

double ResultBuilder::VarianceOf(int parameter) const {
  if (robust_ == nullptr) {
    return ScaledEstimatesOf(run_.Output()).covariance.GetElem(parameter, parameter);
  }
  // Rounding may take one of 0 below it.
  const double variance = robust_->matrix.GetElem(parameter, parameter);
  return variance < 0.0 ? 0.0 : variance;
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
      parameter.statistics =
          inference.Of(scaled.estimates[i], VarianceOf(index), scaled.PowerOf(i));
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
  if (!options.strict || result.logistic->converged) return;
  result.warnings.push_back(
      fmt::format("The estimation did not converge, so the command ends with exit code {}, as "
                  "--strict demands.",
                  static_cast<int>(ExitCode::kNotConverged)));
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
