#include "tests/qvreg/support/ReferenceModel.h"

#include <algorithm>
#include <utility>

namespace qvtest {
namespace {

using Terms = std::vector<ReferenceTerm>;

constexpr bool kIntercept = true;
constexpr bool kNoIntercept = false;

ReferenceTerm Factor(std::vector<std::string> factors, std::vector<CovariatePower> slopes = {}) {
  return {std::move(factors), std::move(slopes), false};
}

ReferenceTerm Nested(std::vector<std::string> factors) { return {std::move(factors), {}, true}; }

ReferenceTerm Covariate(std::string column, int power = 1) {
  return {{}, {{std::move(column), power}}, false};
}

ReferenceTerm Product(const std::vector<std::string>& columns) {
  ReferenceTerm term;
  for (const std::string& column : columns) term.covariates.push_back({column, 1});
  return term;
}

void AppendOnce(std::vector<std::string>& names, const std::string& name) {
  if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
}

Terms GroupAndSlope() { return {Factor({"g"}), Covariate("x"), Factor({"g"}, {{"x", 1}})}; }

Terms Polynomial() {
  return {Covariate("x"), Covariate("x2"), Covariate("x3"), Covariate("x4"), Covariate("x5")};
}

Terms Crossing(const std::string& a, const std::string& b) {
  return {Factor({a}), Factor({b}), Factor({a, b})};
}

Terms ThreeWay(const std::string& a, const std::string& b, const std::string& c) {
  // a * b * c is (a * b) * c, expanded in place.
  return {Factor({a}),    Factor({b}),    Factor({a, b}),   Factor({c}),
          Factor({a, c}), Factor({b, c}), Factor({a, b, c})};
}

std::vector<ReferenceModel> ExactModels() {
  return {
      {"linear/longley",
       "TOTEMP",
       kIntercept,
       {Covariate("GNPDEFL"), Covariate("GNP"), Covariate("UNEMP"), Covariate("ARMED"),
        Covariate("POP"), Covariate("YEAR")}},
      {"linear/norris", "y", kIntercept, {Covariate("x")}},
      {"linear/wampler2", "y", kIntercept, Polynomial()},
      {"linear/wampler4", "y", kIntercept, Polynomial()},
      {"linear/leading_digits", "y", kIntercept, {Factor({"g"})}},
      {"linear/two_way_empty_cell",
       "y",
       kIntercept,
       {Factor({"A"}), Factor({"B"}), Factor({"A", "B"}), Covariate("x"),
        Factor({"A"}, {{"x", 1}})}},
      {"linear/two_way_freq", "y", kIntercept, {Factor({"A"}), Factor({"B"}), Covariate("x")}},
      {"linear/petrol", "EP", kIntercept, {Covariate("SG"), Factor({"No"}), Covariate("VP2")}},
      {"linear/petrol_crossed",
       "Y",
       kIntercept,
       {Covariate("SG"), Covariate("EP"), Product({"SG", "EP"}), Factor({"No"}),
        Factor({"No"}, {{"SG", 1}}), Factor({"No"}, {{"EP", 1}}),
        Factor({"No"}, {{"SG", 1}, {"EP", 1}})}},
      {"linear/txhousing",
       "inventory",
       kIntercept,
       {Covariate("sales"), Covariate("date"), Product({"sales", "date"}), Covariate("year"),
        Product({"sales", "year"}), Product({"date", "year"}), Product({"sales", "date", "year"})}},
  };
}

std::vector<ReferenceModel> MadeUpModels() {
  return {
      {"r/crossing_empty_cells", "y", kIntercept, Crossing("a", "b")},
      {"r/crossing_disconnected", "y", kIntercept, {Factor({"a"}), Factor({"b"})}},
      {"r/nested", "score", kIntercept, {Factor({"school"}), Nested({"school", "class"})}},
      {"r/nested_twice",
       "yield",
       kIntercept,
       {Factor({"site"}), Nested({"site", "plot"}), Nested({"site", "plot", "plant"})}},
      {"r/slope_by_factor", "y", kIntercept, GroupAndSlope()},
      {"r/slope_only_by_factor", "y", kIntercept, {Factor({"g"}, {{"x", 1}})}},
      {"r/square", "y", kIntercept, {Covariate("x"), Covariate("x", 2)}},
      {"r/square_by_factor",
       "y",
       kIntercept,
       {Factor({"g"}), Covariate("x"), Covariate("x", 2), Factor({"g"}, {{"x", 2}})}},
      {"r/factor_two_covariates",
       "y",
       kIntercept,
       {Factor({"g"}),
        Covariate("x"),
        Covariate("z"),
        {{}, {{"x", 1}, {"z", 1}}, false},
        Factor({"g"}, {{"x", 1}, {"z", 1}})}},
      {"r/covariate_before_factor",
       "y",
       kIntercept,
       {Covariate("x"), Factor({"g"}), Covariate("z")}},
      {"r/intercept_only", "y", kIntercept, {}},
      {"r/intercept_only_weighted", "y", kIntercept, {}},
      {"r/no_intercept", "y", kNoIntercept, {Factor({"g"}), Covariate("x")}},
      {"r/no_intercept_covariates", "y", kNoIntercept, {Covariate("x"), Covariate("z")}},
      {"r/no_intercept_two_factors", "y", kNoIntercept, {Factor({"a"}), Factor({"b"})}},
      {"r/freq_weight", "y", kIntercept, GroupAndSlope()},
      {"r/regression_weight", "y", kIntercept, GroupAndSlope()},
      {"r/both_weights", "y", kIntercept, GroupAndSlope()},
      {"r/both_weights_no_intercept", "y", kNoIntercept, {Covariate("x"), Covariate("z")}},
      {"r/saturated", "y", kIntercept, Crossing("a", "b")},
      {"r/constant_dependent", "y", kIntercept, {Factor({"g"}), Covariate("x")}},
      {"r/three_way", "y", kIntercept, ThreeWay("a", "b", "c")},
      {"r/three_way_pairs",
       "y",
       kIntercept,
       {Factor({"a"}), Factor({"b"}), Factor({"c"}), Factor({"a", "b"}), Factor({"a", "c"}),
        Factor({"b", "c"})}},
      {"r/crossing_alone", "y", kIntercept, {Factor({"a", "b", "c"})}},
      {"r/collinear", "y", kIntercept, {Covariate("x1"), Covariate("x2"), Covariate("x3")}},
      {"r/collinear_sum",
       "y",
       kIntercept,
       {Covariate("x1"), Covariate("x3"), Covariate("x4"), Covariate("x2")}},
      {"r/missing", "y", kIntercept, GroupAndSlope()},
      {"r/missing_weights", "y", kIntercept, {Factor({"g"}), Covariate("x")}},
  };
}

std::vector<ReferenceModel> RealModels() {
  Terms fieldTrial = {Factor({"block"})};
  for (const ReferenceTerm& term : ThreeWay("N", "P", "K")) fieldTrial.push_back(term);
  return {
      {"r/mtcars",
       "mpg",
       kIntercept,
       {Factor({"cyl"}), Covariate("wt"), Factor({"cyl"}, {{"wt", 1}}), Covariate("hp")}},
      {"r/mtcars_square",
       "mpg",
       kIntercept,
       {Covariate("wt"), Covariate("wt", 2), Factor({"gear"})}},
      {"r/warpbreaks", "breaks", kIntercept, Crossing("wool", "tension")},
      {"r/toothgrowth", "len", kIntercept, Crossing("supp", "dose")},
      {"r/toothgrowth_slope",
       "len",
       kIntercept,
       {Factor({"supp"}), Covariate("dose"), Factor({"supp"}, {{"dose", 1}})}},
      {"r/airquality",
       "ozone",
       kIntercept,
       {Covariate("solar"), Covariate("wind"), Covariate("temp"), Factor({"month"})}},
      {"r/chickwts", "weight", kIntercept, {Factor({"feed"})}},
      {"r/esoph", "ncases", kIntercept, {Factor({"agegp"}), Factor({"alcgp"}), Factor({"tobgp"})}},
      {"r/berkeley", "admitted", kIntercept, Crossing("Gender", "Dept")},
      {"r/titanic", "lived", kIntercept, ThreeWay("Class", "Sex", "Age")},
      {"r/npk", "yield", kIntercept, std::move(fieldTrial)},
  };
}

}  // namespace

std::vector<std::string> ReferenceModel::Factors() const {
  std::vector<std::string> names;
  for (const ReferenceTerm& term : terms) {
    for (const std::string& factor : term.factors) AppendOnce(names, factor);
  }
  return names;
}

std::vector<std::string> ReferenceModel::Covariates() const {
  std::vector<std::string> names;
  for (const ReferenceTerm& term : terms) {
    for (const CovariatePower& covariate : term.covariates) AppendOnce(names, covariate.column);
  }
  return names;
}

void PrintTo(const ReferenceModel& model, std::ostream* out) { *out << model.name; }

std::vector<ReferenceModel> ReferenceModels() {
  std::vector<ReferenceModel> models = ExactModels();
  for (const auto& more : {MadeUpModels(), RealModels()}) {
    models.insert(models.end(), more.begin(), more.end());
  }
  return models;
}

}  // namespace qvtest
