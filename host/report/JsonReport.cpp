#include <nlohmann/json.hpp>
#include <optional>

#include "host/inference/Inference.h"
#include "host/report/PlotsJson.h"
#include "host/report/Report.h"
#include "host/report/ValidationJson.h"

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
  Json json = Json::object();
  if (parameter.category) json["category"] = *parameter.category;
  json["label"] = parameter.label;
  json["levels"] = std::move(levels);
  json["covariates"] = std::move(covariates);
  json["estimate"] = Number(parameter.estimate);
  json["std_error"] = Number(statistics.stdError);
  json["statistic"] = Number(statistics.statistic);
  json["p_value"] = Number(statistics.pValue);
  json["conf_low"] = Number(statistics.confLow);
  json["conf_high"] = Number(statistics.confHigh);
  json["redundant"] = parameter.redundant;
  json["non_finite"] = parameter.nonFinite;
  return json;
}

Json Records(const RecordUse& records) {
  Json byColumn = Json::object();
  for (const ColumnMissing& column : records.missingByColumn) {
    byColumn[column.name] = column.count;
  }
  Json strings = Json::array();
  for (const StringMissing& string : records.missingStrings) {
    strings.push_back(
        {{"column", string.column}, {"string", string.text}, {"count", string.count}});
  }
  return {{"read", records.read},
          {"used", records.used},
          {"left_out", records.leftOut},
          {"missing", records.missing},
          {"bad_weight", records.badWeight},
          {"held_out", records.heldOut},
          {"digest", Text(records.digest)},
          {"missing_by_column", std::move(byColumn)},
          {"missing_strings", std::move(strings)}};
}

Json Parameters(const FitResult& fit) {
  Json parameters = Json::array();
  for (const ParameterResult& parameter : fit.parameters) {
    parameters.push_back(Parameter(parameter));
  }
  return parameters;
}

Json Transformations(const FitResult& fit) {
  Json transformations = Json::array();
  for (const StandardizedVariable& variable : fit.standardized) {
    transformations.push_back({{"label", variable.label},
                               {"argument", variable.argument},
                               {"centre", variable.centre},
                               {"deviation", Number(variable.deviation)}});
  }
  return transformations;
}

Json LinearFitJson(const FitResult& fit) {
  return {{"r_square", Number(fit.rSquare)},
          {"adjusted_r_square", Number(fit.quality.adjustedRSquare)},
          {"rmse", Number(fit.rmse)},
          {"residual_std_error", Number(fit.residualStdError)},
          {"f_statistic", Number(fit.quality.fStatistic)},
          {"f_df", fit.quality.fDegrees},
          {"f_p_value", Number(fit.quality.fP)},
          {"log_likelihood", Number(fit.quality.logLikelihood)},
          {"aic", Number(fit.quality.aic)},
          {"bic", Number(fit.quality.bic)}};
}

Json Effects(const FitResult& fit) {
  Json effects = Json::array();
  if (!fit.effects) return effects;
  for (const EffectTest& test : fit.effects->tests) {
    effects.push_back({{"term", test.term},
                       {"df", test.degrees},
                       {"df_residual", Number(test.residualDegrees)},
                       {"statistic", Number(test.statistic)},
                       {"p_value", Number(test.pValue)},
                       {"sum_of_squares", Number(test.sumOfSquares)}});
  }
  return effects;
}

Json CollinearityJson(const CollinearityResult& collinearity) {
  Json terms = Json::array();
  for (const TermInflation& term : collinearity.terms) {
    terms.push_back({{"term", term.term},
                     {"df", term.degrees},
                     {"gvif", Number(term.factor)},
                     {"gvif_per_df", Number(term.errorPerParameter)}});
  }
  return {{"terms", std::move(terms)}, {"condition_number", Number(collinearity.conditionNumber)}};
}

/// The numbers of a mean, a difference or a contrast; a test only where `isTested`.
void AddEstimate(const MeanEstimate& mean, double degreesOfFreedom, bool isTested, Json& json) {
  const CoefficientStatistics& statistics = mean.statistics;
  json["estimable"] = mean.isEstimable;
  json["estimate"] = Number(mean.estimate);
  json["std_error"] = Number(statistics.stdError);
  json["df"] = mean.isEstimable ? Number(Finite(degreesOfFreedom)) : Json(nullptr);
  if (isTested) {
    json["statistic"] = Number(statistics.statistic);
    json["p_value"] = Number(statistics.pValue);
  }
  json["lower"] = Number(statistics.confLow);
  json["upper"] = Number(statistics.confHigh);
}

