#include "host/formula/TermHierarchy.h"

#include <gtest/gtest.h>

#include "host/formula/Formula.h"

namespace qvhost {
namespace {

/// The relations of the first two terms of a formula: whether the first contains the second, and
/// whether it has more factors. `a`, `b` and `c` are factors.
struct Relations {
  bool contains;
  bool hasMoreFactors;
};

Relations Of(const char* terms) {
  const Formula formula = ParseFormula(std::string("y ~ ") + terms);
  std::vector<bool> isFactor;
  for (const Variable& variable : formula.variables) isFactor.push_back(variable.label < "d");
  const Term& larger = formula.terms.at(0);
  const Term& smaller = formula.terms.at(1);
  return {Contains(larger, smaller), HasMoreFactors(larger, smaller, isFactor)};
}

TEST(TermHierarchy, ACrossingContainsItsFactors) {
  for (const char* terms : {"a:b + a", "a:b + b", "a:b:c + a:c", "b %in% a + a", "a:b:x + b:x"}) {
    EXPECT_TRUE(Of(terms).contains) << terms;
    EXPECT_TRUE(Of(terms).hasMoreFactors) << terms;
  }
}

TEST(TermHierarchy, ATermWithACovariateContainsItsFactorsButHasNoMore) {
  for (const char* terms : {"a:x + a", "I(x^2) + x", "a:I(x^3) + a:x", "x:z + z", "a:b:x + a"}) {
    EXPECT_TRUE(Of(terms).contains) << terms;
    EXPECT_FALSE(Of(terms).hasMoreFactors) << terms;
  }
  EXPECT_TRUE(Of("a:x + x").hasMoreFactors);
}

TEST(TermHierarchy, OthersDoNot) {
  for (const char* terms :
       {"a + a:b", "a + b", "x + I(x^2)", "a:b + c", "a:x + I(x^2)", "x:I(x^2) + I(x^3)"}) {
    EXPECT_FALSE(Of(terms).contains) << terms;
    EXPECT_FALSE(Of(terms).hasMoreFactors) << terms;
  }
}

TEST(TermHierarchy, PowersOfOneVariableAddUp) {
  EXPECT_TRUE(Of("x:I(x^2) + I(x^2)").contains);
  EXPECT_FALSE(Of("x:I(x^2) + I(x^4)").contains);
}

}  // namespace
}  // namespace qvhost
