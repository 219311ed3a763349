#include "host/fit/ModelBinding.h"

#include <gtest/gtest.h>

#include "host/Error.h"
#include "host/table/CodeTable.h"

namespace qvhost {
namespace {

constexpr const char* kTable =
    "SELECT 1.5 AS y, 2 AS x, 'a' AS g, true AS flag, 'u'::ENUM('u', 'v') AS e, 3 AS n, 0.5 AS w, "
    "DATE '2020-02-02' AS day, [1] AS list, 7 AS \"odd name\"";

struct Bound {
  Formula formula;
  ModelBinding binding;
};

Bound Bind(const std::string& formula, const BindingOptions& options = {}) {
  const TableSource source(DataSource{"", "", kTable});
  Bound bound;
  bound.formula = ParseFormula(formula, ColumnsOf(source, formula));
  bound.binding = BindModel(bound.formula, source, options);
  return bound;
}

std::string Labels(const ModelBinding& binding) {
  std::string labels;
  for (const ColumnRequest& column : binding.columns) {
    labels += (labels.empty() ? "" : " ") + column.label;
  }
  return labels;
}

std::string MessageOf(const std::string& formula, const BindingOptions& options = {}) {
  try {
    Bind(formula, options);
  } catch (const Error& error) {
    return error.what();
  }
  return "";
}

TEST(ModelBinding, PutsTheRolesInOrder) {
  const auto [formula, binding] = Bind("y ~ x + g + log(x) + flag", {std::nullopt, "n", "w"});
  EXPECT_EQ(Labels(binding), "y g flag x log(x) n w");
  EXPECT_EQ(binding.factorCount, 2);
  EXPECT_EQ(binding.covariateCount, 2);
  EXPECT_EQ(binding.freqWeight, 5);
  EXPECT_EQ(binding.regressionWeight, 6);
  EXPECT_EQ(binding.positions, (std::vector<int>{3, 1, 4, 2}));
  EXPECT_EQ(binding.isFactor, (std::vector<bool>{false, true, false, true}));
  EXPECT_EQ(binding.columns[0].coding, Coding::kNumber);
  EXPECT_EQ(binding.columns[1].coding, Coding::kFactor);
  EXPECT_EQ(binding.columns[3].coding, Coding::kNumber);
  EXPECT_EQ(binding.columns[5].coding, Coding::kNumber);
}

TEST(ModelBinding, TypesSettleTheRoles) {
  const auto [formula, binding] = Bind("y ~ x + g + flag + e + C(x) + C(day) + C(list)");
  EXPECT_EQ(binding.isFactor, (std::vector<bool>{false, true, true, true, true, true, true}));
  EXPECT_EQ(Labels(binding), "y g flag e x day list x");
}

TEST(ModelBinding, AColumnWithSeveralPartsStandsThereOnceForEach) {
  const auto [formula, binding] = Bind("y ~ x + C(x) + g", {std::nullopt, "x", "x"});
  EXPECT_EQ(Labels(binding), "y x g x x x");
  EXPECT_EQ(binding.freqWeight, 4);
  EXPECT_EQ(binding.regressionWeight, 5);
}

TEST(ModelBinding, APowerIsNoColumnOfItsOwn) {
  const auto [formula, binding] = Bind("y ~ x + I(x^2) + g:I(x^3)");
  EXPECT_EQ(Labels(binding), "y g x");
}

TEST(ModelBinding, NamesFactorsPlainly) {
  const Formula formula = ParseFormula("y ~ g + C(x) + C(`odd name`) + C(log(x))");
  ASSERT_EQ(formula.variables.size(), 4U);
  EXPECT_EQ(PlainName(formula.variables[0]), "g");
  EXPECT_EQ(PlainName(formula.variables[1]), "x");
  EXPECT_EQ(PlainName(formula.variables[2]), "odd name");
  EXPECT_EQ(PlainName(formula.variables[3]), "log(x)");
}

TEST(ModelBinding, PointsAtAnUnknownColumnInsideACall) {
  EXPECT_EQ(
      MessageOf("y ~ x + log(xx + 1)"),
      "There is no column 'xx' in query; did you mean 'x'? Its columns are y, x, g, flag, e, n, w, "
      "day, list, `odd name`.\n"
      "  y ~ x + log(xx + 1)\n"
      "              ^");
}

TEST(ModelBinding, PointsAtAVariableOfAnUnfitType) {
  EXPECT_EQ(MessageOf("y ~ x + day"),
            "'day' is a date or time (DATE); write C(day) to take its values as the levels of a "
            "factor, I(day - date '2020-01-01') for "
            "days, or epoch(day) for seconds.\n"
            "  y ~ x + day\n"
            "          ^");
}

TEST(ModelBinding, PointsAtTheTermThatRaisesAFactor) {
  EXPECT_EQ(MessageOf("y ~ x + x:I(flag^3)"),
            "'flag' is a factor and has no powers; write 'flag' alone.\n"
            "  y ~ x + x:I(flag^3)\n"
            "          ^");
}

// ---- The dependent and the kind of model ------------------------------------

TEST(ModelBinding, ACategoryAsDependentGivesALogisticModel) {
  for (const char* formula : {"g ~ x", "flag ~ x", "e ~ x", "C(x) ~ y", "C(day) ~ x"}) {
    const auto [read, binding] = Bind(formula);
    EXPECT_EQ(binding.kind, ModelKind::kLogistic) << formula;
    EXPECT_EQ(binding.columns[0].coding, Coding::kFactor) << formula;
    const bool isText = std::string(formula) == "g ~ x";
    EXPECT_EQ(binding.columns[0].maxLevels, isText ? std::optional(kMostTextLevels) : std::nullopt)
        << formula;
    EXPECT_EQ(binding.columns[0].isByTypeOnly, isText) << formula;
  }
  EXPECT_EQ(Labels(Bind("C(x) ~ y + g").binding), "x g y");
}

TEST(ModelBinding, ANumberAsDependentGivesALinearModel) {
  for (const std::optional<ModelKind> asked :
       {std::optional<ModelKind>(), std::optional(ModelKind::kLinear)}) {
    const ModelBinding binding = Bind("y ~ x", {asked, "", ""}).binding;
    EXPECT_EQ(binding.kind, ModelKind::kLinear);
    EXPECT_EQ(binding.columns[0].coding, Coding::kNumber);
  }
}

TEST(ModelBinding, ANumberMayBeTakenAsCategoriesIfTheyAreFew) {
  const BindingOptions logistic{ModelKind::kLogistic, "", ""};
  const ModelBinding number = Bind("y ~ x", logistic).binding;
  EXPECT_EQ(number.kind, ModelKind::kLogistic);
  EXPECT_EQ(number.columns[0].coding, Coding::kFactor);
  EXPECT_EQ(number.columns[0].maxLevels, kMostNumericLevels);
  EXPECT_FALSE(Bind("C(y) ~ x", logistic).binding.columns[0].maxLevels.has_value());
  EXPECT_FALSE(Bind("g ~ x", logistic).binding.columns[0].maxLevels.has_value());
}

/// The levels of the dependent of `formula` on a number of so many values.
std::size_t LevelsOf(const std::string& formula, int values, const BindingOptions& options) {
  const TableSource source(
      DataSource{"", "", "SELECT range AS y, 1 AS x FROM range(" + std::to_string(values) + ")"});
  const ModelBinding binding = BindModel(ParseFormula(formula), source, options);
  return CodeTable(source, binding.columns).Columns().front().levels.size();
}

TEST(ModelBinding, AThousandValuesAreFewEnough) {
  const BindingOptions logistic{ModelKind::kLogistic, "", ""};
  EXPECT_EQ(LevelsOf("y ~ x", 1000, logistic), 1000U);
  EXPECT_THROW(LevelsOf("y ~ x", 1001, logistic), Error);
  EXPECT_EQ(LevelsOf("C(y) ~ x", 1001, logistic), 1001U) << "C() asks for it";
}

TEST(ModelBinding, ACategoryIsNoDependentOfALinearModel) {
  EXPECT_EQ(MessageOf("flag ~ x", {ModelKind::kLinear, "", ""}),
            "The dependent 'flag' is a boolean, but a linear model needs a number; name a numeric "
            "column.\n"
            "  flag ~ x\n"
            "  ^");
}

TEST(ModelBinding, ADateIsADependentThroughCOnly) {
  for (const std::optional<ModelKind> asked :
       {std::optional<ModelKind>(), std::optional(ModelKind::kLinear),
        std::optional(ModelKind::kLogistic)}) {
    EXPECT_EQ(MessageOf("day ~ x", {asked, "", ""}),
              "The dependent 'day' is a date or time (DATE); a linear model needs a number, and "
              "for a logistic model write C(day).\n"
              "  day ~ x\n"
              "  ^");
  }
  EXPECT_EQ(MessageOf("C(day) ~ x"), "");
}

TEST(ModelBinding, AcceptsAnExpressionAsDependent) {
  const auto [formula, binding] = Bind("log(y) ~ x", {ModelKind::kLinear, "", ""});
  EXPECT_EQ(Labels(binding), "log(y) x");
}

}  // namespace
}  // namespace qvhost
