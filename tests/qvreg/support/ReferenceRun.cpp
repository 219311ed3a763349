#include "tests/qvreg/support/ReferenceRun.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <string>

#include "qvreg/qvreg.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvtest {
namespace {

std::vector<int> Indices(const ReferenceTable& table, const std::vector<std::string>& columns) {
  std::vector<int> indices;
  indices.reserve(columns.size());
  for (const std::string& column : columns) indices.push_back(table.IndexOf(column));
  return indices;
}

std::vector<FactorRole> FactorRoles(const ReferenceCase& reference) {
  std::vector<FactorRole> roles;
  for (const std::string& factor : reference.model.Factors()) {
    const std::size_t nLevels = reference.table.levels.at(factor).size();
    roles.push_back({reference.table.IndexOf(factor), static_cast<int>(nLevels)});
  }
  return roles;
}

/// Adds effects, weights and the choice of an intercept to the settings of either model.
template <typename Settings>
void AddModel(const ReferenceCase& reference, Settings& settings) {
  const ReferenceModel& model = reference.model;
  const ReferenceTable& table = reference.table;
  for (const ReferenceTerm& term : model.terms) {
    const std::vector<int> factors = Indices(table, term.factors);
    if (term.nested) {
      settings.NestedEffect(factors);
      continue;
    }
    std::vector<int> covariates;
    for (const CovariatePower& covariate : term.covariates) {
      covariates.insert(covariates.end(), static_cast<std::size_t>(covariate.power),
                        table.IndexOf(covariate.column));
    }
    settings.Effect(factors, covariates);
  }
  if (!model.freqWeight.empty()) settings.FrequencyWeight(table.IndexOf(model.freqWeight));
  if (!model.regrWeight.empty()) settings.RegressionWeight(table.IndexOf(model.regrWeight));
  if (!model.intercept) settings.NoIntercept();
}

int ReferenceCategory(const ReferenceCase& reference) {
  const std::string& asked = reference.model.reference;
  if (asked == "first") return QvLogRegSettings::kFirstObserved;
  if (asked == "last") return QvLogRegSettings::kLastObserved;
  const std::vector<std::string>& levels = reference.DependentLevels();
  const auto place = std::find(levels.begin(), levels.end(), asked);
  if (place == levels.end()) throw std::runtime_error("no such level: " + asked);
  return static_cast<int>(place - levels.begin());
}

void RequireKind(bool isRight, const ReferenceCase& reference) {
  if (!isRight) throw std::runtime_error(reference.name + " is a case of the other model");
}

std::string CovariateText(const std::string& name, int power) {
  return power == 1 ? name : "I(" + name + "^" + std::to_string(power) + ")";
}

ReferenceLabel LabelOf(const QvRegrParameter& parameter, const ReferenceCase& reference) {
  constexpr int kAbsent = -1;
  const ReferenceTable& table = reference.table;
  ReferenceLabel label;
  if (reference.model.IsLogistic()) {
    const auto category = static_cast<std::size_t>(parameter.GetTargetCategory());
    label.category = reference.DependentLevels().at(category);
  }
  std::string& term = label.term;
  for (const std::string& factor : reference.model.Factors()) {
    const int category = parameter.ContainsFactor(table.IndexOf(factor), kAbsent);
    if (category == kAbsent) continue;
    term += (term.empty() ? "C(" : ":C(") + factor + ")";
    label.levels[factor] = table.levels.at(factor).at(static_cast<std::size_t>(category));
  }
  for (const std::string& covariate : reference.model.Covariates()) {
    const int power = parameter.GetCovariateMult(table.IndexOf(covariate));
    if (power > 0) term += (term.empty() ? "" : ":") + CovariateText(covariate, power);
  }
  if (parameter.IsIntercept()) term = "(Intercept)";
  return label;
}

/// What both models answer.
ReferenceValues ParameterValues(const IQvRegOutputStats& statistics,
                                const ReferenceCase& reference) {
  ReferenceValues values;
  values.estimates = statistics.GetParamEstimates();
  int index = 0;
  for (const QvRegrParameter& parameter : statistics.GetParameters()) {
    values.labels.push_back(LabelOf(parameter, reference));
    values.redundant.push_back(!statistics.GetRedundancyIndicators().IsIn(index++));
  }
  return values;
}

std::vector<double> Variances(const IQvRegOutputStats& statistics) {
  const QvCommon::QvSymMatrixData& covariance = *statistics.GetCovarianceMatrix();
  std::vector<double> variances;
  variances.reserve(static_cast<std::size_t>(covariance.GetOrder()));
  for (int i = 0; i < covariance.GetOrder(); ++i) variances.push_back(covariance.GetElem(i, i));
  return variances;
}

std::vector<std::vector<double>> Classification(const QvLogOutputStats& statistics) {
  const int size = static_cast<int>(statistics.GetDependCategories().size());
  std::vector<std::vector<double>> rows(static_cast<std::size_t>(size));
  for (int i = 0; i < size; ++i) {
    for (int j = 0; j < size; ++j) {
      rows[static_cast<std::size_t>(i)].push_back(
          statistics.GetClassificationTable()->GetElem(i, j));
    }
  }
  return rows;
}

}  // namespace

