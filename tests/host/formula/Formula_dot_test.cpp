// What `.` stands for, and terms taken out of it.
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "host/Text.h"
#include "tests/host/formula/FormulaText.h"

namespace qvhost {
namespace {

/// The table's columns are y, b, a, `odd name` and x; w is a weight.
DotColumns Columns() {
  DotColumns dot;
  for (const char* const name : {"y", "b", "a", "odd name", "x"}) {
    dot.columns.push_back({name, QuoteName(name)});
  }
  dot.apart = {"w"};
  return dot;
}

Formula Parsed(std::string_view text) { return ParseFormula(text, {}, Columns()); }

/// The terms, or the message.
std::string Terms(std::string_view text) {
  try {
    const Formula formula = Parsed(text);
    std::string line;
    for (const Term& term : formula.terms) {
      line += (line.empty() ? "" : " + ") + TermLabel(formula, term);
    }
    return formula.intercept ? line : "0 + " + line;
  } catch (const FormulaError& error) {
    return error.what();
  }
}

TEST(FormulaDot, StandsForTheOtherColumnsInTheirOrder) {
  EXPECT_EQ(Terms("y ~ ."), "b + a + odd name + x");
  EXPECT_EQ(Terms("a ~ ."), "y + b + odd name + x");
  EXPECT_EQ(Terms("log(y) ~ ."), "b + a + odd name + x");
  EXPECT_EQ(Terms("I(a + b) ~ ."), "y + odd name + x");
  EXPECT_EQ(Terms("y ~ 0 + ."), "0 + b + a + odd name + x");
  EXPECT_EQ(Terms("y ~ x + ."), "x + b + a + odd name");
}

TEST(FormulaDot, IsAmongOtherTerms) {
  EXPECT_EQ(Terms("y ~ . + I(x^2)"), "b + a + odd name + x + I(x^2)");
  EXPECT_EQ(Terms("y ~ . + a:b"), "b + a + odd name + x + a:b");
  EXPECT_EQ(Terms("y ~ (. - x - b)^2"), "a + odd name + a:odd name");
  EXPECT_EQ(Terms("y ~ (. - `odd name`)^2 - b:x"), "b + a + x + b:a + a:x");
  EXPECT_EQ(Terms("y ~ a:."), "a:b + a + a:odd name + a:x");
  EXPECT_EQ(Terms("y ~ . %in% a - x %in% a"), "a:b + a + a:odd name");
}

TEST(FormulaDot, TermsAreTakenOut) {
  EXPECT_EQ(Terms("y ~ . - x"), "b + a + odd name");
  EXPECT_EQ(Terms("y ~ . - x - b"), "a + odd name");
  EXPECT_EQ(Terms("y ~ . - (x + b)"), "a + odd name");
  EXPECT_EQ(Terms("y ~ . - `odd name`"), "b + a + x");
  EXPECT_EQ(Terms("y ~ . - Q('odd name')"), "b + a + x");
}

TEST(FormulaDot, WhatItDoesNotStandForMayBeTakenOut) {
  EXPECT_EQ(Terms("y ~ . - y"), "b + a + odd name + x");
  EXPECT_EQ(Terms("y ~ . - w - x"), "b + a + odd name");
  EXPECT_EQ(Terms("y ~ . - a:b").substr(0, 40), "No such term stands before this, so it c");
  EXPECT_EQ(Terms("y ~ a - w").substr(0, 40), "No such term stands before this, so it c");
}

TEST(FormulaDot, TheResponseIsNoTermNonetheless) {
  const std::string sentence =
      "'y' is the response and cannot be a term too; take it out on this side.";
  EXPECT_EQ(Terms("y ~ . + y"), Expected(sentence, "y ~ . + y", 8));
  EXPECT_EQ(Terms("y ~ a - y"), Expected(sentence, "y ~ a - y", 8));
}

TEST(FormulaDot, AColumnNamedElsewhereIsNotOfTheDotAlone) {
  const Formula formula = Parsed("y ~ . + a - x");
  ASSERT_EQ(formula.variables.size(), 3U);
  EXPECT_TRUE(formula.variables[0].isOfDot);
  EXPECT_FALSE(formula.variables[1].isOfDot);
  EXPECT_EQ(formula.variables[0].place, (Place{4, 5}));
  EXPECT_FALSE(Parsed("y ~ a + .").variables[0].isOfDot);
  EXPECT_FALSE(Parsed("y ~ a").variables[0].isOfDot);
  EXPECT_TRUE(Parsed("y ~ .*a - a").variables[0].isOfDot);
}

TEST(FormulaDot, IsNoColumnElsewhere) {
  const std::string sentence =
      "'.' stands for the other columns among the terms alone; name the columns here.";
  EXPECT_EQ(Terms("y ~ log(.)"), Expected(sentence, "y ~ log(.)", 8));
  EXPECT_EQ(Terms("y ~ C(.)"), Expected(sentence, "y ~ C(.)", 6));
  EXPECT_EQ(Terms(". ~ a"), Expected(sentence, ". ~ a", 0));
}

TEST(FormulaDot, WithoutAnotherColumn) {
  DotColumns dot;
  dot.columns.push_back({"y", "\"y\""});
  try {
    static_cast<void>(ParseFormula("y ~ .", {}, dot));
    FAIL();
  } catch (const FormulaError& error) {
    EXPECT_EQ(error.what(), Expected("There is no other column for '.' to stand for; name a "
                                     "column.",
                                     "y ~ .", 4));
  }
}

}  // namespace
}  // namespace qvhost
