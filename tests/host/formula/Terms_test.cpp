// Nesting: what a caller adds to an effect, and in which order.
#include "host/formula/Terms.h"

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "host/formula/Formula.h"

namespace qvhost {
namespace {

/// The factor steps of the last term: "a b >c" is a, b, then c nested. Variables whose name starts
/// with x are covariates.
std::string LastSteps(std::string_view text) {
  const Formula formula = ParseFormula(text);
  std::vector<bool> isFactor;
  for (const Variable& variable : formula.variables) isFactor.push_back(variable.label[0] != 'x');
  std::string line;
  for (const FactorStep& step : FactorSteps(formula.terms.back(), isFactor)) {
    if (!line.empty()) line += ' ';
    if (step.nested) line += '>';
    line += formula.variables[static_cast<std::size_t>(step.variable)].label;
  }
  for (const CovariateStep& step : CovariateSteps(formula.terms.back(), isFactor)) {
    line += " | " + formula.variables[static_cast<std::size_t>(step.variable)].label + "^" +
            std::to_string(step.multiplicity);
  }
  return line;
}

TEST(Term, CrossedFactorsAreNotNested) {
  EXPECT_EQ(LastSteps("y ~ a"), "a");
  EXPECT_EQ(LastSteps("y ~ a:b"), "a b");
  EXPECT_EQ(LastSteps("y ~ a*b*c"), "a b c");
  EXPECT_EQ(LastSteps("y ~ (a + b)^2"), "a b");
}

TEST(Term, EachSlashStartsALevel) {
  EXPECT_EQ(LastSteps("y ~ a/b"), "a >b");
  EXPECT_EQ(LastSteps("y ~ a/b/c"), "a >b >c");
  EXPECT_EQ(LastSteps("y ~ a/(b/c)"), "a >b >c");
  EXPECT_EQ(LastSteps("y ~ b %in% a"), "a >b");
}

TEST(Term, CrossedFactorsShareALevel) {
  EXPECT_EQ(LastSteps("y ~ (a + b)/c"), "a b >c");
  EXPECT_EQ(LastSteps("y ~ (a*b)/c"), "a b >c");
  EXPECT_EQ(LastSteps("y ~ a/(b:c)"), "a >b c");
  EXPECT_EQ(LastSteps("y ~ (a/b):(c/d)"), "a c >b d");
  EXPECT_EQ(LastSteps("y ~ (a/b)*c"), "a c >b");
}

TEST(Term, AFactorNestedInItselfStaysOutside) {
  EXPECT_EQ(LastSteps("y ~ a/(a:b)"), "a >b");
  EXPECT_EQ(LastSteps("y ~ b:(a/b - a)"), "a >b");
}

TEST(Term, DepthsHaveNoGap) {
  const Formula formula = ParseFormula("y ~ a/(a/b)");
  const Term& term = formula.terms.back();
  ASSERT_EQ(term.parts.size(), 2U);
  EXPECT_EQ(term.parts[0].depth, 0);
  EXPECT_EQ(term.parts[1].depth, 1);
}

TEST(Term, TheFirstWayOfWritingATermCounts) {
  const Formula crossedFirst = ParseFormula("y ~ a:b + a/b");
  EXPECT_EQ(crossedFirst.terms[0].parts[1].depth, 0);
  const Formula nestedFirst = ParseFormula("y ~ a/b + a:b");
  EXPECT_EQ(nestedFirst.terms[1].parts[1].depth, 1);
}

TEST(Term, CovariatesDoNotCountAsLevels) {
  EXPECT_EQ(LastSteps("y ~ a/x"), "a | x^1");
  EXPECT_EQ(LastSteps("y ~ x/a"), "a | x^1");
  EXPECT_EQ(LastSteps("y ~ a/(x:b)"), "a >b | x^1");
  EXPECT_EQ(LastSteps("y ~ a/x/b"), "a >b | x^1");
}

TEST(Term, PowersOfACovariateAddUp) {
  EXPECT_EQ(LastSteps("y ~ I(x^2)"), " | x^2");
  EXPECT_EQ(LastSteps("y ~ x:I(x^2)"), " | x^3");
  EXPECT_EQ(LastSteps("y ~ x1:x2:I(x1^2):a"), "a | x1^3 | x2^1");
}

}  // namespace
}  // namespace qvhost
