#include "tests/qvreg/support/LogisticReferenceRun.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include "qvreg/qvreg.h"

namespace qvtest {
namespace {

std::vector<int> Indices(const ReferenceTable& table, const std::vector<std::string>& columns) {
  std::vector<int> indices;
  indices.reserve(columns.size());
  for (const std::string& column : columns) indices.push_back(table.IndexOf(column));
  return indices;
}

std::vector<FactorRole> FactorRoles(const LogisticReferenceTask& task) {
  std::vector<FactorRole> roles;
  for (const std::string& factor : task.model.Factors()) {
    roles.push_back(
        {task.table.IndexOf(factor), static_cast<int>(task.table.levels.at(factor).size())});
  }
  return roles;
}

int ReferenceOf(const LogisticReferenceTask& task) {
  if (task.reference == "first") return QvLogRegSettings::kFirstObserved;
  if (task.reference == "last") return QvLogRegSettings::kLastObserved;
  const std::vector<std::string>& levels = task.DependentLevels();
  const auto place = std::find(levels.begin(), levels.end(), task.reference);
  if (place == levels.end()) throw std::runtime_error("no such level: " + task.reference);
  return static_cast<int>(place - levels.begin());
}

void AddEffects(const LogisticReferenceTask& task, LogisticSettings& settings) {
  for (const ReferenceTerm& term : task.model.terms) {
    std::vector<int> covariates;
    for (const CovariatePower& covariate : term.covariates) {
      covariates.insert(covariates.end(), static_cast<std::size_t>(covariate.power),
                        task.table.IndexOf(covariate.column));
    }
    settings.Effect(Indices(task.table, term.factors), covariates);
  }
}

std::string CovariateText(const std::string& name, int power) {
  return power == 1 ? name : "I(" + name + "^" + std::to_string(power) + ")";
}

}  // namespace

LogisticReferenceRun::LogisticReferenceRun(const LogisticReferenceTask& task, bool inMemory,
                                           const Change& change)
    : task_(task),
      settings_(task.table.IndexOf(task.model.dependent),
                static_cast<int>(task.DependentLevels().size()), FactorRoles(task),
                Indices(task.table, task.model.Covariates())) {
  AddEffects(task, settings_);
  if (!task.freqWeight.empty()) settings_.FrequencyWeight(task.table.IndexOf(task.freqWeight));
  if (!task.regrWeight.empty()) settings_.RegressionWeight(task.table.IndexOf(task.regrWeight));
  if (!task.model.intercept) settings_.NoIntercept();
  settings_.Reference(ReferenceOf(task)).InMemory(inMemory);
  change(settings_.Get());
  fit_ = std::make_unique<LogisticFit>(settings_.Get(), task.table.records);
}

LogisticReferenceLabel LogisticReferenceRun::LabelOf(const QvRegrParameter& parameter) const {
  constexpr int kAbsent = -1;
  const ReferenceTable& table = task_.table;
  LogisticReferenceLabel label;
  label.category =
      task_.DependentLevels().at(static_cast<std::size_t>(parameter.GetTargetCategory()));
  std::string& term = label.column.term;
  for (const std::string& factor : task_.model.Factors()) {
    const int category = parameter.ContainsFactor(table.IndexOf(factor), kAbsent);
    if (category == kAbsent) continue;
    term += (term.empty() ? "C(" : ":C(") + factor + ")";
    label.column.levels[factor] = table.levels.at(factor).at(static_cast<std::size_t>(category));
  }
  for (const std::string& covariate : task_.model.Covariates()) {
    const int power = parameter.GetCovariateMult(table.IndexOf(covariate));
    if (power > 0) term += (term.empty() ? "" : ":") + CovariateText(covariate, power);
  }
  if (parameter.IsIntercept()) term = "(Intercept)";
  return label;
}

std::vector<std::string> LogisticReferenceRun::Categories() const {
  std::vector<std::string> levels;
  for (const int code : Fit().Stats().GetDependCategories()) {
    levels.push_back(task_.DependentLevels().at(static_cast<std::size_t>(code)));
  }
  return levels;
}

std::vector<std::vector<double>> LogisticReferenceRun::Classification() const {
  const QvCommon::QvRectMatrix* table = Fit().Stats().GetClassificationTable();
  const int size = static_cast<int>(Fit().Stats().GetDependCategories().size());
  std::vector<std::vector<double>> rows(static_cast<std::size_t>(size));
  for (int i = 0; i < size; ++i) {
    for (int j = 0; j < size; ++j) {
      rows[static_cast<std::size_t>(i)].push_back(table->GetElem(i, j));
    }
  }
  return rows;
}

LogisticReferenceValues LogisticReferenceRun::Values() const {
  const QvLogOutputStats& statistics = Fit().Stats();
  LogisticReferenceValues values;
  values.categories = Categories();
  values.estimates = statistics.GetParamEstimates();
  int index = 0;
  for (const QvRegrParameter& parameter : statistics.GetParameters()) {
    values.labels.push_back(LabelOf(parameter));
    values.redundant.push_back(!statistics.GetRedundancyIndicators().IsIn(index));
    const double variance = statistics.GetCovarianceMatrix()->GetElem(index, index);
    values.standardErrors.push_back(std::sqrt(variance));
    ++index;
  }
  values.loglikInitial = statistics.GetInitialLL();
  values.loglik = statistics.GetFinalLL();
  values.coxSnell = statistics.GetModelFitStat(QvConst::QvFitCoxSnellRSquare);
  values.nagelkerke = statistics.GetModelFitStat(QvConst::QvFitNagelkerkeRSquare);
  values.mcFadden = statistics.GetModelFitStat(QvConst::QvFitMcFaddenRSquare);
  values.classification = Classification();
  values.recordsUsed = static_cast<int>(statistics.GetRecordCounts().fUsed);
  return values;
}

}  // namespace qvtest
