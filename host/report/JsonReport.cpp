#include "host/report/JsonReport.h"

#include <nlohmann/json.hpp>
#include <optional>

#include "host/inference/Finite.h"

namespace qvhost {

namespace {

using Json = nlohmann::ordered_json;

Json Number(const std::optional<double>& value) { return value ? Json(*value) : Json(nullptr); }

Json Text(const std::string& value) { return value.empty() ? Json(nullptr) : Json(value); }

Json Parameter(const ParameterResult& parameter) {
  Json levels = Json::object();
  for (const FactorLevel& level : parameter.levels) {
    levels[level.factor] = level.level;
  }
  Json covariates = Json::object();
  for (const CovariatePower& covariate : parameter.covariates) {
    covariates[covariate.covariate] = covariate.power;
  }
  const CoefficientStatistics& statistics = parameter.statistics;
  return {{"label", parameter.label},
          {"levels", std::move(levels)},
          {"covariates", std::move(covariates)},
          {"estimate", Number(parameter.estimate)},
          {"std_error", Number(statistics.stdError)},
          {"statistic", Number(statistics.statistic)},
          {"p_value", Number(statistics.pValue)},
          {"conf_low", Number(statistics.confLow)},
          {"conf_high", Number(statistics.confHigh)},
          {"redundant", parameter.redundant}};
}

Json Records(const RecordUse& records) {
  Json byColumn = Json::object();
  for (const ColumnMissing& column : records.missingByColumn) {
    byColumn[column.name] = column.count;
  }
  return {{"read", records.read},
          {"used", records.used},
          {"missing", records.missing},
          {"bad_weight", records.badWeight},
          {"missing_by_column", std::move(byColumn)}};
}

Json Parameters(const FitResult& fit) {
  Json parameters = Json::array();
  for (const ParameterResult& parameter : fit.parameters) {
    parameters.push_back(Parameter(parameter));
  }
  return parameters;
}

}  // namespace

std::string JsonReport(const FitResult& fit) {
  const Json report = {{"model", fit.model},
                       {"formula", fit.formula},
                       {"data", fit.data},
                       {"dependent", fit.dependent},
                       {"freq_weight", Text(fit.freqWeight)},
                       {"regression_weight", Text(fit.regressionWeight)},
                       {"confidence", fit.confidence},
                       {"records", Records(fit.records)},
                       {"degrees_of_freedom", Number(Finite(fit.degreesOfFreedom))},
                       {"library_degrees_of_freedom", Number(Finite(fit.libraryDegreesOfFreedom))},
                       {"parameters", Parameters(fit)},
                       {"fit",
                        {{"r_square", Number(fit.rSquare)},
                         {"rmse", Number(fit.rmse)},
                         {"residual_std_error", Number(fit.residualStdError)}}},
                       {"warnings", fit.warnings},
                       {"status", {{"code", fit.statusCode}, {"message", fit.statusMessage}}}};
  constexpr int indent = 2;
  return report.dump(indent, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace qvhost
