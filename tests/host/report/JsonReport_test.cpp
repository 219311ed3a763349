#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/report/Report.h"
#include "tests/host/report/SampleFit.h"

namespace qvhost {
namespace {

using Json = nlohmann::ordered_json;

std::vector<std::string> Names(const Json& object) {
  std::vector<std::string> names;
  for (const auto& [name, value] : object.items()) names.push_back(name);
  return names;
}

using Texts = std::vector<std::string>;

TEST(JsonReport, HasTheseNames) {
  const Json report = Json::parse(JsonReport(SampleFit()));
  EXPECT_EQ(Names(report), (Texts{"model",
                                  "formula",
                                  "data",
                                  "where",
                                  "dependent",
                                  "freq_weight",
                                  "regression_weight",
                                  "confidence",
                                  "records",
                                  "degrees_of_freedom",
                                  "library_degrees_of_freedom",
                                  "imposed_degrees_of_freedom",
                                  "covariance",
                                  "transformations",
                                  "parameters",
                                  "fit",
                                  "anova",
                                  "anova_asked",
                                  "effects",
                                  "collinearity",
                                  "margins",
                                  "reference_grid",
                                  "contrasts",
                                  "means",
                                  "influential",
                                  "validation",
                                  "files",
                                  "warnings",
                                  "status"}));
  EXPECT_EQ(Names(report["records"]),
            (Texts{"read", "used", "left_out", "missing", "bad_weight", "held_out", "digest",
                   "missing_by_column", "missing_strings"}));
  EXPECT_EQ(Names(report["parameters"][0]),
            (Texts{"label", "levels", "covariates", "estimate", "std_error", "statistic", "p_value",
                   "conf_low", "conf_high", "redundant", "non_finite"}));
  EXPECT_EQ(Names(report["fit"]),
            (Texts{"r_square", "adjusted_r_square", "rmse", "residual_std_error", "f_statistic",
                   "f_df", "f_p_value", "log_likelihood", "aic", "bic"}));
  EXPECT_EQ(Names(report["files"]), (Texts{"predictions", "diagnostics", "covariance"}));
  EXPECT_EQ(Names(report["status"]), (Texts{"code", "message"}));
}

TEST(JsonReport, CarriesTestsAndCollinearity) {
  FitResult fit = SampleFit();
  EXPECT_TRUE(Json::parse(JsonReport(fit))["anova"].is_null());
  EXPECT_EQ(Json::parse(JsonReport(fit))["effects"], Json::array());
  EXPECT_TRUE(Json::parse(JsonReport(fit))["collinearity"].is_null());
  fit.quality = {3.5, 2, 0.03, 0.7, -123.25, 250.5, 260.25};
  fit.effects = {3, true, {{"g", 2, 1097.0, 12.5, 0.001, 40.0}, {"x", 0, 1097.0, {}, {}, {}}}};
  fit.collinearity = {{{"g", 2, 4.0, 2.0}}, 17.5};
  const Json report = Json::parse(JsonReport(fit));
  EXPECT_EQ(report["anova"], 3);
  EXPECT_EQ(report["anova_asked"], true);
  EXPECT_EQ(report["effects"], Json::parse(R"([
      {"term": "g", "df": 2, "df_residual": 1097.0, "statistic": 12.5, "p_value": 0.001,
       "sum_of_squares": 40.0},
      {"term": "x", "df": 0, "df_residual": 1097.0, "statistic": null, "p_value": null,
       "sum_of_squares": null}])"));
  EXPECT_EQ(report["collinearity"], Json::parse(R"({
      "terms": [{"term": "g", "df": 2, "gvif": 4.0, "gvif_per_df": 2.0}],
      "condition_number": 17.5})"));
  EXPECT_EQ(report["fit"]["f_statistic"], 3.5);
  EXPECT_EQ(report["fit"]["f_df"], 2);
  EXPECT_EQ(report["fit"]["f_p_value"], 0.03);
  EXPECT_EQ(report["fit"]["adjusted_r_square"], 0.7);
  EXPECT_EQ(report["fit"]["log_likelihood"], -123.25);
  EXPECT_EQ(report["fit"]["aic"], 250.5);
  EXPECT_EQ(report["fit"]["bic"], 260.25);
}

TEST(JsonReport, CarriesMeansAndContrasts) {
  FitResult fit = SampleFit();
  EXPECT_TRUE(Json::parse(JsonReport(fit))["reference_grid"].is_null());
  EXPECT_EQ(Json::parse(JsonReport(fit))["contrasts"], Json::array());
  EXPECT_EQ(Json::parse(JsonReport(fit))["means"], Json::array());
  fit.means = MeansResult();
  fit.means->degreesOfFreedom = 7.0;
  fit.means->grid = {6, {{"x", {1.5}}}, {{"h", {"g"}}}};
  fit.means->contrasts = {
      {"x=1", MeanScale::kResponse, "", {true, 2.0, {0.5, 4.0, 0.25, 1.0, 3.0}}}};
  MeanTable table{{"g"}, MeanScale::kResponse, "", {}, {}};
  table.rows = {{{"a"}, {true, 2.0, {0.5, 4.0, 0.25, 1.0, 3.0}}}, {{"b"}, {.isEstimable = false}}};
  table.differences = {{0, 1, {.isEstimable = false}, {}}};
  fit.means->tables = {table};
  const Json report = Json::parse(JsonReport(fit));
  EXPECT_EQ(report["reference_grid"], Json::parse(R"({
      "rows": 6, "covariates": [{"name": "x", "values": [1.5]}],
      "nested": [{"factor": "h", "within": ["g"]}]})"));
  EXPECT_EQ(report["contrasts"], Json::parse(R"([
      {"label": "x=1", "scale": "response", "level": null, "estimable": true, "estimate": 2.0,
       "std_error": 0.5, "df": 7.0, "statistic": 4.0, "p_value": 0.25, "lower": 1.0,
       "upper": 3.0}])"));
  EXPECT_EQ(report["means"], Json::parse(R"([
      {"terms": ["g"], "scale": "response", "level": null,
       "rows": [{"levels": {"g": "a"}, "estimable": true, "estimate": 2.0, "std_error": 0.5,
                 "df": 7.0, "lower": 1.0, "upper": 3.0},
                {"levels": {"g": "b"}, "estimable": false, "estimate": null, "std_error": null,
                 "df": null, "lower": null, "upper": null}],
       "differences": [{"first": {"g": "a"}, "second": {"g": "b"}, "estimable": false,
                        "estimate": null, "std_error": null, "df": null, "statistic": null,
                        "p_value": null, "lower": null, "upper": null, "p_adjusted": null}]}])"));
}

TEST(JsonReport, CarriesEveryValue) {
  const Json report = Json::parse(JsonReport(SampleFit()));
  EXPECT_EQ(report["model"], "linear");
  EXPECT_EQ(report["formula"], "y ~ g*x");
  EXPECT_EQ(report["dependent"], "y");
  EXPECT_EQ(report["freq_weight"], "n");
  EXPECT_TRUE(report["regression_weight"].is_null());
  EXPECT_EQ(report["records"]["read"], 1200);
  EXPECT_EQ(report["records"]["used"], 1100);
  EXPECT_EQ(report["records"]["missing"], 90);
  EXPECT_EQ(report["records"]["bad_weight"], 10);
  EXPECT_EQ(report["records"]["missing_by_column"], (Json{{"g", 40}, {"x", 60}}));
  EXPECT_EQ(report["records"]["missing_strings"],
            Json::parse(R"([{"column": "x", "string": "N/A", "count": 1},
                            {"column": "g", "string": "?", "count": 1234}])"));
  EXPECT_EQ(report["degrees_of_freedom"], 1097.0);
  EXPECT_EQ(report["library_degrees_of_freedom"], 1096.0);
  const Json& cell = report["parameters"][1];
  EXPECT_EQ(cell["label"], "g=ä:I(x^2)");
  EXPECT_EQ(cell["levels"], (Json{{"g", "ä"}}));
  EXPECT_EQ(cell["covariates"], (Json{{"x", 2}}));
  EXPECT_EQ(cell["estimate"], -12.5);
  EXPECT_EQ(cell["conf_high"], -2.211);
  EXPECT_EQ(cell["redundant"], false);
  EXPECT_EQ(report["fit"]["r_square"], 0.75);
  EXPECT_EQ(report["warnings"], Json::array({"Something is odd."}));
  EXPECT_EQ(report["status"]["code"], 0);
  EXPECT_EQ(report["status"]["message"], "The model was fitted.");
}

TEST(JsonReport, NamesTheFiles) {
  FitResult fit = SampleFit();
  EXPECT_EQ(Json::parse(JsonReport(fit))["files"],
            Json::parse(R"({"predictions": null, "diagnostics": null, "covariance": null})"));
  fit.predictions = "p.csv";
  fit.rowsPredicted = 1200;
  fit.diagnostics = "d.parquet";
  fit.rowsDiagnosed = 1100;
  fit.covarianceFile = "v.csv";
  EXPECT_EQ(Json::parse(JsonReport(fit))["files"],
            Json::parse(R"({"predictions": {"file": "p.csv", "rows": 1200},
                            "diagnostics": {"file": "d.parquet", "rows": 1100},
                            "covariance": "v.csv"})"));
}

TEST(JsonReport, WritesNullForWhatDoesNotExist) {
  const Json report = Json::parse(JsonReport(SampleFit()));
  const Json& base = report["parameters"][2];
  EXPECT_EQ(base["estimate"], 0.0);
  EXPECT_EQ(base["redundant"], true);
  for (const char* name : {"std_error", "statistic", "p_value", "conf_low", "conf_high"}) {
    EXPECT_TRUE(base[name].is_null()) << name;
  }
  EXPECT_EQ(report["parameters"][0]["levels"], Json::object());
  EXPECT_EQ(report["parameters"][0]["covariates"], Json::object());
}

TEST(JsonReport, NumbersReadBackToTheSameDouble) {
  for (const double value : {1.0 / 3.0, 0.1 + 0.2, 5e-324, 1.7976931348623157e308, -2.5e-17}) {
    FitResult fit = SampleFit();
    fit.parameters[0].estimate = value;
    fit.rmse = value;
    const Json report = Json::parse(JsonReport(fit));
    EXPECT_EQ(report["parameters"][0]["estimate"].get<double>(), value);
    EXPECT_EQ(report["fit"]["rmse"].get<double>(), value);
  }
}

TEST(JsonReport, AnInfiniteDegreeOfFreedomIsNull) {
  FitResult fit = SampleFit();
  fit.degreesOfFreedom = std::numeric_limits<double>::infinity();
  EXPECT_TRUE(Json::parse(JsonReport(fit))["degrees_of_freedom"].is_null());
}

TEST(JsonReport, BytesThatAreNoTextAreReplaced) {
  FitResult fit = SampleFit();
  fit.parameters[1].levels[0].level = "a\xFF";
  const Json report = Json::parse(JsonReport(fit));
  EXPECT_EQ(report["parameters"][1]["levels"]["g"], "a\xEF\xBF\xBD");
}

// ---- A logistic model -------------------------------------------------------

TEST(JsonReport, TellsWhatWasStandardized) {
  FitResult fit = SampleFit();
  EXPECT_EQ(Json::parse(JsonReport(fit))["transformations"], Json::array());
  fit.standardized = {{"scale(log(m))", "log(m)", 4.25, 0.5}, {"center(x)", "x", -1.0, {}}};
  const Json scaled = {
      {"label", "scale(log(m))"}, {"argument", "log(m)"}, {"centre", 4.25}, {"deviation", 0.5}};
  const Json centred = {
      {"label", "center(x)"}, {"argument", "x"}, {"centre", -1.0}, {"deviation", nullptr}};
  EXPECT_EQ(Json::parse(JsonReport(fit))["transformations"], (Json{scaled, centred}));
}

TEST(JsonReportLogistic, HasTheseNames) {
  const Json report = Json::parse(JsonReport(SampleLogisticFit()));
  EXPECT_EQ(Names(report), (Texts{"model",
                                  "formula",
                                  "data",
                                  "where",
                                  "dependent",
                                  "freq_weight",
                                  "regression_weight",
                                  "confidence",
                                  "records",
                                  "degrees_of_freedom",
                                  "library_degrees_of_freedom",
                                  "imposed_degrees_of_freedom",
                                  "reference",
                                  "dependent_levels",
                                  "covariance",
                                  "transformations",
                                  "parameters",
                                  "fit",
                                  "anova",
                                  "anova_asked",
                                  "effects",
                                  "collinearity",
                                  "margins",
                                  "reference_grid",
                                  "contrasts",
                                  "means",
                                  "classification",
                                  "influential",
                                  "validation",
                                  "files",
                                  "warnings",
                                  "status"}));
  EXPECT_EQ(Names(report["dependent_levels"][0]), (Texts{"level", "weight"}));
  EXPECT_EQ(Names(report["parameters"][0]),
            (Texts{"category", "label", "levels", "covariates", "estimate", "std_error",
                   "statistic", "p_value", "conf_low", "conf_high", "redundant", "non_finite"}));
  EXPECT_EQ(Names(report["fit"]), (Texts{"iterations",       "step_halvings", "outcome",
                                         "outcome_code",     "ending",        "separation",
                                         "converged",        "in_memory",     "distinct_records",
                                         "loglik_initial",   "loglik",        "loglik_change",
                                         "parameter_change", "chi_square",    "chi_square_df",
                                         "p_value",          "cox_snell",     "nagelkerke",
                                         "mcfadden",         "aic",           "bic"}));
  EXPECT_EQ(Names(report["classification"]), (Texts{"categories", "table"}));
}

TEST(JsonReportLogistic, CarriesEveryValue) {
  const Json report = Json::parse(JsonReport(SampleLogisticFit()));
  EXPECT_EQ(report["model"], "logistic");
  EXPECT_EQ(report["reference"], "mid");
  EXPECT_EQ(report["dependent_levels"], (Json{{{"level", "high"}, {"weight", 500.0}},
                                              {{"level", "low"}, {"weight", 1000.0}},
                                              {{"level", "mid"}, {"weight", 500.5}}}));
  const Json expected = {
      {"iterations", 7},           {"step_halvings", 2},     {"outcome", "both_converged"},
      {"outcome_code", 3},         {"ending", "Converged."}, {"separation", "none"},
      {"converged", true},         {"in_memory", true},      {"distinct_records", 640},
      {"loglik_initial", -2197.5}, {"loglik", -2000.25},     {"loglik_change", 1e-9},
      {"parameter_change", 1e-7},  {"chi_square", 394.5},    {"chi_square_df", 4},
      {"p_value", 4e-85},          {"cox_snell", 0.125},     {"nagelkerke", 0.25},
      {"mcfadden", 0.1},           {"aic", 4012.5},          {"bic", 4046.0}};
  EXPECT_EQ(report["fit"], expected);
  EXPECT_EQ(report["classification"]["categories"], (Json{"high", "low", "mid"}));
  EXPECT_EQ(report["classification"]["table"],
            (Json{{400.0, 100.0, 0.0}, {0.0, 750.0, 250.0}, {500.5, 0.0, 0.0}}));
}

TEST(JsonReportLogistic, OfRecordsOneByOneHasNoNumberOfDistinctOnes) {
  FitResult fit = SampleLogisticFit();
  fit.logistic->distinctRecords = {};
  EXPECT_TRUE(Json::parse(JsonReport(fit))["fit"]["distinct_records"].is_null());
}

TEST(JsonReportLogistic, ParametersKeepTheirOrderAndCategory) {
  const Json report = Json::parse(JsonReport(SampleLogisticFit()));
  Texts names;
  for (const Json& parameter : report["parameters"]) {
    names.push_back(parameter["category"].get<std::string>() + " " +
                    parameter["label"].get<std::string>());
  }
  EXPECT_EQ(names, (Texts{"high (Intercept)", "high g=a", "high g=b", "high x", "low (Intercept)",
                          "low g=a", "low g=b", "low x"}));
}

TEST(JsonReportLogistic, WritesNullForWhatDoesNotExist) {
  FitResult fit = SampleLogisticFit();
  LogisticFit& logistic = *fit.logistic;
  for (std::optional<double>* value :
       {&logistic.initialLogLikelihood, &logistic.logLikelihood, &logistic.logLikelihoodChange,
        &logistic.parameterChange, &logistic.chiSquare, &logistic.chiSquareP, &logistic.coxSnell,
        &logistic.nagelkerke, &logistic.mcFadden, &logistic.aic, &logistic.bic}) {
    value->reset();
  }
  const Json report = Json::parse(JsonReport(fit));
  for (const char* name :
       {"loglik_initial", "loglik", "loglik_change", "parameter_change", "chi_square", "p_value",
        "cox_snell", "nagelkerke", "mcfadden", "aic", "bic"}) {
    EXPECT_TRUE(report["fit"][name].is_null()) << name;
  }
  EXPECT_TRUE(report["parameters"][3]["std_error"].is_null());
}

TEST(JsonReportLogistic, NumbersReadBackToTheSameDouble) {
  for (const double value : {1.0 / 3.0, 0.1 + 0.2, 5e-324, std::numeric_limits<double>::max()}) {
    FitResult fit = SampleLogisticFit();
    fit.logistic->logLikelihood = -value;
    fit.logistic->levels[0].weight = value;
    fit.logistic->classification[1][2] = value;
    const Json report = Json::parse(JsonReport(fit));
    EXPECT_EQ(report["fit"]["loglik"].get<double>(), -value);
    EXPECT_EQ(report["dependent_levels"][0]["weight"].get<double>(), value);
    EXPECT_EQ(report["classification"]["table"][1][2].get<double>(), value);
  }
}

TEST(JsonReportLogistic, ALevelThatIsAnEmptyTextIsNamed) {
  FitResult fit = SampleLogisticFit();
  fit.logistic->levels[0].level.clear();
  for (std::size_t i = 0; i < 4; ++i) fit.parameters[i].category = "";
  const Json report = Json::parse(JsonReport(fit));
  EXPECT_EQ(report["classification"]["categories"][0], "");
  ASSERT_TRUE(report["parameters"][0].contains("category"));
  EXPECT_EQ(report["parameters"][0]["category"], "");
}

}  // namespace
}  // namespace qvhost
