// Which terms a formula stands for, and in which order.
#include <string>

#include <gtest/gtest.h>

#include "tests/host/formula/FormulaText.h"

namespace qvhost {
namespace {

TEST(FormulaTerms, ASumKeepsTheOrderWritten) {
  EXPECT_EQ(TermsOf("y ~ b + a + c"), "1 b a c");
  EXPECT_EQ(TermsOf("y~a"), "1 a");
  EXPECT_EQ(TermsOf("  y\n~\ta\r\n+ b  "), "1 a b");
}

TEST(FormulaTerms, AColonCrosses) {
  EXPECT_EQ(TermsOf("y ~ a:b"), "1 a:b");
  EXPECT_EQ(TermsOf("y ~ a + b + b:a"), "1 a b b:a");
  EXPECT_EQ(TermsOf("y ~ (a + b):(c + d)"), "1 a:c a:d b:c b:d");
}

TEST(FormulaTerms, AStarExpandsInPlace) {
  EXPECT_EQ(TermsOf("y ~ a + b*c"), "1 a b c b:c");
  EXPECT_EQ(TermsOf("y ~ b*c + a"), "1 b c b:c a");
  EXPECT_EQ(TermsOf("y ~ a*b*c"), "1 a b a:b c a:c b:c a:b:c");
  EXPECT_EQ(TermsOf("y ~ a*(b + c)"), "1 a b c a:b a:c");
}

TEST(FormulaTerms, ASlashNests) {
  EXPECT_EQ(TermsOf("y ~ a/b"), "1 a a:b");
  EXPECT_EQ(TermsOf("y ~ a/b/c"), "1 a a:b a:b:c");
  EXPECT_EQ(TermsOf("y ~ (a + b)/c"), "1 a b a:b:c");
  EXPECT_EQ(TermsOf("y ~ a/(b + c)"), "1 a a:b a:c");
  EXPECT_EQ(TermsOf("y ~ a/(b*c)"), "1 a a:b a:c a:b:c");
}

TEST(FormulaTerms, InNestsTheLeftInTheRight) {
  EXPECT_EQ(TermsOf("y ~ a + b %in% a"), "1 a a:b");
  EXPECT_EQ(TermsOf("y ~ c %in% (a + b)"), "1 a:b:c");
}

TEST(FormulaTerms, ADegreeCrossesUpToIt) {
  EXPECT_EQ(TermsOf("y ~ (a + b + c)^2"), "1 a b c a:b a:c b:c");
  EXPECT_EQ(TermsOf("y ~ (a + b + c)**3"), "1 a b c a:b a:c b:c a:b:c");
  EXPECT_EQ(TermsOf("y ~ (a + b)^1"), "1 a b");
  EXPECT_EQ(TermsOf("y ~ (a + b)^100"), "1 a b a:b");
}

TEST(FormulaTerms, CrossingATermWithItselfChangesNothing) {
  EXPECT_EQ(TermsOf("y ~ x:x"), "1 x");
  EXPECT_EQ(TermsOf("y ~ a*a"), "1 a");
  EXPECT_EQ(TermsOf("y ~ x^2"), "1 x");
  EXPECT_EQ(TermsOf("y ~ a/a"), "1 a");
  EXPECT_EQ(TermsOf("y ~ a:b:a"), "1 a:b");
}

TEST(FormulaTerms, DuplicatesStandOnceInTheirFirstPlace) {
  EXPECT_EQ(TermsOf("y ~ a + b + a"), "1 a b");
  EXPECT_EQ(TermsOf("y ~ a:b + c + b:a"), "1 a:b c");
  EXPECT_EQ(TermsOf("y ~ a:b + a/b"), "1 a:b a");
  EXPECT_EQ(TermsOf("y ~ b + a*b"), "1 b a a:b");
}

TEST(FormulaTerms, PowersAreAtomsOfTheirOwn) {
  EXPECT_EQ(TermsOf("y ~ x + I(x^2)"), "1 x I(x^2)");
  EXPECT_EQ(TermsOf("y ~ x:I(x^2)"), "1 x:I(x^2)");
  EXPECT_EQ(TermsOf("y ~ I(x**2) + I(x^2)"), "1 I(x^2)");
  EXPECT_EQ(TermsOf("y ~ a*I(x^3)"), "1 a I(x^3) a:I(x^3)");
  EXPECT_EQ(TermsOf("y ~ I(x^1) + x"), "1 x");
}

TEST(FormulaTerms, OperatorsBindAsInR) {
  EXPECT_EQ(TermsOf("y ~ a*b:c"), "1 a b:c a:b:c");
  EXPECT_EQ(TermsOf("y ~ a:b*c"), "1 a:b c a:b:c");
  EXPECT_EQ(TermsOf("y ~ a*b %in% c"), "1 a c:b a:c:b");
  EXPECT_EQ(TermsOf("y ~ a:(b + c)^2"), "1 a:b a:c a:b:c");
  EXPECT_EQ(TermsOf("y ~ a*b/c"), "1 a b a:b a:b:c");
  EXPECT_EQ(TermsOf("y ~ a/b*c"), "1 a a:b c a:c a:c:b");
}

TEST(FormulaTerms, TheInterceptGoesInAndOut) {
  EXPECT_EQ(TermsOf("y ~ 1"), "1");
  EXPECT_EQ(TermsOf("y ~ 1 + a"), "1 a");
  EXPECT_EQ(TermsOf("y ~ 0 + a"), "0 a");
  EXPECT_EQ(TermsOf("y ~ a + 0"), "0 a");
  EXPECT_EQ(TermsOf("y ~ a - 1"), "0 a");
  EXPECT_EQ(TermsOf("y ~ -1 + a"), "0 a");
  EXPECT_EQ(TermsOf("y ~ a + -1"), "0 a");
  EXPECT_EQ(TermsOf("y ~ a - 0"), "1 a");
  EXPECT_EQ(TermsOf("y ~ a - 1 + 1"), "1 a");
  EXPECT_EQ(TermsOf("y ~ (a - 1) + b"), "0 a b");
  EXPECT_EQ(TermsOf("y ~ a + b - (b + 1)"), "0 a");
}

TEST(FormulaTerms, AMinusTakesTermsOut) {
  EXPECT_EQ(TermsOf("y ~ a*b - a:b"), "1 a b");
  EXPECT_EQ(TermsOf("y ~ a*b*c - a:b:c"), "1 a b a:b c a:c b:c");
  EXPECT_EQ(TermsOf("y ~ a*b - b:a"), "1 a b");
  EXPECT_EQ(TermsOf("y ~ a*b - (a + b)"), "1 a:b");
  EXPECT_EQ(TermsOf("y ~ (a + b + c)^2 - a*b"), "1 c a:c b:c");
  EXPECT_EQ(TermsOf("y ~ a + b - a + a"), "1 b a");
  EXPECT_EQ(TermsOf("y ~ a - a"), "1");
  EXPECT_EQ(TermsOf("y ~ x + I(x^2) - x"), "1 I(x^2)");
}

TEST(FormulaTerms, OnlyUsedVariablesStayInTheOrderWritten) {
  const Formula formula = ParseFormula("y ~ a*b*c - b - a:b - b:c - a:b:c");
  ASSERT_EQ(formula.variables.size(), 2U);
  EXPECT_EQ(formula.variables[0].label, "a");
  EXPECT_EQ(formula.variables[1].label, "c");
  ASSERT_EQ(formula.terms.size(), 3U);
  EXPECT_EQ(formula.terms[2].parts[0].variable, 0);
  EXPECT_EQ(formula.terms[2].parts[1].variable, 1);
}

TEST(FormulaTerms, ATermKnowsItsPlace) {
  const Formula formula = ParseFormula("y ~ aa + b*log(x) + I(z^2)");
  ASSERT_EQ(formula.terms.size(), 5U);
  EXPECT_EQ(formula.terms[0].place, (Place{4, 6}));
  EXPECT_EQ(formula.terms[1].place, (Place{9, 10}));
  EXPECT_EQ(formula.terms[2].place, (Place{11, 17}));
  EXPECT_EQ(formula.terms[3].place, (Place{9, 17}));
  EXPECT_EQ(formula.terms[4].place, (Place{20, 26}));
}

TEST(FormulaTerms, LongSumsAndDeepParenthesesArePossible) {
  std::string sum = "y ~ x0";
  for (int i = 1; i < 10'000; ++i) sum += " + x" + std::to_string(i);
  EXPECT_EQ(ParseFormula(sum).terms.size(), 10'000U);
  const std::string deep = "y ~ " + std::string(200, '(') + "a" + std::string(200, ')');
  EXPECT_EQ(TermsOf(deep), "1 a");
}

TEST(FormulaTerms, TheTextIsKept) { EXPECT_EQ(ParseFormula(" y ~ a ").text, " y ~ a "); }

}  // namespace
}  // namespace qvhost
