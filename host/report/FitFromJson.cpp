#include "host/report/FitFromJson.h"

#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "host/report/JsonReader.h"
#include "host/report/MeansFromJson.h"
#include "host/report/PlotsJson.h"
#include "host/report/ValidationFromJson.h"

namespace qvhost {

namespace {

/// Degrees of freedom: null where no double holds them.
double Degrees(const JsonReader& json, const std::string& key) {
  return json.Find<double>(key).value_or(std::numeric_limits<double>::infinity());
}

RecordUse Records(const JsonReader& json) {
  RecordUse records;
  records.read = json.Get<long long>("read");
  records.used = json.Get<long long>("used");
  records.leftOut = json.Get<long long>("left_out");
  records.missing = json.Get<long long>("missing");
  records.badWeight = json.Get<long long>("bad_weight");
  records.heldOut = json.Get<long long>("held_out");
  records.digest = json.FindText("digest");
  for (const auto& [column, count] : json.At("missing_by_column").Members()) {
    records.missingByColumn.push_back({column, count.As<long long>()});
  }
  records.missingStrings = json.List("missing_strings", [](const JsonReader& string) {
    return StringMissing{string.Get<std::string>("column"), string.Get<std::string>("string"),
                         string.Get<long long>("count")};
  });
  return records;
}

CovarianceResult Covariance(const JsonReader& json) {
  CovarianceResult covariance;
  covariance.kind = json.OneOf("type", CovarianceName, CovarianceKind::kCluster);
  covariance.column = json.FindText("column");
  covariance.clusters = json.Find<long long>("clusters");
  return covariance;
}

/// The limits have the names of parameters or of all else.
CoefficientStatistics Statistics(const JsonReader& json, const char* low, const char* high) {
  return {json.Find<double>("std_error"), json.Find<double>("statistic"),
          json.Find<double>("p_value"), json.Find<double>(low), json.Find<double>(high)};
}

ParameterResult Parameter(const JsonReader& json, ModelKind kind) {
  ParameterResult parameter;
  if (kind == ModelKind::kLogistic) parameter.category = json.Get<std::string>("category");
  parameter.label = json.Get<std::string>("label");
  for (const auto& [factor, level] : json.At("levels").Members()) {
    parameter.levels.push_back({factor, level.As<std::string>()});
  }
  for (const auto& [covariate, power] : json.At("covariates").Members()) {
    parameter.covariates.push_back({covariate, power.As<int>()});
  }
  parameter.estimate = json.Get<double>("estimate");
  parameter.statistics = Statistics(json, "conf_low", "conf_high");
  parameter.redundant = json.Get<bool>("redundant");
  parameter.nonFinite = json.Get<bool>("non_finite");
  return parameter;
}

void ReadLinear(const JsonReader& json, FitResult& fit) {
  fit.rSquare = json.Find<double>("r_square");
  fit.rmse = json.Find<double>("rmse");
  fit.residualStdError = json.Find<double>("residual_std_error");
  fit.quality = {json.Find<double>("f_statistic"),
                 json.Get<int>("f_df"),
                 json.Find<double>("f_p_value"),
                 json.Find<double>("adjusted_r_square"),
                 json.Find<double>("log_likelihood"),
                 json.Find<double>("aic"),
                 json.Find<double>("bic")};
}

/// What `fit` holds of a logistic model.
LogisticFit Ending(const JsonReader& json) {
  LogisticFit fit;
  fit.iterations = json.Get<int>("iterations");
  fit.stepHalvings = json.Get<int>("step_halvings");
  fit.outcome = json.Get<std::string>("outcome");
  fit.outcomeCode = json.Get<int>("outcome_code");
  fit.ending = json.Get<std::string>("ending");
  fit.separation = json.Get<std::string>("separation");
  fit.converged = json.Get<bool>("converged");
  fit.inMemory = json.Get<bool>("in_memory");
  fit.distinctRecords = json.Find<long long>("distinct_records");
  fit.initialLogLikelihood = json.Find<double>("loglik_initial");
  fit.logLikelihood = json.Find<double>("loglik");
  fit.logLikelihoodChange = json.Find<double>("loglik_change");
  fit.parameterChange = json.Find<double>("parameter_change");
  fit.chiSquare = json.Find<double>("chi_square");
  fit.chiSquareDegrees = json.Get<int>("chi_square_df");
  fit.chiSquareP = json.Find<double>("p_value");
  fit.coxSnell = json.Find<double>("cox_snell");
  fit.nagelkerke = json.Find<double>("nagelkerke");
  fit.mcFadden = json.Find<double>("mcfadden");
  fit.aic = json.Find<double>("aic");
  fit.bic = json.Find<double>("bic");
  return fit;
}

LogisticFit Logistic(const JsonReader& json) {
  LogisticFit fit = Ending(json.At("fit"));
  fit.levels = json.List("dependent_levels", [](const JsonReader& level) {
    return DependentLevel{level.Get<std::string>("level"), level.Get<double>("weight")};
  });
  json.At("dependent_levels").Require(fit.levels.size() >= 2);
  json.At("reference").Require(json.Get<std::string>("reference") == fit.levels.back().level);
  const JsonReader classification = json.At("classification");
  if (!classification.At("table").Elements().empty()) {
    fit.classification = ReadClassification(classification, fit.levels.size());
  }
  return fit;
}

std::optional<EffectTests> Effects(const JsonReader& json) {
  const std::optional<int> type = json.Find<int>("anova");
  if (!type) return std::nullopt;
  constexpr int kLastType = 3;
  json.At("anova").Require(*type >= 1 && *type <= kLastType);
  EffectTests effects;
  effects.type = *type;
  effects.isAsked = json.Get<bool>("anova_asked");
  effects.tests = json.List("effects", [](const JsonReader& test) {
    return EffectTest{test.Get<std::string>("term"),    test.Get<int>("df"),
                      test.Find<double>("df_residual"), test.Find<double>("statistic"),
                      test.Find<double>("p_value"),     test.Find<double>("sum_of_squares")};
  });
  return effects;
}

CollinearityResult Collinearity(const JsonReader& json) {
  CollinearityResult collinearity;
  collinearity.terms = json.List("terms", [](const JsonReader& term) {
    return TermInflation{term.Get<std::string>("term"), term.Get<int>("df"),
                         term.Find<double>("gvif"), term.Find<double>("gvif_per_df")};
  });
  collinearity.conditionNumber = json.Find<double>("condition_number");
  return collinearity;
}

MarginResult Margin(const JsonReader& json, ModelKind kind) {
  MarginResult margin;
  margin.variable = json.Get<std::string>("variable");
  margin.level = json.Find<std::string>("level");
  const std::string contrast = json.FindText("contrast");
  if (margin.level) {
    const std::string start = *margin.level + " - ";
    json.At("contrast").Require(contrast.starts_with(start));
    margin.base = contrast.substr(start.size());
  }
  if (kind == ModelKind::kLogistic) margin.category = json.Find<std::string>("category");
  margin.effect = json.Find<double>("effect");
  margin.statistics = Statistics(json, "lower", "upper");
  return margin;
}

InfluentialRecord Influential(const JsonReader& json) {
  return {json.Get<long long>("row"), json.Get<double>("cooks_distance"),
          json.Find<double>("leverage"), json.Find<double>("residual")};
}

void ReadFiles(const JsonReader& json, FitResult& fit) {
  const auto read = [&](const char* key, std::string& file, long long& rows) {
    const JsonReader table = json.At(key);
    if (table.IsNull()) return;
    file = table.Get<std::string>("file");
    rows = table.Get<long long>("rows");
  };
  read("predictions", fit.predictions, fit.rowsPredicted);
  read("diagnostics", fit.diagnostics, fit.rowsDiagnosed);
  fit.covarianceFile = json.FindText("covariance");
}

/// What was fitted to what.
void ReadSubject(const JsonReader& json, FitResult& fit) {
  fit.kind = json.OneOf("model", ModelName, ModelKind::kLogistic);
  fit.formula = json.Get<std::string>("formula");
  fit.data = json.Get<std::string>("data");
  fit.where = json.FindText("where");
  fit.dependent = json.Get<std::string>("dependent");
  fit.freqWeight = json.FindText("freq_weight");
  fit.regressionWeight = json.FindText("regression_weight");
  fit.confidence = json.Get<double>("confidence");
  fit.records = Records(json.At("records"));
  fit.degreesOfFreedom = Degrees(json, "degrees_of_freedom");
  fit.libraryDegreesOfFreedom = Degrees(json, "library_degrees_of_freedom");
  fit.imposedDegreesOfFreedom = json.Get<bool>("imposed_degrees_of_freedom");
  fit.covariance = Covariance(json.At("covariance"));
  fit.standardized = json.List("transformations", [](const JsonReader& variable) {
    return StandardizedVariable{variable.Get<std::string>("label"),
                                variable.Get<std::string>("argument"),
                                variable.Get<double>("centre"), variable.Find<double>("deviation")};
  });
}

/// What options ask for.
void ReadMore(const JsonReader& json, FitResult& fit) {
  const auto exists = [&](const char* key) { return !json.At(key).IsNull(); };
  fit.effects = Effects(json);
  if (exists("collinearity")) fit.collinearity = Collinearity(json.At("collinearity"));
  if (exists("margins")) {
    fit.margins =
        json.List("margins", [&](const JsonReader& margin) { return Margin(margin, fit.kind); });
  }
  fit.means = ReadMeans(json, fit.kind);
  if (exists("influential")) fit.influential = json.List("influential", Influential);
  if (exists("validation")) fit.validation = ReadValidation(json.At("validation"), fit.kind);
  if (json.Has("plots")) fit.plots = ReadPlots(json.At("plots"), fit.kind);
  ReadFiles(json.At("files"), fit);
}

}  // namespace

FitResult ReadFitResult(const std::string& text, const std::string& file) {
  const JsonReader::Json parsed = JsonReader::Parse(text, file, {});
  const JsonReader json(parsed, file);
  FitResult fit;
  ReadSubject(json, fit);
  fit.parameters = json.List(
      "parameters", [&](const JsonReader& parameter) { return Parameter(parameter, fit.kind); });
  json.At("parameters").Require(!fit.parameters.empty());
  if (fit.kind == ModelKind::kLogistic) {
    fit.logistic = Logistic(json);
  } else {
    ReadLinear(json.At("fit"), fit);
  }
  ReadMore(json, fit);
  fit.warnings = json.Get<std::vector<std::string>>("warnings");
  const JsonReader status = json.At("status");
  fit.statusCode = status.Get<long>("code");
  fit.statusMessage = status.Get<std::string>("message");
  return fit;
}

}  // namespace qvhost