Json Contrasts(const FitResult& fit) {
  Json contrasts = Json::array();
  if (!fit.means) return contrasts;
  for (const ContrastResult& contrast : fit.means->contrasts) {
    Json json = {{"label", contrast.label},
                 {"scale", MeanScaleName(contrast.scale)},
                 {"level", fit.logistic ? Json(contrast.level) : Json(nullptr)}};
    AddEstimate(contrast.estimate, fit.means->degreesOfFreedom, true, json);
    contrasts.push_back(std::move(json));
  }
  return contrasts;
}

Json LevelsOf(const MeanTable& table, std::size_t row) {
  Json levels = Json::object();
  for (std::size_t i = 0; i < table.factors.size(); ++i) {
    levels[table.factors[i]] = table.rows[row].levels[i];
  }
  return levels;
}

Json MeansJson(const FitResult& fit) {
  Json tables = Json::array();
  if (!fit.means) return tables;
  for (const MeanTable& table : fit.means->tables) {
    Json rows = Json::array();
    for (std::size_t i = 0; i < table.rows.size(); ++i) {
      Json row = {{"levels", LevelsOf(table, i)}};
      AddEstimate(table.rows[i].estimate, fit.means->degreesOfFreedom, false, row);
      rows.push_back(std::move(row));
    }
    Json differences = Json::array();
    for (const MeanDifference& difference : table.differences) {
      Json json = {{"first", LevelsOf(table, difference.first)},
                   {"second", LevelsOf(table, difference.second)}};
      AddEstimate(difference.estimate, fit.means->degreesOfFreedom, true, json);
      json["p_adjusted"] = Number(difference.adjustedP);
      differences.push_back(std::move(json));
    }
    tables.push_back({{"terms", table.factors},
                      {"scale", MeanScaleName(table.scale)},
                      {"level", fit.logistic ? Json(table.level) : Json(nullptr)},
                      {"rows", std::move(rows)},
                      {"differences", std::move(differences)}});
  }
  return tables;
}

Json GridJson(const FitResult& fit) {
  if (!fit.means) return {};
  const GridResult& grid = fit.means->grid;
  Json covariates = Json::array();
  for (const GridResult::Covariate& covariate : grid.covariates) {
    covariates.push_back({{"name", covariate.name}, {"values", covariate.values}});
  }
  Json nested = Json::array();
  for (const GridResult::Nested& factor : grid.nested) {
    nested.push_back({{"factor", factor.factor}, {"within", factor.within}});
  }
  return {
      {"rows", grid.rows}, {"covariates", std::move(covariates)}, {"nested", std::move(nested)}};
}

Json LogisticFitJson(const LogisticFit& fit) {
  return {{"iterations", fit.iterations},
          {"step_halvings", fit.stepHalvings},
          {"outcome", fit.outcome},
          {"outcome_code", fit.outcomeCode},
          {"ending", fit.ending},
          {"separation", fit.separation},
          {"converged", fit.converged},
          {"in_memory", fit.inMemory},
          {"distinct_records", fit.distinctRecords ? Json(*fit.distinctRecords) : Json()},
          {"loglik_initial", Number(fit.initialLogLikelihood)},
          {"loglik", Number(fit.logLikelihood)},
          {"loglik_change", Number(fit.logLikelihoodChange)},
          {"parameter_change", Number(fit.parameterChange)},
          {"chi_square", Number(fit.chiSquare)},
          {"chi_square_df", fit.chiSquareDegrees},
          {"p_value", Number(fit.chiSquareP)},
          {"cox_snell", Number(fit.coxSnell)},
          {"nagelkerke", Number(fit.nagelkerke)},
          {"mcfadden", Number(fit.mcFadden)},
          {"aic", Number(fit.aic)},
          {"bic", Number(fit.bic)}};
}

/// The levels, the reference last, with their weights.
Json Levels(const LogisticFit& fit) {
  Json levels = Json::array();
  for (const DependentLevel& level : fit.levels) {
    levels.push_back({{"level", level.level}, {"weight", level.weight}});
  }
  return levels;
}

Json Classification(const LogisticFit& fit) {
  Json categories = Json::array();
  for (const DependentLevel& level : fit.levels) categories.push_back(level.level);
  return {{"categories", std::move(categories)}, {"table", fit.classification}};
}

