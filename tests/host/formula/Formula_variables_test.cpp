// What a formula says of its variables: label, SQL, columns and places.
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/host/formula/FormulaText.h"

namespace qvhost {
namespace {

/// The only variable on the right of "y ~ ...".
Variable Only(std::string_view right) {
  const Formula formula = ParseFormula("y ~ " + std::string(right));
  EXPECT_EQ(formula.variables.size(), 1U) << right;
  return formula.variables.at(0);
}

/// Its columns in one line.
std::string ColumnsOf(const Variable& variable) {
  std::string line;
  for (const ColumnUse& column : variable.columns) line += "[" + column.name + "]";
  return line;
}

void ExpectVariable(std::string_view right, std::string_view label, std::string_view sql,
                    std::string_view columns) {
  const Variable variable = Only(right);
  EXPECT_EQ(variable.label, label) << right;
  EXPECT_EQ(variable.sql, sql) << right;
  EXPECT_EQ(ColumnsOf(variable), columns) << right;
}

TEST(FormulaVariables, ANameIsAColumn) {
  ExpectVariable("price", "price", "\"price\"", "[price]");
  ExpectVariable("Sepal.Length_2", "Sepal.Length_2", "\"Sepal.Length_2\"", "[Sepal.Length_2]");
  ExpectVariable("_x", "_x", "\"_x\"", "[_x]");
  ExpectVariable(".x", ".x", "\".x\"", "[.x]");
  ExpectVariable("größe", "größe", "\"größe\"", "[größe]");
  ExpectVariable("価格", "価格", "\"価格\"", "[価格]");
  ExpectVariable("select", "select", "\"select\"", "[select]");
}

TEST(FormulaVariables, ABackQuotedNameIsTakenAsItStands) {
  ExpectVariable("`flipper length (mm)`", "flipper length (mm)", "\"flipper length (mm)\"",
                 "[flipper length (mm)]");
  ExpectVariable("`a``b`", "a`b", "\"a`b\"", "[a`b]");
  ExpectVariable("`say \"hi\"`", "say \"hi\"", "\"say \"\"hi\"\"\"", "[say \"hi\"]");
  ExpectVariable("`2019`", "2019", "\"2019\"", "[2019]");
  ExpectVariable("`~`", "~", "\"~\"", "[~]");
  ExpectVariable("`.`", ".", "\".\"", "[.]");
}

TEST(FormulaVariables, ACallIsPassedToDuckDB) {
  ExpectVariable("log(price)", "log(price)", "log(\"price\")", "[price]");
  ExpectVariable("log ( price+1 )", "log(price + 1)", "log(\"price\" + 1)", "[price]");
  ExpectVariable("greatest(a,b , 0)", "greatest(a, b, 0)", "greatest(\"a\", \"b\", 0)", "[a][b]");
  ExpectVariable("round(sqrt(abs(x)), 2)", "round(sqrt(abs(x)), 2)", "round(sqrt(abs(\"x\")), 2)",
                 "[x]");
  ExpectVariable("log(`my col`)", "log(`my col`)", "log(\"my col\")", "[my col]");
  ExpectVariable("strftime(d, '%Y, ''%m'')')", "strftime(d, '%Y, ''%m'')')",
                 "strftime(\"d\", '%Y, ''%m'')')", "[d]");
  ExpectVariable("pow(x, -1.5e-3)", "pow(x, -1.5e-3)", "pow(\"x\", - 1.5e-3)", "[x]");
  ExpectVariable("f(x, .5)", "f(x, .5)", "f(\"x\", .5)", "[x]");
}

TEST(FormulaVariables, SignsThatMeetDoNotBecomeAComment) {
  ExpectVariable("abs(x--1)", "abs(x - -1)", "abs(\"x\" - - 1)", "[x]");
  ExpectVariable("abs(-x)", "abs(-x)", "abs(- \"x\")", "[x]");
  ExpectVariable("abs(2*-x^2)", "abs(2 * -x^2)", "abs(2 * - \"x\" ^ 2)", "[x]");
}

TEST(FormulaVariables, ComparisonsAndLogic) {
  ExpectVariable("if((age>30)and not smokes, 1, 0)", "if((age > 30) and not smokes, 1, 0)",
                 "if((\"age\" > 30) and not \"smokes\", 1, 0)", "[age][smokes]");
  ExpectVariable("coalesce(x IN (1,2), false)", "coalesce(x IN (1, 2), false)",
                 "coalesce(\"x\" IN (1, 2), false)", "[x]");
  ExpectVariable("I(a<>b)", "I(a <> b)", "(\"a\" <> \"b\")", "[a][b]");
  ExpectVariable("I(s LIKE 'a%' OR s IS NULL)", "I(s LIKE 'a%' OR s IS NULL)",
                 "(\"s\" LIKE 'a%' OR \"s\" IS NULL)", "[s][s]");
  ExpectVariable("I(a || b)", "I(a || b)", "(\"a\" || \"b\")", "[a][b]");
}

TEST(FormulaVariables, CaseIsAnExpression) {
  ExpectVariable("I(case when x > 1 then a else b end - 1)",
                 "I(case when x > 1 then a else b end - 1)",
                 "(case when \"x\" > 1 then \"a\" else \"b\" end - 1)", "[x][a][b]");
}

TEST(FormulaVariables, TypesAreNotColumns) {
  ExpectVariable("CAST(x AS DOUBLE)", "CAST(x AS DOUBLE)", "CAST(\"x\" AS DOUBLE)", "[x]");
  ExpectVariable("cast(x as double precision)", "cast(x as double precision)",
                 "cast(\"x\" as double precision)", "[x]");
  ExpectVariable("TRY_CAST(x As DECIMAL(10,2))", "TRY_CAST(x As DECIMAL(10, 2))",
                 "TRY_CAST(\"x\" As DECIMAL(10, 2))", "[x]");
  ExpectVariable("I(x::INTEGER + y2)", "I(x::INTEGER + y2)", "(\"x\" :: INTEGER + \"y2\")",
                 "[x][y2]");
  ExpectVariable("len(x::INTEGER[])", "len(x::INTEGER[])", "len(\"x\" :: INTEGER[])", "[x]");
  ExpectVariable("epoch(t::TIMESTAMP WITH TIME ZONE)", "epoch(t::TIMESTAMP WITH TIME ZONE)",
                 "epoch(\"t\" :: TIMESTAMP WITH TIME ZONE)", "[t]");
  ExpectVariable("f(s::STRUCT(a INTEGER, b DATE), c)", "f(s::STRUCT(a INTEGER, b DATE), c)",
                 "f(\"s\" :: STRUCT(a INTEGER, b DATE), \"c\")", "[s][c]");
  ExpectVariable("I(x::INTEGER and b)", "I(x::INTEGER and b)", "(\"x\" :: INTEGER and \"b\")",
                 "[x][b]");
  ExpectVariable("date_diff('day', DATE '2020-01-31', d)", "date_diff('day', DATE '2020-01-31', d)",
                 "date_diff('day', DATE '2020-01-31', \"d\")", "[d]");
}

TEST(FormulaVariables, ElementsOfListsKeepTheirBrackets) {
  ExpectVariable("I(l[1] + 2)", "I(l[1] + 2)", "(\"l\"[1] + 2)", "[l]");
  ExpectVariable("list_sum([a,b])", "list_sum([a, b])", "list_sum([\"a\", \"b\"])", "[a][b]");
}

TEST(FormulaVariables, CMakesAFactor) {
  const Variable column = Only("C( year )");
  EXPECT_TRUE(column.asFactor);
  EXPECT_EQ(column.label, "C(year)");
  EXPECT_EQ(column.sql, "\"year\"");
  EXPECT_EQ(ColumnsOf(column), "[year]");
  const Variable sum = Only("C(a+b)");
  EXPECT_TRUE(sum.asFactor);
  EXPECT_EQ(sum.label, "C(a + b)");
  EXPECT_EQ(sum.sql, "(\"a\" + \"b\")");
  const Variable call = Only("C(year(d))");
  EXPECT_EQ(call.label, "C(year(d))");
  EXPECT_EQ(call.sql, "year(\"d\")");
  EXPECT_EQ(Only("C(I((x)))").label, "C(x)");
  EXPECT_EQ(Only("C(`my year`)").label, "C(`my year`)");
  EXPECT_FALSE(Only("year").asFactor);
}

TEST(FormulaVariables, AColumnAndItsFactorAreTwoVariables) {
  EXPECT_EQ(TermsOf("y ~ x + C(x) + C(x)"), "1 x C(x)");
}

TEST(FormulaVariables, IOfAPowerIsTheVariableItself) {
  const Formula formula = ParseFormula("y ~ I(log(x)^2) + log( x )");
  ASSERT_EQ(formula.variables.size(), 1U);
  EXPECT_EQ(formula.variables[0].label, "log(x)");
  EXPECT_EQ(formula.variables[0].place, (Place{6, 12}));
  EXPECT_EQ(formula.terms[0].parts[0].power, 2);
  EXPECT_EQ(TermLabel(formula, formula.terms[0]), "I(log(x)^2)");
  EXPECT_EQ(ParseFormula("y ~ I(`a b`^3)").terms[0].parts[0].power, 3);
  EXPECT_EQ(ParseFormula("y ~ I(((x))^100)").terms[0].parts[0].power, 100);
  EXPECT_EQ(TermsOf("y ~ I((x+1)^2) + I(x + 1)"), "1 I((x + 1)^2) I(x + 1)");
  EXPECT_EQ(ParseFormula("y ~ I((x+1)^2) + I(x + 1)").variables.size(), 1U);
}

TEST(FormulaVariables, IOfOtherArithmeticIsOneVariable) {
  ExpectVariable("I(x + 1)", "I(x + 1)", "(\"x\" + 1)", "[x]");
  ExpectVariable("I(a*b)", "I(a * b)", "(\"a\" * \"b\")", "[a][b]");
  ExpectVariable("I(x^2 + 1)", "I(x^2 + 1)", "(\"x\" ^ 2 + 1)", "[x]");
  ExpectVariable("I(x^0.5)", "I(x^0.5)", "(\"x\" ^ 0.5)", "[x]");
  ExpectVariable("I(x^-1)", "I(x^-1)", "(\"x\" ^ - 1)", "[x]");
  ExpectVariable("I(2^x)", "I(2^x)", "(2 ^ \"x\")", "[x]");
  ExpectVariable("I(a*x^2)", "I(a * x^2)", "(\"a\" * \"x\" ^ 2)", "[a][x]");
  ExpectVariable("I((a)+(b))", "I((a) + (b))", "((\"a\") + (\"b\"))", "[a][b]");
  ExpectVariable("I(x)", "x", "\"x\"", "[x]");
  ExpectVariable("I(I(log(x)))", "log(x)", "log(\"x\")", "[x]");
  ExpectVariable("log(I(x + 1))", "log(I(x + 1))", "log((\"x\" + 1))", "[x]");
}

TEST(FormulaVariables, SpellingsOfOneVariableAreOne) {
  EXPECT_EQ(ParseFormula("y ~ log(x):a + log( x ):b + log(`x`)").variables.size(), 3U);
  EXPECT_EQ(ParseFormula("y ~ x + `x`").variables.size(), 1U);
}

TEST(FormulaVariables, TheResponse) {
  const Formula call = ParseFormula("log(price) ~ price");
  EXPECT_EQ(call.response.label, "log(price)");
  EXPECT_EQ(call.response.sql, "log(\"price\")");
  EXPECT_EQ(call.response.place, (Place{0, 10}));
  const Formula factor = ParseFormula("C(grade) ~ x");
  EXPECT_TRUE(factor.response.asFactor);
  EXPECT_EQ(ParseFormula("`body mass` ~ x").response.label, "body mass");
  const Formula power = ParseFormula("I(y^2) ~ x");
  EXPECT_EQ(power.response.label, "I(y^2)");
  EXPECT_EQ(power.response.sql, "(\"y\" ^ 2)");
}

TEST(FormulaVariables, PlacesCountBytesOfTheFormula) {
  const Formula formula = ParseFormula("y ~ größe + f(größe, `b c`)");
  ASSERT_EQ(formula.variables.size(), 2U);
  EXPECT_EQ(formula.variables[0].place, (Place{4, 11}));
  EXPECT_EQ(formula.variables[1].place, (Place{14, 31}));
  ASSERT_EQ(formula.variables[1].columns.size(), 2U);
  EXPECT_EQ(formula.variables[1].columns[0].place, (Place{16, 23}));
  EXPECT_EQ(formula.variables[1].columns[1].place, (Place{25, 30}));
  EXPECT_EQ(ParseFormula("y ~ C(x)").variables[0].place, (Place{4, 8}));
}

}  // namespace
}  // namespace qvhost
