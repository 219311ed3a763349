// What is kept of a fit for its model to outlive it.
#include "host/fit/SavedModelBuilder.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/Text.h"
#include "host/formula/Formula.h"
#include "host/table/TableSource.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/factory/QvRegFactory.h"
#include "tests/host/fit/Fitting.h"
#include "tests/host/model/SavedFits.h"
#include "tests/host/table/TableTest.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using Strings = std::vector<std::string>;

/// Sixty rows: numbers, a text, a boolean, a date, odd names.
constexpr const char* kTable =
    "SELECT i * 0.75 + sin(i * 17.0) AS y, (i * 7 % 11)::DOUBLE AS x, i % 3 + 2000 AS year, "
    "chr(CAST(97 + i % 3 AS INTEGER)) AS g, i % 4 = 1 AS b, CAST(i % 5 + 1 AS DOUBLE) AS w, "
    "DATE '2020-01-01' + CAST(i % 6 AS INTEGER) AS day, i % 13 + 0.5 AS \"odd name\", "
    "i % 17 AS \"case\", {'weight': i % 19 + 0.25} AS car FROM range(60) t(i)";

class ExpressionTest : public ::testing::TestWithParam<const char*> {};

TEST_P(ExpressionTest, IsReadAgainAlone) {
  const std::string text = GetParam();
  const TableSource source = OpenSql(kTable);
  DotColumns dot;
  for (const ColumnInfo& column : source.Columns()) {
    dot.columns.push_back({column.name, QuoteName(column.name), ValueKind::kUnknown});
  }
  const Formula formula = ParseFormula(text, ColumnsOf(source, text), dot);
  std::vector<Variable> variables = formula.variables;
  variables.push_back(formula.response);
  for (const Variable& variable : variables) {
    const Variable again =
        ParseExpression(variable.expression, ColumnsOf(source, variable.expression));
    EXPECT_EQ(again.sql, variable.sql) << variable.expression;
    EXPECT_EQ(again.gaps, variable.gaps) << variable.expression;
    EXPECT_EQ(again.expression, variable.expression);
    EXPECT_FALSE(again.asFactor);
    EXPECT_EQ(again.standardizing, Standardizing::kNone);
    ASSERT_EQ(again.columns.size(), variable.columns.size());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Formulas, ExpressionTest,
    ::testing::Values(
        "y ~ . - day", "log(Y + 1) ~ X",
        "I(y > 3) ~ C(year, Treatment(2001)) + relevel(g, ref='a')",
        "y ~ scale(x) + center(`odd name`) + scale(log(X + 1))", "y ~ poly(x, 3) + I(YEAR^2)",
        "y ~ I(x * -`odd name` + 2^-x) + I((x + 1)^2) + I(I(x + 1) * 2)",
        "y ~ `case` + C(`case`) + log(`case` + 1)", "y ~ car.weight + sqrt(Car.Weight)",
        "y ~ C(x) + C(b) + C(x > 3 and not b) + b:g", "y ~ Q('odd name') + exp(Q('odd name'))",
        "y ~ year(day) + C(date_trunc('month', day)) + I(day - date '2020-01-01')",
        "y ~ I(case when g in ('a', 'it''s') then x else 0 end) + nullif(x, 3)",
        "y ~ if(g like 'a%', x::int, cast(`odd name` as decimal(10, 2))) + np.log(x + 1)",
        "y ~ substr(g, 1, 1) + I(g || '-' || g) + C((x))",
        "y ~ scale((x)) + I(x not between 1 and 2)"));

TEST(ParseExpression, RefusesWhatIsNoValueOfOneRecord) {
  for (const char* const text : {"", "scale(x)", "C(x)", "x + ", "poly(x, 2)", "y ~ x", "sum(x)"}) {
    EXPECT_THROW(static_cast<void>(ParseExpression(text, {})), FormulaError) << text;
  }
}

const SavedVariable& VariableOf(const SavedModel& model, const std::string& label) {
  const auto found = std::ranges::find(model.variables, label, &SavedVariable::label);
  if (found == model.variables.end()) throw std::runtime_error("no variable " + label);
  return *found;
}

Strings FieldsOf(const SavedModel& model) {
  Strings fields;
  for (const SavedVariable& variable : model.variables) fields.push_back(variable.field);
  return fields;
}

TEST(SavedModelBuilder, KeepsVariablesAndColumns) {
  FitOptions options = OptionsFor(kTable, "log(y + 2) ~ C(year) + year + scale(x) + B + g:x");
  options.binding.freqWeight = "W";
  options.source.na = {"-", "none"};
  const SavedModel model = SavedFit(options);
  EXPECT_EQ(FieldsOf(model),
            (Strings{"log(y + 2)", "C(year)", "year", "scale(x)", "b", "g", "x", "w"}));
  EXPECT_EQ(model.reading.na, (Strings{"-", "none"}));
  EXPECT_EQ(model.fit.formula, options.formula);

  const SavedVariable& dependent = model.variables.front();
  EXPECT_EQ(dependent.expression, "log(y + 2)");
  EXPECT_EQ(dependent.columns, Strings{"y"});
  EXPECT_EQ(dependent.position, 0);
  EXPECT_FALSE(dependent.isColumn || dependent.isFactor || dependent.isWeight);

  const SavedVariable& year = VariableOf(model, "C(year)");
  EXPECT_EQ(year.expression, "year");
  EXPECT_EQ(year.levels, (Strings{"2000", "2001", "2002"}));
  EXPECT_EQ(year.kind, ColumnKind::kNumber);
  EXPECT_TRUE(year.isFactor && year.isColumn);

  const SavedVariable& scaled = VariableOf(model, "scale(x)");
  ASSERT_TRUE(scaled.scale.has_value());
  EXPECT_TRUE(scaled.scale->deviation.has_value());
  EXPECT_EQ(scaled.expression, "x");
  EXPECT_FALSE(VariableOf(model, "x").scale.has_value());

  EXPECT_EQ(VariableOf(model, "B").kind, ColumnKind::kBoolean);
  EXPECT_EQ(VariableOf(model, "B").levels, (Strings{"false", "true"}));
  EXPECT_TRUE(VariableOf(model, "w").isWeight);
  EXPECT_EQ(VariableOf(model, "w").position, 7);
  Strings columns;
  for (const SavedColumn& column : model.columns) columns.push_back(column.name);
  EXPECT_EQ(columns, (Strings{"y", "year", "x", "b", "g", "w"}));
  EXPECT_EQ(model.columns.front().type, "DOUBLE");
}

TEST(SavedModelBuilder, GivesEachVariableAFieldOfItsOwn) {
  FitOptions options = OptionsFor(
      "SELECT i * 1.5 + sin(i) AS y, i % 7 + 1 AS x, ln(i % 5 + 1) AS \"log(x)\", i % 3 AS "
      "\"scale(x)\" FROM range(40) t(i)",
      "y ~ x + log(x) + `log(x)` + scale(x) + `scale(x)`");
  options.binding.freqWeight = "x";
  options.binding.regressionWeight = "x";
  const Strings fields = FieldsOf(SavedFit(options));
  EXPECT_EQ(fields, (Strings{"y", "x", "log(x)_", "log(x)", "scale(x)_", "scale(x)", "x_", "x__"}));
}

TEST(SavedModelBuilder, KeepsHowTheDataWereRead) {
  const qvtest::TempFolder folder;
  FitOptions options;
  options.source.data = folder.Write("in.csv", "y;x\n1.000,5;2\n2;3,5\n3,25;-\n7;8\n6,5;7\n");
  options.source.reading.decimal = ',';
  options.source.reading.thousands = ".";
  options.source.na = {"-"};
  options.formula = "y ~ x";
  const SavedModel model = SavedFit(options);
  EXPECT_EQ(model.reading.decimal, ',');
  EXPECT_EQ(model.reading.thousands, ".");
  EXPECT_EQ(model.reading.na, Strings{"-"});
}

TEST(SavedModelBuilder, SpellsColumnsAsTheDataDo) {
  const qvtest::TempFolder folder;
  std::string text = "y,X,x,Group name\n";
  for (int i = 0; i < 30; ++i) {
    text += std::to_string(i * i % 17) + "," + std::to_string(i % 7) + "," + std::to_string(i % 5) +
            "," + (i % 2 == 0 ? "a" : "b") + "\n";
  }
  FitOptions options;
  options.source.data = folder.Write("in.csv", text);
  options.formula =
      "y ~ X + log(x + 1) + `group NAME` + I(if(`GROUP name` = 'a' or x > 9, 1, 0) + X * x)";
  const SavedModel model = SavedFit(options);
  EXPECT_EQ(FieldsOf(model)[1], "X");
  EXPECT_EQ(model.variables[2].expression, "log(x + 1)");
  EXPECT_EQ(model.variables[3].columns, Strings{"Group name"});
  EXPECT_EQ(model.variables[3].expression, "`Group name`");
}

/// The component of a model, restored.
std::unique_ptr<IQvRegComponent> Restored(const SavedModel& model) {
  QvRegFactory factory;
  std::unique_ptr<IQvRegComponent> component(factory.RestoreComponent(model.component));
  if (!component) throw std::runtime_error("the component was not restored");
  return component;
}

std::vector<double> EstimatesOf(IQvRegComponent& component) {
  IQvRegOutputStats* output = nullptr;
  if (component.GetOutputStats(output).IsError()) throw std::runtime_error("no statistics");
  return output->GetParamEstimates();
}

TEST(SavedModelBuilder, KeepsTheComponentHoweverRecordsAreChosen) {
  constexpr const char* kMany =
      "SELECT i % 3 = 1 OR i % 7 = 2 AS y, chr(CAST(97 + i % 3 AS INTEGER)) AS g, i % 5 AS x, i % "
      "2 + 1 AS w, "
      "i % 10 < 7 AS train FROM range(12000) t(i)";
  const auto options = [&] { return OptionsFor(kMany, "y ~ g + x"); };
  std::vector<FitOptions> runs(6, options());
  runs[1].logistic.collapse = false;
  runs[2].binding.freqWeight = "w";
  runs[3].binding.validation.kind = ValidationKind::kSplit;
  runs[3].binding.validation.column = "train";
  runs[4].binding.validation.kind = ValidationKind::kFolds;
  runs[4].binding.validation.folds = 3;
  runs[5].where = "x > 1";
  for (const FitOptions& run : runs) {
    const SavedModel model = SavedFit(run);
    const std::unique_ptr<IQvRegComponent> component = Restored(model);
    const std::vector<double> estimates = EstimatesOf(*component);
    ASSERT_EQ(estimates.size(), model.fit.parameters.size());
    for (std::size_t i = 0; i < estimates.size(); ++i) {
      EXPECT_EQ(estimates[i], model.fit.parameters[i].estimate.value_or(-1));
    }
    const QvRegSettings& settings = component->GetCompSettings();
    for (const SavedVariable& variable : model.variables) {
      if (!variable.isWeight) continue;
      EXPECT_EQ(variable.position, settings.GetFrequencyWeightVar());
    }
    EXPECT_EQ(model.variables.size(), run.binding.freqWeight.empty() ? 3U : 4U);
  }
}

TEST(SavedModelBuilder, ChangesNothingOfTheFit) {
  FitOptions options = OptionsFor(kTable, "y ~ g*x + b");
  const FitResult fit = Fit(options);
  const SavedModel model = SavedFit(options);
  ASSERT_EQ(model.fit.parameters.size(), fit.parameters.size());
  for (std::size_t i = 0; i < fit.parameters.size(); ++i) {
    EXPECT_EQ(model.fit.parameters[i].label, fit.parameters[i].label);
    EXPECT_EQ(model.fit.parameters[i].estimate, fit.parameters[i].estimate);
  }
}

}  // namespace
}  // namespace qvhost
