// What a formula says of its variables: label, SQL, columns and places.
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/formula/FormulaText.h"

namespace qvhost {
namespace {

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

TEST(FormulaVariables, ANameInQIsTakenAsItStands) {
  ExpectVariable("Q('a b')", "a b", "\"a b\"", "[a b]");
  ExpectVariable("Q( \"it's `so`\" )", "it's `so`", "\"it's `so`\"", "[it's `so`]");
  ExpectVariable("sqrt(Q(\"a `b`\"))", "sqrt(`a ``b```)", "sqrt(\"a `b`\")", "[a `b`]");
  ExpectVariable("C(Q('a b'))", "C(`a b`)", "\"a b\"", "[a b]");
  EXPECT_EQ(Only("Q('a b')").place, (Place{4, 12}));
}

TEST(FormulaVariables, ACallIsOneVariable) {
  ExpectVariable("log(price)", "log(price)", "ln(\"price\")", "[price]");
  ExpectVariable("log ( price+1 )", "log(price + 1)", "ln((\"price\" + 1))", "[price]");
  ExpectVariable("greatest(a,b , 0)", "greatest(a, b, 0)", "greatest(\"a\", \"b\", 0)", "[a][b]");
  ExpectVariable("round(sqrt(abs(x)), 2)", "round(sqrt(abs(x)), 2)", "round(sqrt(abs(\"x\")), 2)",
                 "[x]");
  ExpectVariable("log(`my col`)", "log(`my col`)", "ln(\"my col\")", "[my col]");
  ExpectVariable("strftime(d, '%Y, ''%m'')')", "strftime(d, '%Y, ''%m'')')",
                 "strftime(\"d\", '%Y, ''%m'')')", "[d]");
  ExpectVariable("pow(x, -1.5e-3)", "pow(x, -1.5e-3)", "pow(\"x\", (- 1.5e-3))", "[x]");
  ExpectVariable("pow(x, .5)", "pow(x, .5)", "pow(\"x\", .5)", "[x]");
  ExpectVariable("LoG(x)", "LoG(x)", "ln(\"x\")", "[x]");
}

TEST(FormulaVariables, SignsThatMeetDoNotBecomeAComment) {
  ExpectVariable("abs(x--1)", "abs(x - -1)", "abs((\"x\" - (- 1)))", "[x]");
  ExpectVariable("abs(-x)", "abs(-x)", "abs((- \"x\"))", "[x]");
  ExpectVariable("abs(- -x)", "abs(--x)", "abs((- (- \"x\")))", "[x]");
}

// As in R: a power binds more tightly than a sign before it, and from right to left.
TEST(FormulaVariables, PowersAndSigns) {
  ExpectVariable("abs(2*-x^2)", "abs(2 * -x^2)", "abs((2 * (- pow(\"x\", 2))))", "[x]");
  ExpectVariable("I(2^x^3)", "I(2^x^3)", "pow(2, pow(\"x\", 3))", "[x]");
  ExpectVariable("I(x^-1)", "I(x^-1)", "pow(\"x\", (- 1))", "[x]");
  ExpectVariable("I(-x::INTEGER)", "I(-x::INTEGER)", "(- CAST(\"x\" AS INTEGER))", "[x]");
}

TEST(FormulaVariables, OperatorsBindFromTheTightestToTheLoosest) {
  ExpectVariable("I(a + b*x - c/2)", "I(a + b * x - c / 2)",
                 "((\"a\" + (\"b\" * \"x\")) - (\"c\" / 2))", "[a][b][x][c]");
  ExpectVariable("I(a - b - c)", "I(a - b - c)", "((\"a\" - \"b\") - \"c\")", "[a][b][c]");
  ExpectVariable("I(a // b % 3)", "I(a // b % 3)", "(trunc(\"a\" / \"b\") % 3)", "[a][b]");
  ExpectVariable("I(not a = 1 and b or c)", "I(not a = 1 and b or c)",
                 "(((NOT (\"a\" = 1)) AND \"b\") OR \"c\")", "[a][b][c]");
  ExpectVariable("I(a || b + 1 = c)", "I(a || b + 1 = c)", "((\"a\" || (\"b\" + 1)) = \"c\")",
                 "[a][b][c]");
}

TEST(FormulaVariables, ComparisonsAndLogic) {
  ExpectVariable("if((age>30)and not smokes, 1, 0)", "if((age > 30) and not smokes, 1, 0)",
                 "(CASE WHEN ((\"age\" > 30) AND (NOT \"smokes\")) THEN 1 ELSE 0 END)",
                 "[age][smokes]");
  ExpectVariable("I(x IN (1,-2))", "I(x IN (1, -2))", "(\"x\" IN (1, (- 2)))", "[x]");
  ExpectVariable("I(x not in ('a','b'))", "I(x not in ('a', 'b'))", "(\"x\" NOT IN ('a', 'b'))",
                 "[x]");
  ExpectVariable("I(a<>b)", "I(a <> b)", "(\"a\" <> \"b\")", "[a][b]");
  ExpectVariable("I(a==b)", "I(a == b)", "(\"a\" = \"b\")", "[a][b]");
  ExpectVariable("I(s LIKE 'a%' OR s = 'b')", "I(s LIKE 'a%' OR s = 'b')",
                 "((\"s\" LIKE 'a%') OR (\"s\" = 'b'))", "[s][s]");
  ExpectVariable("I(s not ilike 'a%')", "I(s not ilike 'a%')", "(\"s\" NOT ILIKE 'a%')", "[s]");
  ExpectVariable("I(x between 1 and 2 and b)", "I(x between 1 and 2 and b)",
                 "((\"x\" BETWEEN 1 AND 2) AND \"b\")", "[x][b]");
  ExpectVariable("I(x not between 1 and 2)", "I(x not between 1 and 2)",
                 "(\"x\" NOT BETWEEN 1 AND 2)", "[x]");
  ExpectVariable("I(a || b)", "I(a || b)", "(\"a\" || \"b\")", "[a][b]");
}

TEST(FormulaVariables, CaseIsAnExpression) {
  ExpectVariable("I(case when x > 1 then a else b end - 1)",
                 "I(case when x > 1 then a else b end - 1)",
                 "((CASE WHEN (\"x\" > 1) THEN \"a\" ELSE \"b\" END) - 1)", "[x][a][b]");
  ExpectVariable("I(case x when 1 then a when 2 then b else 0 end)",
                 "I(case x when 1 then a when 2 then b else 0 end)",
                 "(CASE \"x\" WHEN 1 THEN \"a\" WHEN 2 THEN \"b\" ELSE 0 END)", "[x][a][b]");
}

TEST(FormulaVariables, TypesAreNotColumns) {
  ExpectVariable("CAST(x AS DOUBLE)", "CAST(x AS DOUBLE)", "CAST(\"x\" AS DOUBLE)", "[x]");
  ExpectVariable("cast(x as double precision)", "cast(x as double precision)",
                 "CAST(\"x\" AS DOUBLE)", "[x]");
  ExpectVariable("TRY_CAST(x As DECIMAL(10,2))", "TRY_CAST(x As DECIMAL(10, 2))",
                 "TRY_CAST(\"x\" AS DECIMAL(10, 2))", "[x]");
  ExpectVariable("I(x::INTEGER + y2)", "I(x::INTEGER + y2)", "(CAST(\"x\" AS INTEGER) + \"y2\")",
                 "[x][y2]");
  ExpectVariable("I(x::INTEGER and b)", "I(x::INTEGER and b)", "(CAST(\"x\" AS INTEGER) AND \"b\")",
                 "[x][b]");
  ExpectVariable("I(s::text::date < d)", "I(s::text::date < d)",
                 "(CAST(CAST(\"s\" AS VARCHAR) AS DATE) < \"d\")", "[s][d]");
  ExpectVariable("date_diff('day', DATE '2020-01-31', d)", "date_diff('day', DATE '2020-01-31', d)",
                 "date_diff('day', CAST('2020-01-31' AS DATE), \"d\")", "[d]");
}

TEST(FormulaVariables, PartsThatMayBeMissingByThemselvesAreKnown) {
  EXPECT_EQ(Only("log(x)").gaps, std::vector<std::string>());
  EXPECT_EQ(Only("greatest(nullif(x, -99), try_cast(s as double))").gaps,
            (std::vector<std::string>{"nullif(\"x\", (- 99))", "TRY_CAST(\"s\" AS DOUBLE)"}));
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
  ExpectVariable("I(x^2 + 1)", "I(x^2 + 1)", "(pow(\"x\", 2) + 1)", "[x]");
  ExpectVariable("I(x^0.5)", "I(x^0.5)", "pow(\"x\", 0.5)", "[x]");
  ExpectVariable("I(2^x)", "I(2^x)", "pow(2, \"x\")", "[x]");
  ExpectVariable("I(a*x^2)", "I(a * x^2)", "(\"a\" * pow(\"x\", 2))", "[a][x]");
  ExpectVariable("I((a)+(b))", "I((a) + (b))", "(\"a\" + \"b\")", "[a][b]");
  ExpectVariable("I(x)", "x", "\"x\"", "[x]");
  ExpectVariable("I(I(log(x)))", "log(x)", "ln(\"x\")", "[x]");
  ExpectVariable("log(I(x + 1))", "log(I(x + 1))", "ln((\"x\" + 1))", "[x]");
}

TEST(FormulaVariables, SpellingsOfOneVariableAreOne) {
  EXPECT_EQ(ParseFormula("y ~ log(x):a + log( x ):b + log(`x`)").variables.size(), 3U);
  EXPECT_EQ(ParseFormula("y ~ x + `x`").variables.size(), 1U);
  EXPECT_EQ(ParseFormula("y ~ I(x + 1) + I(((x)) + (1))").variables.size(), 1U);
  EXPECT_EQ(ParseFormula("y ~ LOG(x) + log(x) + power(x, 0.5) + pow(x, 0.5)").variables.size(), 2U);
}

TEST(FormulaVariables, TheResponse) {
  const Formula call = ParseFormula("log(price) ~ price");
  EXPECT_EQ(call.response.label, "log(price)");
  EXPECT_EQ(call.response.sql, "ln(\"price\")");
  EXPECT_EQ(call.response.place, (Place{0, 10}));
  const Formula factor = ParseFormula("C(grade) ~ x");
  EXPECT_TRUE(factor.response.asFactor);
  EXPECT_EQ(ParseFormula("`body mass` ~ x").response.label, "body mass");
  const Formula power = ParseFormula("I(y^2) ~ x");
  EXPECT_EQ(power.response.label, "I(y^2)");
  EXPECT_EQ(power.response.sql, "pow(\"y\", 2)");
}

TEST(FormulaVariables, PlacesCountBytesOfTheFormula) {
  const Formula formula = ParseFormula("y ~ größe + pow(größe, `b c`)");
  ASSERT_EQ(formula.variables.size(), 2U);
  EXPECT_EQ(formula.variables[0].place, (Place{4, 11}));
  EXPECT_EQ(formula.variables[1].place, (Place{14, 33}));
  ASSERT_EQ(formula.variables[1].columns.size(), 2U);
  EXPECT_EQ(formula.variables[1].columns[0].place, (Place{18, 25}));
  EXPECT_EQ(formula.variables[1].columns[1].place, (Place{27, 32}));
  EXPECT_EQ(ParseFormula("y ~ C(x)").variables[0].place, (Place{4, 8}));
}

}  // namespace
}  // namespace qvhost
