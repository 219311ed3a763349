// Factors as R and Python write them, and the level that the others are compared with.
#include <optional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/host/formula/FormulaText.h"

namespace qvhost {
namespace {

void ExpectFactor(std::string_view right, std::string_view label, std::string_view sql,
                  const std::optional<std::string>& base) {
  const Variable variable = Only(right);
  EXPECT_TRUE(variable.asFactor) << right;
  EXPECT_EQ(variable.label, label) << right;
  EXPECT_EQ(variable.sql, sql) << right;
  EXPECT_EQ(variable.base, base) << right;
}

TEST(FormulaFactors, OtherNamesOfC) {
  for (const char* const right : {"factor(x)", "as.factor(x)", "Factor( x )", "C(factor(x))",
                                  "factor(I((x)))", "factor(C(x))"}) {
    ExpectFactor(right, "C(x)", "\"x\"", std::nullopt);
  }
  ExpectFactor("factor(a + b)", "C(a + b)", "(\"a\" + \"b\")", std::nullopt);
  ExpectFactor("factor(`odd name`)", "C(`odd name`)", "\"odd name\"", std::nullopt);
  EXPECT_EQ(TermsOf("y ~ factor(x) + C(x) + as.factor(x):z"), "1 C(x) C(x):z");
  EXPECT_EQ(Only("factor(x)").place, (Place{4, 13}));
}

TEST(FormulaFactors, AComparisonIsNoArgumentWithAName) {
  ExpectFactor("C(x = 1)", "C(x = 1)", "(\"x\" = 1)", std::nullopt);
}

TEST(FormulaFactors, TheLevelThatOthersAreComparedWith) {
  ExpectFactor("C(x, Treatment('a'))", "C(x)", "\"x\"", "a");
  ExpectFactor("C(x, Treatment(\"it's\"))", "C(x)", "\"x\"", "it's");
  ExpectFactor("C(x, Treatment('it''s'))", "C(x)", "\"x\"", "it's");
  ExpectFactor("C(x, Treatment(reference='a'))", "C(x)", "\"x\"", "a");
  ExpectFactor("C(x, Treatment(reference = \"a b\"))", "C(x)", "\"x\"", "a b");
  ExpectFactor("C(x, Treatment(1950))", "C(x)", "\"x\"", "1950");
  ExpectFactor("C(x, Treatment(-1.5))", "C(x)", "\"x\"", "-1.5");
  ExpectFactor("C(x, Treatment(True))", "C(x)", "\"x\"", "true");
  ExpectFactor("C(log(x), Treatment(0))", "C(log(x))", "ln(\"x\")", "0");
  ExpectFactor("factor(x, Treatment('a'))", "C(x)", "\"x\"", "a");
  ExpectFactor("relevel(x, ref = 'a')", "C(x)", "\"x\"", "a");
  ExpectFactor("relevel(factor(x), ref = \"a\")", "C(x)", "\"x\"", "a");
  ExpectFactor("Relevel(x, ref = \"a\")", "C(x)", "\"x\"", "a");
  ExpectFactor("relevel(C(x, Treatment('a')), 'b')", "C(x)", "\"x\"", "b");
}

TEST(FormulaFactors, OneVariableHasOneBase) {
  const Formula formula = ParseFormula("y ~ C(x):z + C(x, Treatment('a')) + C(x)*w");
  ASSERT_EQ(formula.variables.size(), 3U);
  EXPECT_EQ(formula.variables[0].base, "a");
  EXPECT_EQ(ParseFormula("y ~ C(x, Treatment('a')) + C(x, Treatment('a')):z").variables[0].base,
            "a");
  const std::string two = "y ~ C(x, Treatment('a')) + relevel(x, 'b'):z";
  ExpectError(two, 27,
              "The levels of 'C(x)' are compared with 'a' before this; name one of the two.");
}

TEST(FormulaFactors, WhatIsNoLevel) {
  const std::string level =
      "Name here the level that the others are compared with, a text in quotes or a number.";
  ExpectError("y ~ C(x, Treatment(a))",  //
              "                   ^", level);
  ExpectError("y ~ relevel(x, ref = a + 1)",  //
              "               ^", level);
  ExpectError("y ~ C(x, Treatment())",  //
              "                  ^", "There is nothing between these parentheses; name a column.");
  ExpectError("y ~ C(x, Treatment('a', 'b'))",  //
              "                        ^", "Treatment() takes one level: Treatment('a').");
  ExpectError("y ~ C(x, Treatment(base='a'))",  //
              "                   ^", "Treatment() takes one level: Treatment('a').");
  ExpectError("y ~ relevel(x)",  //
              "    ^", "relevel() takes a column and a level: relevel(x, ref = 'a').");
}

TEST(FormulaFactors, OtherArguments) {
  const std::string rest =
      "() takes one column or expression; only C(x, Treatment('a')), with the level that the "
      "others are compared with, has more.";
  ExpectError("y ~ C(x, Sum)",  //
              "         ^", "C" + rest);
  ExpectError("y ~ C(x, Helmert('a'))",  //
              "         ^", "C" + rest);
  ExpectError("y ~ factor(x, labels = z)",  //
              "              ^", "factor" + rest);
  ExpectError("y ~ C(x, Treatment('a'), z)",  //
              "                         ^", "C() takes no third argument; take this out.");
  ExpectError("y ~ C(x,)",  //
              "        ^", "An argument is missing here.");
  ExpectError("y ~ C(, x)",  //
              "      ^", "An argument is missing here.");
}

TEST(FormulaFactors, NotInsideACall) {
  ExpectError("y ~ log(factor(x))",  //
              "        ^",
              "factor() makes a factor of a whole variable; it cannot stand inside a call.");
}

TEST(FormulaFactors, ADependentNamesItsLevelOtherwise) {
  EXPECT_TRUE(ParseFormula("factor(y) ~ x").response.asFactor);
  ExpectError("C(y, Treatment('a')) ~ x", "^",
              "The level that a dependent's others are compared with is named by --reference; "
              "write C(x) alone here.");
}

}  // namespace
}  // namespace qvhost