std::unique_ptr<LinearSettings> LinearSettingsOf(const ReferenceCase& reference) {
  RequireKind(!reference.model.IsLogistic(), reference);
  const ReferenceTable& table = reference.table;
  auto settings = std::make_unique<LinearSettings>(table.IndexOf(reference.model.dependent),
                                                   FactorRoles(reference),
                                                   Indices(table, reference.model.Covariates()));
  AddModel(reference, *settings);
  return settings;
}

std::unique_ptr<LogisticSettings> LogisticSettingsOf(const ReferenceCase& reference) {
  RequireKind(reference.model.IsLogistic(), reference);
  const ReferenceTable& table = reference.table;
  auto settings = std::make_unique<LogisticSettings>(
      table.IndexOf(reference.model.dependent),
      static_cast<int>(reference.DependentLevels().size()), FactorRoles(reference),
      Indices(table, reference.model.Covariates()));
  AddModel(reference, *settings);
  settings->Reference(ReferenceCategory(reference));
  return settings;
}

LinearReferenceFit FitLinearCase(const ReferenceCase& reference, int refinements,
                                 std::optional<double> tolerance) {
  const std::unique_ptr<LinearSettings> settings = LinearSettingsOf(reference);
  if (!settings->Get().SetMaxRefinements(refinements)) throw std::runtime_error("refinements");
  if (tolerance) settings->Get().SetTolerance(*tolerance);
  VectorRecordIter records(reference.table.records);
  const FittedModel model(settings->Get(), records);
  const auto& statistics = dynamic_cast<const QvGLMOutputStats&>(model.Stats());

  LinearReferenceFit fit;
  fit.values = ParameterValues(statistics, reference);
  fit.values.recordsUsed = static_cast<int>(statistics.GetRecordCounts().fUsed);
  fit.values.unscaledVariance = Variances(statistics);
  fit.values.rmse = statistics.GetModelFitStat(QvConst::QvFitRootMeanSquareError);
  fit.values.rSquare = statistics.GetModelFitStat(QvConst::QvFitMultipleRSquare);
  fit.totalFreqWeight = statistics.GetTotalFreqWeight();
  fit.passes = records.Passes();
  return fit;
}

LogisticReferenceRun::LogisticReferenceRun(const ReferenceCase& reference, bool inMemory,
                                           const Change& change)
    : reference_(reference), settings_(LogisticSettingsOf(reference)) {
  settings_->InMemory(inMemory);
  change(settings_->Get());
  fit_ = std::make_unique<LogisticFit>(settings_->Get(), reference.table.records);
}

ReferenceValues LogisticReferenceRun::Values() const {
  const QvLogOutputStats& statistics = Fit().Stats();
  ReferenceValues values = ParameterValues(statistics, reference_);
  values.recordsUsed = static_cast<int>(statistics.GetRecordCounts().fUsed);
  for (const double variance : Variances(statistics)) {
    values.standardErrors.push_back(std::sqrt(variance));
  }
  for (const int code : statistics.GetDependCategories()) {
    values.categories.push_back(reference_.DependentLevels().at(static_cast<std::size_t>(code)));
  }
  values.loglikInitial = statistics.GetInitialLL();
  values.loglik = statistics.GetFinalLL();
  values.coxSnell = statistics.GetModelFitStat(QvConst::QvFitCoxSnellRSquare);
  values.nagelkerke = statistics.GetModelFitStat(QvConst::QvFitNagelkerkeRSquare);
  values.mcFadden = statistics.GetModelFitStat(QvConst::QvFitMcFaddenRSquare);
  values.classification = Classification(statistics);
  return values;
}

}  // namespace qvtest
