// Expressions of formulas as those of PMML, and what is not the same there.
#include "host/model/PmmlExpression.h"

#include <pugixml.hpp>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "host/Text.h"
#include "host/formula/Formula.h"

namespace qvhost {
namespace {

/// A column of numbers, but for t (text), b and c (booleans, c written Yes and No), d (dates).
PmmlColumn ColumnOf(const std::string& name) {
  if (name == "t") return {PmmlColumn::Kind::kText};
  if (name == "b") return {PmmlColumn::Kind::kBoolean};
  if (name == "c") return {PmmlColumn::Kind::kBoolean, "Yes"};
  if (name == "d") return {};
  return {PmmlColumn::Kind::kNumber};
}

FoundColumn FindColumn(const std::string& name, Place /*place*/) {
  ValueKind kind = ValueKind::kNumber;
  if (name == "t") kind = ValueKind::kText;
  if (name == "b" || name == "c") kind = ValueKind::kBoolean;
  if (name == "d") kind = ValueKind::kDateTime;
  return {name, QuoteName(name), kind};
}

/// `f(a, b)` for a call, a field by its name, a text in quotes.
std::string ShortOf(pugi::xml_node node) {
  const std::string name = node.name();
  if (name == "FieldRef") return node.attribute("field").value();
  if (name == "Constant") {
    const bool isText = std::string(node.attribute("dataType").value()) == "string";
    return isText ? "'" + std::string(node.text().get()) + "'" : node.text().get();
  }
  std::string text = std::string(node.attribute("function").value()) + "(";
  for (const pugi::xml_node& child : node.children()) {
    text += (text.back() == '(' ? "" : ", ") + ShortOf(child);
  }
  return text + ")";
}

std::string Of(const std::string& expression) {
  pugi::xml_document document;
  const Variable variable = ParseExpression(expression, FindColumn);
  if (!AppendExpression(document, variable, ColumnOf)) {
    return document.first_child() ? "something was left" : "none";
  }
  return ShortOf(document.first_child());
}

TEST(PmmlExpression, HasArithmeticAndFunctions) {
  EXPECT_EQ(Of("x"), "x");
  EXPECT_EQ(Of("x + 2 * -y / (z - 1e3)"), "+(x, /(*(2, *(-1, y)), -(z, 1e3)))");
  EXPECT_EQ(Of("log(x)"), "ln(x)");
  EXPECT_EQ(Of("log10(abs(x)) + log1p(x) - expm1(x)"), "-(+(log10(abs(x)), ln1p(x)), expm1(x))");
  EXPECT_EQ(Of("x^2 + pow(x, 0.5) + sqrt(exp(x))"), "+(+(pow(x, 2), pow(x, 0.5)), sqrt(exp(x)))");
  EXPECT_EQ(Of("floor(x) + ceil(`odd \" (name`) + pi()"),
            "+(+(floor(x), ceil(odd \" (name)), 3.141592653589793)");
  EXPECT_EQ(Of("cast(x as double) + I(y)"), "+(x, y)");
}

TEST(PmmlExpression, HasConditionsOfPresentValues) {
  EXPECT_EQ(Of("x > 3"), "greaterThan(x, 3)");
  EXPECT_EQ(Of("t = 'it''s (a) \"b\"'"), "equal(t, 'it's (a) \"b\"')");
  EXPECT_EQ(Of("not b"), "not(b)");
  EXPECT_EQ(Of("c = (x > 1)"), "equal(equal(c, 'Yes'), greaterThan(x, 1))");
  EXPECT_EQ(Of("x > 3 and b"),
            "if(and(isNotMissing(x), isNotMissing(b)), and(greaterThan(x, 3), b))");
  EXPECT_EQ(Of("if(x > 1, y, -1)"),
            "if(and(isNotMissing(x), isNotMissing(y)), if(greaterThan(x, 1), y, *(-1, 1)))");
  EXPECT_EQ(Of("x not between 1 and 2"),
            "if(isNotMissing(x), not(and(greaterOrEqual(x, 1), lessOrEqual(x, 2))))");
  EXPECT_EQ(Of("t not in ('a', 'b')"), "if(isNotMissing(t), isNotIn(t, 'a', 'b'))");
  EXPECT_EQ(Of("case when x < 1 then 1 when x < 2 then 2 else 3 end"),
            "if(isNotMissing(x), if(lessThan(x, 1), 1, if(lessThan(x, 2), 2, 3)))");
  EXPECT_EQ(Of("least(x, y)"), "if(and(isNotMissing(x), isNotMissing(y)), min(x, y))");
}

TEST(PmmlExpression, HasNothingThatMeansSomethingElse) {
  for (const char* const expression :
       {"round(x)", "mod(x, 2)", "x % 2", "x // 2", "trunc(x)", "sign(x)", "nullif(x, 3)",
        "lower(t)", "substr(t, 1, 1)", "t like 'a%'", "t || 'a'", "year(d)",
        "d = date '2020-01-01'", "cast(x as integer)", "try_cast(t as double)", "if(x, 1, 2)",
        "case x when 1 then 2 else 3 end", "x + length(t)", "log(round(x))"}) {
    EXPECT_EQ(Of(expression), "none") << expression;
  }
}

}  // namespace
}  // namespace qvhost
