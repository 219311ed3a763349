#include "tests/host/fit/Fitting.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "host/Error.h"
#include "host/fit/FitWarnings.h"
#include "host/fit/ResultBuilder.h"
#include "host/fit/RunFit.h"
#include "host/fit/SpoolRunner.h"
#include "host/table/CodeTable.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace qvhost {
namespace {

/// What a parameter adds to its linear predictor for a record.
double Contribution(const ParameterResult& parameter,
                    const std::map<std::string, std::string>& levels,
                    const std::map<std::string, double>& covariates) {
  const bool applies = std::ranges::all_of(parameter.levels, [&](const FactorLevel& level) {
    return levels.at(level.factor) == level.level;
  });
  if (!applies) return 0.0;
  double product = parameter.estimate.value();
  for (const CovariatePower& factor : parameter.covariates) {
    product *= std::pow(covariates.at(factor.covariate), factor.power);
  }
  return product;
}

}  // namespace

FitOptions OptionsFor(const std::string& sql, const std::string& formula) {
  FitOptions options;
  options.source.sql = sql;
  options.formula = formula;
  return options;
}

FitResult Fit(const FitOptions& options) {
  ProgressBar none(nullptr);
  Interrupt interrupt;
  OutputFiles outputs;
  return RunFit(options, none, interrupt, outputs);
}

FitResult Fit(const std::string& sql, const std::string& formula) {
  return Fit(OptionsFor(sql, formula));
}

Failure FailureOf(const FitOptions& options) {
  try {
    static_cast<void>(Fit(options));
  } catch (const Error& error) {
    return {error.what(), static_cast<int>(error.Code())};
  }
  return {};
}

double Predict(const FitResult& fit, const std::map<std::string, std::string>& levels,
               const std::map<std::string, double>& covariates) {
  double sum = 0.0;
  for (const ParameterResult& parameter : fit.parameters) {
    sum += Contribution(parameter, levels, covariates);
  }
  return sum;
}

std::map<std::string, double> Probabilities(const FitResult& fit,
                                            const std::map<std::string, std::string>& levels,
                                            const std::map<std::string, double>& covariates) {
  std::map<std::string, double> values;
  for (const DependentLevel& level : fit.logistic.value().levels) values[level.level] = 0.0;
  for (const ParameterResult& parameter : fit.parameters) {
    values.at(parameter.category.value()) += Contribution(parameter, levels, covariates);
  }
  double total = 0.0;
  for (auto& [level, value] : values) total += value = std::exp(value);
  for (auto& [level, value] : values) value /= total;
  return values;
}

BuiltModel::BuiltModel(const FitOptions& options)
    : options_(options),
      formula_(ParseFormula(options.formula)),
      source_(options.source),
      binding_(BindModel(formula_, source_, options.binding)),
      table_(CodeTable(source_, binding_.columns)),
      settings_(formula_, binding_, table_, options),
      run_(settings_.Get(), table_, options.threads, progress_, interrupt_) {
  run_.Build();
}

BuiltModel::BuiltModel(const std::string& sql, const std::string& formula)
    : BuiltModel(OptionsFor(sql, formula)) {}

PredictedCategories BuiltModel::Categories() const {
  const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&run_.Output());
  if (logistic == nullptr) return {};
  return {logistic->GetDependCategories(), table_.Columns().front().levels};
}

std::vector<std::string> BuiltModel::WarningsOf(const FitResult& result) const {
  return FitWarnings(formula_, binding_, table_, run_.Output(), result).Find();
}

BuiltPredictor BuiltModel::Predictor() const {
  const FitResult fit = ResultBuilder(formula_, binding_, table_, run_).Build(options_);
  return {Component(), run_.Output(), Categories(), fit.residualStdError};
}

void BuiltModel::Predict(const std::string& path, const std::function<void(long long)>& progress) {
  WholeFile file(path);
  const std::string note = WritePredictions(file, table_, Predictor(), 2, progress, interrupt_);
  if (!note.empty()) throw std::runtime_error("nothing was kept, but renamed");
  file.Finish();
  file.Commit();
}

std::vector<BuiltModel::Answer> BuiltModel::Answers() const {
  std::vector<Answer> answers;
  SpoolRecords records(table_);
  while (const QvCommon::Record* record = records.Next()) {
    Answer answer{};
    if (Component().Score(*record, answer.predicted, answer.values).IsError()) {
      throw std::runtime_error("a record could not be scored");
    }
    answers.push_back(answer);
  }
  return answers;
}

}  // namespace qvhost