Json Covariance(const CovarianceResult& covariance) {
  return {{"type", CovarianceName(covariance.kind)},
          {"column", Text(covariance.column)},
          {"clusters", covariance.clusters ? Json(*covariance.clusters) : Json()}};
}

Json Influential(const FitResult& fit) {
  if (!fit.influential) return {};
  Json records = Json::array();
  for (const InfluentialRecord& record : *fit.influential) {
    records.push_back({{"row", record.row},
                       {"cooks_distance", record.cooksDistance},
                       {"leverage", Number(record.leverage)},
                       {"residual", Number(record.residual)}});
  }
  return records;
}

Json Margins(const FitResult& fit) {
  if (!fit.margins) return {};
  Json margins = Json::array();
  const auto text = [](const std::optional<std::string>& value) {
    return value ? Json(*value) : Json(nullptr);
  };
  for (const MarginResult& margin : *fit.margins) {
    Json entry = {{"variable", margin.variable},
                  {"level", text(margin.level)},
                  {"contrast", margin.level ? Json(*margin.level + " - " + margin.base.value_or(""))
                                            : Json(nullptr)}};
    if (fit.logistic) entry["category"] = text(margin.category);
    entry["effect"] = Number(margin.effect);
    entry["std_error"] = Number(margin.statistics.stdError);
    entry["statistic"] = Number(margin.statistics.statistic);
    entry["p_value"] = Number(margin.statistics.pValue);
    entry["lower"] = Number(margin.statistics.confLow);
    entry["upper"] = Number(margin.statistics.confHigh);
    margins.push_back(std::move(entry));
  }
  return margins;
}

/// A file with a row for each row of the data, if there is one.
Json Table(const std::string& file, long long rows) {
  if (file.empty()) return {};
  return {{"file", file}, {"rows", rows}};
}

Json Files(const FitResult& fit) {
  return {{"predictions", Table(fit.predictions, fit.rowsPredicted)},
          {"diagnostics", Table(fit.diagnostics, fit.rowsDiagnosed)},
          {"covariance", Text(fit.covarianceFile)}};
}

}  // namespace

std::string JsonReport(const FitResult& fit) {
  Json report = {{"model", ModelName(fit.kind)},
                 {"formula", fit.formula},
                 {"data", fit.data},
                 {"where", Text(fit.where)},
                 {"dependent", fit.dependent},
                 {"freq_weight", Text(fit.freqWeight)},
                 {"regression_weight", Text(fit.regressionWeight)},
                 {"confidence", fit.confidence},
                 {"records", Records(fit.records)},
                 {"degrees_of_freedom", Number(Finite(fit.degreesOfFreedom))},
                 {"library_degrees_of_freedom", Number(Finite(fit.libraryDegreesOfFreedom))},
                 {"imposed_degrees_of_freedom", fit.imposedDegreesOfFreedom}};
  if (fit.logistic) {
    report["reference"] = fit.logistic->levels.back().level;
    report["dependent_levels"] = Levels(*fit.logistic);
  }
  report["covariance"] = Covariance(fit.covariance);
  report["transformations"] = Transformations(fit);
  report["parameters"] = Parameters(fit);
  report["fit"] = fit.logistic ? LogisticFitJson(*fit.logistic) : LinearFitJson(fit);
  report["anova"] = fit.effects ? Json(fit.effects->type) : Json(nullptr);
  report["anova_asked"] = fit.effects && fit.effects->isAsked;
  report["effects"] = Effects(fit);
  report["collinearity"] = fit.collinearity ? CollinearityJson(*fit.collinearity) : Json(nullptr);
  report["margins"] = Margins(fit);
  report["reference_grid"] = GridJson(fit);
  report["contrasts"] = Contrasts(fit);
  report["means"] = MeansJson(fit);
  if (fit.logistic) report["classification"] = Classification(*fit.logistic);
  report["influential"] = Influential(fit);
  report["validation"] = fit.validation ? ValidationJson(fit) : Json(nullptr);
  if (fit.plots) report["plots"] = PlotsJson(*fit.plots);
  report["files"] = Files(fit);
  report["warnings"] = fit.warnings;
  report["status"] = {{"code", fit.statusCode}, {"message", fit.statusMessage}};
  constexpr int indent = 2;
  return report.dump(indent, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace qvhost
