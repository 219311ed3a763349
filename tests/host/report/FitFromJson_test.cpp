// A fit that was written as JSON and read again has the reports that it had; what is no fit is
// refused with its place.

#include "host/report/FitFromJson.h"

#include <array>
#include <cstddef>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "host/report/Report.h"
#include "tests/host/report/JsonSchema.h"
#include "tests/host/report/SampleFit.h"

namespace qvhost {
namespace {

using Json = nlohmann::ordered_json;
using Pointer = Json::json_pointer;

constexpr double kInfinite = std::numeric_limits<double>::infinity();

MeanEstimate Estimate(double value) { return {true, value, {0.5, value / 0.5, 0.25, -1.0, 3.5}}; }

/// On the scales of a kind of model.
MeansResult SampleMeans(ModelKind kind) {
  const bool isLinear = kind == ModelKind::kLinear;
  const MeanScale scale = isLinear ? MeanScale::kResponse : MeanScale::kProbability;
  const std::string level = isLinear ? "" : "high";
  MeansResult means;
  means.degreesOfFreedom = isLinear ? 1097.0 : kInfinite;
  means.grid = {6, {{"x", {1.5}}, {"z", {0.0, 1.0}}}, {{"h", {"g", "k"}}}};
  means.contrasts = {{"x=1 - x=0", scale, level, Estimate(2.0)},
                     {"g=b", scale, level, {.isEstimable = false}}};
  MeanTable table{{"g", "h"}, scale, level, {}, {}};
  table.rows = {{{"a", "1"}, {.isEstimable = false}},
                {{"a", "2"}, Estimate(1.0 / 3.0)},
                {{"b", "1"}, Estimate(-7.0)}};
  for (MeanTable::Row& row : table.rows) {
    row.estimate.statistics.statistic.reset();
    row.estimate.statistics.pValue.reset();
  }
  table.differences = {{0, 1, {.isEstimable = false}, {}}, {1, 2, Estimate(22.0 / 3.0), 0.5}};
  means.tables = {table};
  return means;
}

/// Of folds, with what the kind of model has.
ValidationResult SampleValidation(ModelKind kind) {
  ValidationScore score{90, 91.5, {}, {}, {}, {}, {}, {}, {}, {}};
  if (kind == ModelKind::kLinear) {
    score.rSquare = -0.25;
    score.rmse = 1.5;
  } else {
    score.logLoss = 0.7;
    score.brier = 0.2;
    score.accuracy = 0.9;
    score.auc = 0.75;
    score.aucWeighted = 0.8;
  }
  ValidationResult validation;
  validation.options.kind = ValidationKind::kFolds;
  validation.options.folds = 2;
  validation.options.seed = std::numeric_limits<std::uint64_t>::max();
  validation.training = 50;
  validation.use = {100, 3, 2, 5, {{"g", 4, {"c", "d"}}}, 1, {{"none", 2}}};
  validation.score = score;
  validation.folds = {{50, 50, score}, {51, 50, score}};
  validation.mean = score;
  validation.standardDeviation = score;
  if (kind == ModelKind::kLinear) return validation;
  validation.levels = {{"high", 30.0, 0.5}, {"low", 30.0, 0.75}, {"mid", 31.5, {}}};
  validation.classification = {{10.0, 20.0, 0.0}, {0.0, 30.0, 0.0}, {1.5, 0.0, 30.0}};
  validation.calibration = {{"high", 1, 9.0, 0.05, 0.0}, {"high", 10, 9.0, 0.95, 1.0}};
  return validation;
}

/// With what the kind of model has: points and rectangles, with and without weights.
FitPlots SamplePlots(ModelKind kind) {
  FitPlots plots;
  if (kind == ModelKind::kLogistic) {
    plots.logistic = {{{0, -2197.5, 0}, {1, -2000.25, 2}},
                      {{"high", 0.75, {{0.0, 0.0}, {0.25, 0.5}, {1.0, 1.0}}}, {"low", {}, {}}},
                      {{"high", 1, 9.0, 0.05, 0.0}, {"low", 10, 9.0, 0.95, 1.0}},
                      true};
    return plots;
  }
  plots.linear = {{{}, {{1.0, -0.5}, {2.0, 1.0 / 3.0}}},
                  {{{0.5, 2.0}}, {{1.0, -0.5, 7.5}, {1.0, 1.5, 1.0}}},
                  {{{0.25, 1.0}}, {{-2.5, -1.0, 7.0}}, 1.5, true},
                  {{-1.5, -0.25}, {1.5, 0.75}}};
  return plots;
}

/// With everything that options add.
FitResult WithAll(FitResult fit) {
  fit.where = "x > 0";
  fit.regressionWeight = "w";
  fit.records.leftOut = 1;
  fit.records.heldOut = 17;
  fit.records.digest = "0123456789abcdef";
  fit.imposedDegreesOfFreedom = true;
  fit.parameters[0].nonFinite = true;
  fit.parameters[0].redundant = true;
  fit.parameters[0].estimate = 0.0;
  fit.parameters[0].statistics = {};
  fit.standardized = {{"scale(log(m))", "log(m)", 4.25, 0.5}, {"center(x)", "x", -1.0, {}}};
  fit.quality = {3.5, 2, 0.03, 0.7, -123.25, 250.5, 260.25};
  fit.effects = {3, true, {{"g", 2, 1097.0, 12.5, 0.001, 40.0}, {"x", 0, 1097.0, {}, {}, {}}}};
  fit.collinearity = {{{"g", 2, 4.0, 2.0}, {"x", 0, {}, {}}}, 17.5};
  fit.margins = {{{"g", "a - c", "b - d", {}, 1.5, {0.5, 3.0, 0.0027, 0.5, 2.5}},
                  {"g", "", "b", {}, {}, {}},
                  {"x", {}, {}, {}, 0.25, {}}}};
  if (fit.logistic) {
    fit.quality = {};
    for (MarginResult& margin : *fit.margins) margin.category = "low";
  }
  fit.means = SampleMeans(fit.kind);
  fit.predictions = "p.csv";
  fit.rowsPredicted = 1200;
  fit.diagnostics = "d.csv";
  fit.rowsDiagnosed = 1;
  fit.covariance = {CovarianceKind::kCluster, "firm", 17};
  fit.covarianceFile = "v.csv";
  fit.influential = {{{5, 0.5, 0.25, -2.0}, {7, 0.25, {}, {}}}};
  fit.validation = SampleValidation(fit.kind);
  fit.plots = SamplePlots(fit.kind);
  fit.statusCode = 12;
  return fit;
}

void ExpectSameReports(const FitResult& fit) {
  const std::string json = JsonReport(fit);
  const FitResult read = ReadFitResult(json, "fit.json");
  EXPECT_EQ(JsonReport(read), json);
  TextStyle narrow;
  narrow.width = 50;
  narrow.digits = 12;
  narrow.all = true;
  narrow.color = true;
  for (const TextStyle& style : {TextStyle(), narrow}) {
    EXPECT_EQ(TextReport(read, style), TextReport(fit, style));
  }
}

std::string MessageOf(const std::string& text) {
  try {
    (void)ReadFitResult(text, "fit.json");
  } catch (const Error& error) {
    EXPECT_EQ(error.Code(), ExitCode::kBadInput);
    return error.what();
  }
  return {};
}

// ---- What was written --------------------------------------------------------

TEST(FitFromJson, FitsOfFewOptionsHaveTheSameReports) {
  ExpectSameReports(SampleFit());
  ExpectSameReports(SampleLogisticFit());
}

TEST(FitFromJson, FitsOfAllOptionsHaveTheSameReports) {
  ExpectSameReports(WithAll(SampleFit()));
  ExpectSameReports(WithAll(SampleLogisticFit()));
}

TEST(FitFromJson, PlotsAreThereOnlyWhereTheyWereComputed) {
  EXPECT_FALSE(ReadFitResult(JsonReport(SampleFit()), "fit.json").plots);
  EXPECT_EQ(JsonReport(SampleFit()).find("plots"), std::string::npos);
  const FitResult linear = ReadFitResult(JsonReport(WithAll(SampleFit())), "fit.json");
  const ScatterPlot& counted = linear.plots->linear.value().observed;
  EXPECT_EQ(counted.size, (std::array{0.5, 2.0}));
  ASSERT_EQ(counted.cells.size(), 2U);
  EXPECT_EQ(counted.cells[0].weight, 7.5);
  EXPECT_FALSE(linear.plots->linear->residuals.size);
  EXPECT_EQ(linear.plots->linear->residuals.cells[1].weight, 1.0);
  EXPECT_FALSE(linear.plots->logistic);
  const FitResult logistic = ReadFitResult(JsonReport(WithAll(SampleLogisticFit())), "fit.json");
  EXPECT_TRUE(logistic.plots->logistic.value().heldOut);
  EXPECT_FALSE(logistic.plots->linear);
}

TEST(FitFromJson, PlotsFollowTheSchema) {
  for (const FitResult& fit : {WithAll(SampleFit()), WithAll(SampleLogisticFit())}) {
    ExpectJsonOf("fit", JsonReport(fit));
  }
}

TEST(FitFromJson, EachKindOfValidationHasTheSameReport) {
  for (const ValidationKind kind : {ValidationKind::kSplit, ValidationKind::kHoldout}) {
    for (FitResult fit : {WithAll(SampleFit()), WithAll(SampleLogisticFit())}) {
      ValidationResult& validation = *fit.validation;
      validation.options = {kind, kind == ValidationKind::kSplit ? "train" : "", {}, 0.25, 0, 1};
      validation.folds.clear();
      validation.mean.reset();
      validation.standardDeviation.reset();
      ExpectSameReports(fit);
    }
  }
}

TEST(FitFromJson, WhatDoesNotExistIsNone) {
  FitResult fit = SampleFit();
  fit.rSquare.reset();
  fit.rmse.reset();
  fit.residualStdError.reset();
  fit.degreesOfFreedom = kInfinite;
  fit.libraryDegreesOfFreedom = kInfinite;
  fit.parameters[0].statistics = {};
  fit.effects = {2, false, {}};
  fit.collinearity = {{}, {}};
  fit.margins.emplace();
  fit.means.emplace();
  fit.influential.emplace();
  fit.statusMessage = "";
  ExpectSameReports(fit);
  FitResult logistic = SampleLogisticFit();
  logistic.logistic->classification.clear();
  logistic.logistic->distinctRecords.reset();
  logistic.logistic->chiSquare.reset();
  logistic.logistic->chiSquareP.reset();
  logistic.logistic->levels[0].level = "";
  ExpectSameReports(logistic);
}

TEST(FitFromJson, TestsNobodyAskedForStayHidden) {
  FitResult fit = SampleFit();
  fit.effects = {2, false, {{"x", 1, 1097.0, 12.5, 0.001, 40.0}}};
  ExpectSameReports(fit);
  EXPECT_EQ(TextReport(ReadFitResult(JsonReport(fit), "")).find("Tests of effects"),
            std::string::npos);
}

TEST(FitFromJson, NumbersAreTheSameDoubles) {
  for (const double value :
       {-0.0, 5e-324, 1.0 / 3.0, -1.7976931348623157e308, 9007199254740993.0}) {
    FitResult fit = SampleFit();
    fit.parameters[1].estimate = value;
    fit.residualStdError = value;
    const FitResult read = ReadFitResult(JsonReport(fit), "fit.json");
    EXPECT_EQ(JsonReport(read), JsonReport(fit));
    EXPECT_EQ(*read.parameters[1].estimate, value);
    EXPECT_EQ(*read.residualStdError, value);
  }
}

TEST(FitFromJson, MembersOfLaterVersionsAreSkipped) {
  const FitResult fit = WithAll(SampleLogisticFit());
  Json json = Json::parse(JsonReport(fit));
  json["later"] = {{"a", 1}};
  json["fit"]["later"] = nullptr;
  json["parameters"][0]["later"] = Json::array();
  EXPECT_EQ(JsonReport(ReadFitResult(json.dump(), "fit.json")), JsonReport(fit));
}

// ---- What is no fit -----------------------------------------------------------

/// The places of all members, but those of objects whose members have names of the data.
void AddPlaces(const Json& json, const Pointer& at, std::vector<Pointer>& places) {
  for (const auto& [key, value] : json.items()) {
    const Pointer place = json.is_array() ? at / std::stoul(key) : at / key;
    places.push_back(place);
    if (value.is_structured()) AddPlaces(value, place, places);
  }
}

/// What the JSON tells for its readers' convenience alone.
bool IsConvenience(const std::string& place) {
  return place.ends_with("/categories") || place.find("/categories/") != std::string::npos ||
         place.ends_with("/reported_fit") || place.ends_with("/fold");
}

/// Whether it is a member of an object whose members have names of the data: factors, covariates,
/// columns.
bool IsNamedByData(const std::string& place) {
  const auto is = [&](const char* part) { return place.find(part) != std::string::npos; };
  const bool isOfParameter = place.starts_with("/parameters/");
  return is("/missing_by_column/") || (isOfParameter && (is("/levels/") || is("/covariates/")));
}

TEST(FitFromJson, RefusesWhereAnythingIsMissing) {
  std::size_t count = 0;
  for (const FitResult& fit : {WithAll(SampleFit()), WithAll(SampleLogisticFit())}) {
    const Json whole = Json::parse(JsonReport(fit));
    std::vector<Pointer> places;
    AddPlaces(whole, Pointer(), places);
    for (const Pointer& place : places) {
      Json json = whole;
      Json& parent = json[place.parent_pointer()];
      const std::string text = place.to_string();
      if (!parent.is_object() || IsConvenience(text) || IsNamedByData(text)) continue;
      // Most fits have none.
      if (text == "/plots") continue;
      parent.erase(place.back());
      const std::string message = MessageOf(json.dump());
      EXPECT_NE(message.find("'" + text.substr(1) + "'"), std::string::npos)
          << text << ": " << message;
      ++count;
    }
  }
  EXPECT_GT(count, 400U);
}

TEST(FitFromJson, RefusesWhereAnythingIsOfAnotherType) {
  std::size_t count = 0;
  for (const FitResult& fit : {WithAll(SampleFit()), WithAll(SampleLogisticFit())}) {
    const Json whole = Json::parse(JsonReport(fit));
    std::vector<Pointer> places;
    AddPlaces(whole, Pointer(), places);
    for (const Pointer& place : places) {
      const std::string text = place.to_string();
      if (IsConvenience(text)) continue;
      Json json = whole;
      // No member is an array of arrays of texts.
      json[place] = Json::parse(R"([["no"]])");
      const std::string message = MessageOf(json.dump());
      EXPECT_NE(message.find("'" + text.substr(1)), std::string::npos) << place << ": " << message;
      ++count;
    }
  }
  EXPECT_GT(count, 400U);
}

TEST(FitFromJson, RefusesNumbersThatCannotBe) {
  const Json whole = Json::parse(JsonReport(WithAll(SampleLogisticFit())));
  const auto refused = [&](const std::string& place, const Json& value) {
    Json json = whole;
    json[Pointer("/" + place)] = value;
    EXPECT_NE(MessageOf(json.dump()).find("'" + place + "'"), std::string::npos)
        << place << ": " << MessageOf(json.dump());
  };
  refused("anova", 4);
  refused("anova", 0);
  refused("records/used", 1.5);
  refused("fit/iterations", 3e9);
  refused("fit/iterations", 3000000000);
  refused("fit/converged", 1);
  refused("validation/seed", -1);
  refused("model", "poisson");
  refused("contrasts/0/scale", "response");
  refused("dependent_levels", Json::array());
  refused("parameters", Json::array());
  refused("reference", "high");
  refused("margins/0/contrast", "b");
  refused("validation/kind", "none");
  refused("validation/mean", nullptr);
  refused("plots/curves/0/true_positive", {0.0, 1.0});
  refused("plots/iterations/1/halvings", 0.5);
  refused("means/0/differences/0/first", {{"g", "zzz"}, {"h", "1"}});
}

TEST(FitFromJson, RefusesPlotsOfOtherNumbers) {
  const Json whole = Json::parse(JsonReport(WithAll(SampleFit())));
  for (const std::string place : {"plots/observed/rectangle", "plots/observed/weight",
                                  "plots/residuals/y", "plots/quantiles/residual"}) {
    Json json = whole;
    json[Pointer("/" + place)].push_back(1.0);
    EXPECT_NE(MessageOf(json.dump()).find("'" + place + "'"), std::string::npos) << place;
  }
  Json json = whole;
  json["plots"]["leverage"]["x_scale"] = "log";
  EXPECT_NE(MessageOf(json.dump()).find("'plots/leverage/x_scale'"), std::string::npos);
}

TEST(FitFromJson, RefusesTablesOfAnotherSize) {
  const Json whole = Json::parse(JsonReport(WithAll(SampleLogisticFit())));
  for (const std::string part : {"", "validation/"}) {
    for (const int row : {0, 2}) {
      Json json = whole;
      json[Pointer("/" + part + "classification/table/" + std::to_string(row))].erase(0);
      EXPECT_NE(MessageOf(json.dump()).find("'" + part + "classification/table'"),
                std::string::npos);
    }
  }
}

TEST(FitFromJson, RefusesWhatIsNoJson) {
  const std::string whole = JsonReport(SampleFit());
  EXPECT_EQ(MessageOf(""), "'fit.json' is empty; 'qvreg fit --json' writes a fit.");
  EXPECT_EQ(MessageOf(whole.substr(0, 100)),
            "'fit.json' is cut off after 100 bytes; write it anew with 'qvreg fit --json'.");
  EXPECT_EQ(MessageOf("a,b\n"),
            "'fit.json' is no JSON (byte 1); name what 'qvreg fit --json' wrote.");
  EXPECT_EQ(MessageOf("{\"a\": 1e999}"),
            "'fit.json' holds a number beyond those of a double; write it anew with 'qvreg fit "
            "--json'.");
  EXPECT_EQ(MessageOf("[1, 2]"),
            "'fit.json' is not the JSON of a fit; name what 'qvreg fit --json' wrote.");
  EXPECT_EQ(MessageOf("{}"),
            "'fit.json' does not have 'model' as this version of qvreg writes it; write it anew "
            "with 'qvreg fit --json'.");
}

TEST(FitFromJson, DepthIsNoTrouble) {
  const std::string deep(5'000'000, '[');
  EXPECT_NE(MessageOf(deep).find("is cut off"), std::string::npos);
  EXPECT_NE(MessageOf(deep + std::string(deep.size(), ']')).find("is not the JSON of a fit"),
            std::string::npos);
  EXPECT_NE(MessageOf("{\"model\": " + deep + std::string(deep.size(), ']') + "}").find("'model'"),
            std::string::npos);
}

}  // namespace
}  // namespace qvhost
