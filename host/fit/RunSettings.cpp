#include "host/fit/RunSettings.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <numeric>
#include <optional>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/fit/SpoolRunner.h"
#include "host/formula/Terms.h"
#include "host/table/LevelChoice.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "qvreg/settings/QvModelEffect.h"

namespace qvhost {
namespace {

/// The settings reject a role, an effect or a checked number only when memory runs out.
void Require(bool accepted) {
  if (!accepted) throw std::bad_alloc();
}

int PositionOf(const ModelBinding& binding, int variable) {
  return binding.positions[static_cast<std::size_t>(variable)];
}

/// Up to this size the coded records are kept in memory unless the user says otherwise: reading a
/// file again costs more than the memory does.
constexpr std::int64_t kMostBytesInMemory = std::int64_t{128} << 20;

/// Further ones take a pass each, and are made only where columns nearly depend on each other.
constexpr int kMaxRefinements = 5;

bool FitsInMemory(const CodedTable& table) {
  const auto recordBytes = static_cast<std::int64_t>(sizeof(double)) * table.RecordSize();
  return table.RecordCount() <= kMostBytesInMemory / recordBytes;
}

/// How many levels of the dependent occur in the records used, 3 for more. Where the data have no
/// more than two, all of them.
std::size_t CountObserved(const CodedTable& table, const QvLogRegSettings& settings,
                          const std::function<void(long long)>& progress,
                          const Interrupt& interrupt) {
  constexpr std::size_t kMost = 3;
  const std::size_t levels = table.Columns()[ModelBinding::kDependent].levels.size();
  if (levels < kMost) return levels;
  const QvRegRecordValidator validator = ValidatorOf(settings);
  SpoolRecords records(table, progress);
  std::vector<bool> isObserved(levels, false);
  std::size_t observed = 0;
  while (const QvCommon::Record* record = records.Fetch(interrupt)) {
    QvCommon::QvStatus status;
    if (!validator.IsValidRecord(*record, status)) continue;
    const auto level = static_cast<std::size_t>((*record)[ModelBinding::kDependent]);
    if (isObserved[level]) continue;
    isObserved[level] = true;
    if (++observed == kMost) break;
  }
  return observed;
}

std::unique_ptr<QvRegSettings> LogisticSettings(const CodedTable& table,
                                                const LogisticOptions& options) {
  auto settings = std::make_unique<QvLogRegSettings>();
  const CodedColumn& dependent = table.Columns()[ModelBinding::kDependent];
  // The library itself reports that one category is too few.
  const int levels = std::max(2, static_cast<int>(dependent.levels.size()));
  Require(settings->SetDependentRefCat(FindReferenceLevel(options.reference, dependent), levels));
  Require(settings->SetMaxIterations(options.maxIterations));
  Require(settings->SetMaxStepHalvingValue(options.maxStepHalving));
  Require(settings->SetLLConCriterion(options.logLikelihoodCriterion));
  Require(settings->SetParamEstConCriterion(options.parameterCriterion));
  Require(settings->SetStartingIteration(options.separationFrom));
  settings->SetLLFuncChange(options.absoluteLogLikelihood);
  settings->SetParamEstChange(options.absoluteParameter);
  settings->SetUsePatternTabulator(options.inMemory.value_or(FitsInMemory(table)));
  return settings;
}

}  // namespace

int FindReferenceLevel(const std::string& reference, const CodedColumn& dependent) {
  if (reference.empty()) return QvLogRegSettings::kLastObserved;
  if (const auto level = FindLevel(dependent.levels, reference)) return static_cast<int>(*level);
  if (reference == "last") return QvLogRegSettings::kLastObserved;
  if (reference == "first") return QvLogRegSettings::kFirstObserved;
  throw NoSuchLevel(
      dependent.label, reference,
      fmt::format("'{}' has no level '{}' to be the --reference; give one of its levels, first or "
                  "last.{}",
                  dependent.label, reference, LevelHint(dependent.levels, reference)));
}

QvRegRecordValidator ValidatorOf(const QvRegSettings& settings, int apart) {
  constexpr int kNoCategories = 0;
  std::vector<QvConst::QvVariableType> types = settings.GetVariableTypes();
  const auto place = static_cast<std::size_t>(apart);
  if (apart >= 0 && place < types.size()) types[place] = QvConst::QvVarNone;
  const auto* const logistic = dynamic_cast<const QvLogRegSettings*>(&settings);
  QvRegRecordValidator validator;
  validator.SetRecordInfo(types, settings.GetFactors(), settings.GetFactorSizes(),
                          logistic == nullptr ? kNoCategories : logistic->GetDependentNCategs());
  return validator;
}

RunSettings::RunSettings(const Formula& formula, const ModelBinding& binding,
                         const CodedTable& table, const FitOptions& options)
    : variables_(static_cast<std::size_t>(binding.factorCount + binding.covariateCount)),
      isReferenceChosen_(!options.logistic.reference.empty()),
      settings_(binding.kind == ModelKind::kLogistic ? LogisticSettings(table, options.logistic)
                                                     : std::make_unique<QvRegSettings>()) {
  std::iota(variables_.begin(), variables_.end(), ModelBinding::kDependent + 1);
  AddRoles(binding, table);
  for (const Term& term : formula.terms) {
    AddEffect(term, binding);
  }
  settings_->SetInterceptUse(formula.intercept && options.intercept);
  settings_->SetTolerance(options.tolerance.value_or(DefaultTolerance(binding.kind)));
  settings_->SetConfidenceLevel(options.confidence);
  if (options.degreesOfFreedom) settings_->SetDF(*options.degreesOfFreedom);
  Require(settings_->SetMaxRefinements(options.refine ? kMaxRefinements : 0));
}

void RunSettings::SettleReference(const CodedTable& table,
                                  const std::function<void(long long)>& progress,
                                  const Interrupt& interrupt) {
  auto* const logistic = dynamic_cast<QvLogRegSettings*>(settings_.get());
  if (logistic == nullptr || isReferenceChosen_) return;
  if (CountObserved(table, *logistic, progress, interrupt) != 2) return;
  Require(logistic->SetDependentRefCat(QvLogRegSettings::kFirstObserved,
                                       logistic->GetDependentNCategs()));
}

void RunSettings::UseGroups(const GroupedRecords& grouped, const LogisticOptions& options) {
  if (settings_->GetFrequencyWeightVar() != grouped.freqWeight) {
    Require(settings_->SetFrequencyWeightVar(grouped.freqWeight));
  }
  Require(settings_->SetRecordCountVar(grouped.count));
  dynamic_cast<QvLogRegSettings&>(*settings_)
      .SetUsePatternTabulator(options.inMemory.value_or(FitsInMemory(grouped.table)));
}

void RunSettings::AddRoles(const ModelBinding& binding, const CodedTable& table) {
  Require(settings_->SetDependent(ModelBinding::kDependent));
  for (int i = 0; i < binding.factorCount + binding.covariateCount; ++i) {
    const int position = variables_[static_cast<std::size_t>(i)];
    if (i >= binding.factorCount) {
      Require(settings_->AddCovariate(position) > 0);
      continue;
    }
    // A column without any value has no level, and a factor has at least one.
    const auto levels = table.Columns()[static_cast<std::size_t>(position)].levels.size();
    Require(settings_->AddFactor(position, std::max(1, static_cast<int>(levels))) > 0);
  }
  // Without an effect: records that it leaves out are not used.
  if (binding.partCount > 0) Require(settings_->AddFactor(binding.part, binding.partCount) > 0);
  if (binding.freqWeight >= 0) Require(settings_->SetFrequencyWeightVar(binding.freqWeight));
  if (binding.regressionWeight >= 0) Require(settings_->SetRegrWeightVar(binding.regressionWeight));
}

void RunSettings::AddEffect(const Term& term, const ModelBinding& binding) {
  QvModelEffect effect(binding.factorCount, binding.covariateCount, &variables_);
  for (const FactorStep& step : FactorSteps(term, binding.isFactor)) {
    Require(effect.AddNewFactor(PositionOf(binding, step.variable), step.nested));
  }
  for (const CovariateStep& step : CovariateSteps(term, binding.isFactor)) {
    for (int times = 0; times < step.multiplicity; ++times) {
      Require(effect.AddCovariate(PositionOf(binding, step.variable)) > 0);
    }
  }
  Require(settings_->AddModelEffect(effect));
}

}  // namespace qvhost
