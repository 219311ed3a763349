// Which columns have a marginal effect of their own.

#include "host/fit/MarginPlan.h"

#include <string>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include "host/Error.h"
#include "host/fit/DotColumns.h"

namespace qvhost {
namespace {

struct Planned {
  MarginPlan plan;
  ModelBinding binding;
};

Planned Plan(const std::string& terms, const std::vector<std::string>& names = {}) {
  const std::string text = "y ~ " + terms;
  const TableSource source(DataSource{
      .data = "",
      .table = "",
      .sql = "SELECT i AS y, i * i AS x, i % 3 AS z, 'a' || i % 2 AS g, DATE '2020-01-01' + i::INT "
             "AS d, i > 3 AS b FROM range(9) r(i)"});
  const Formula formula = ParseFormula(text, ColumnsOf(source, text));
  Planned planned{{}, BindModel(formula, source, {})};
  planned.plan = PlanMargins(formula, source, names, planned.binding);
  return planned;
}

std::string NamesOf(const MarginPlan& plan) {
  std::vector<std::string> names;
  for (const MarginVariable& variable : plan.variables) {
    names.push_back(variable.name + (variable.factor >= 0 ? " levels" : "") +
                    (variable.isWhole ? " whole" : ""));
  }
  return fmt::format("{}", fmt::join(names, ", "));
}

std::string FailureOf(const std::string& terms, const std::vector<std::string>& names) {
  try {
    static_cast<void>(Plan(terms, names));
  } catch (const Error& error) {
    return error.what();
  }
  return {};
}

TEST(MarginPlan, HasColumnsInTheOrderOfTheFormula) {
  EXPECT_EQ(NamesOf(Plan("log(x + 1):z + g + C(d) + b + I(x^2)").plan),
            "x, z, g levels whole, d levels whole, b levels whole");
  EXPECT_EQ(NamesOf(Plan("x*g", {"g"}).plan), "g levels whole");
  EXPECT_EQ(NamesOf(Plan("1").plan), "");
  EXPECT_EQ(Plan("1").plan.notes.size(), 1U);
}

TEST(MarginPlan, AddsAColumnForADerivativeThatVaries) {
  const Planned planned = Plan("x + I(x * z) + scale(z)");
  const std::size_t columns = planned.binding.columns.size();
  ASSERT_EQ(planned.plan.variables.size(), 2U);
  const MarginVariable& x = planned.plan.variables[0];
  ASSERT_EQ(x.slopes.size(), 2U);
  EXPECT_EQ(x.slopes[0].position, -1);
  EXPECT_EQ(x.slopes[1].position, static_cast<int>(columns) - 2);
  const MarginVariable& z = planned.plan.variables[1];
  EXPECT_EQ(z.slopes[0].position, static_cast<int>(columns) - 1);
  EXPECT_EQ(z.slopes[1].position, -1);
  EXPECT_EQ(planned.binding.columns.back().label, "derivative of I(x * z) by z");
}

TEST(MarginPlan, TakesWhatHasNoDerivativeAsItIs) {
  EXPECT_EQ(NamesOf(Plan("round(x) + month(d) + C(z > 1)").plan),
            "round(x) whole, month(d) whole, z > 1 levels whole");
}

TEST(MarginPlan, LeavesOutWhatChangesWithSomethingElse) {
  const MarginPlan plan = Plan("x + C(x) + round(z) + z + C(g || 'b') + g + I(d::text)").plan;
  EXPECT_EQ(NamesOf(plan), "I(d::text) levels whole");
  EXPECT_EQ(plan.notes.size(), 3U);
  EXPECT_EQ(plan.notes.at(0),
            "There is no marginal effect of x: it occurs in x and in C(x), which a change of one "
            "leaves as it is.");
  EXPECT_EQ(plan.notes.at(1),
            "There is no marginal effect of z: round(z) has no derivative by it.");
}

TEST(MarginPlan, LeavesOutAFactorOfAColumnThatOccursElsewhere) {
  const MarginPlan plan = Plan("C(concat(g, z)) + z").plan;
  EXPECT_EQ(NamesOf(plan), "");
  ASSERT_EQ(plan.notes.size(), 2U);
  EXPECT_EQ(plan.notes.front(),
            "There is no marginal effect of g: z of C(concat(g, z)) occurs in other variables, "
            "too.");
}

TEST(MarginPlan, RefusesColumnsThatHaveNone) {
  EXPECT_EQ(FailureOf("x + C(x)", {"x"}),
            "--margins: x has no effect of its own, since it occurs in x and in C(x), which a "
            "change of one leaves as it is.");
  EXPECT_EQ(FailureOf("x + g", {"z"}),
            "--margins: no term of the formula has z; its columns are x, g.");
  EXPECT_EQ(FailureOf("1", {"z"}), "--margins: no term of the formula has z; it has no terms.");
  EXPECT_EQ(
      FailureOf("I(z * round(x))", {"x"}),
      "--margins: x has no effect of its own, since I(z * round(x)) has no derivative by it.");
}

}  // namespace
}  // namespace qvhost
