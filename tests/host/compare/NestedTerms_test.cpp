#include "host/compare/NestedTerms.h"

#include <gtest/gtest.h>

namespace qvhost {
namespace {

SavedTerm Term(std::set<std::string> factors, std::map<std::string, int> covariates = {}) {
  return {std::move(factors), std::move(covariates)};
}

SavedFit FitOf(const std::vector<SavedTerm>& terms) {
  SavedFit fit;
  for (const SavedTerm& term : terms) {
    SavedParameter parameter;
    parameter.factors = term.factors;
    parameter.covariates = term.covariates;
    fit.parameters.push_back(parameter);
  }
  return fit;
}

TEST(NestedTerms, AFactorSpansWhatItsLevelsAddUpTo) {
  EXPECT_TRUE(Spans(Term({"a"}), Term({})));
  EXPECT_TRUE(Spans(Term({"a", "b"}), Term({"a"})));
  EXPECT_TRUE(Spans(Term({"a"}, {{"x", 1}}), Term({}, {{"x", 1}})));
  EXPECT_FALSE(Spans(Term({"a"}), Term({"b"})));
  EXPECT_FALSE(Spans(Term({"a"}), Term({"a", "b"})));
}

TEST(NestedTerms, CovariatesMustBeTheSameInTheSamePower) {
  EXPECT_FALSE(Spans(Term({}, {{"x", 2}}), Term({}, {{"x", 1}})));
  EXPECT_FALSE(Spans(Term({}, {{"x", 1}, {"z", 1}}), Term({}, {{"x", 1}})));
  EXPECT_FALSE(Spans(Term({"a"}, {{"x", 1}}), Term({"a"})));
}

TEST(NestedTerms, AFactorOfACovariatesValuesSpansItsPowers) {
  EXPECT_TRUE(Spans(Term({"x"}), Term({}, {{"x", 3}})));
  EXPECT_TRUE(Spans(Term({"x", "a"}, {{"z", 1}}), Term({"a"}, {{"x", 1}, {"z", 1}})));
  EXPECT_FALSE(Spans(Term({"x"}, {{"z", 1}}), Term({}, {{"x", 1}})));
}

TEST(NestedTerms, AreThoseOfTheFirstCategoryEachOnce) {
  SavedFit fit = FitOf({Term({}), Term({"a"}), Term({"a"}), Term({}, {{"x", 1}})});
  fit.parameters.back().category = "other";
  EXPECT_EQ(TermsOf(fit), (std::vector<SavedTerm>{Term({}), Term({"a"})}));
}

TEST(NestedTerms, AreNamedAsFormulasWriteThem) {
  const SavedFit none = FitOf({Term({})});
  EXPECT_EQ(TermBeyond(FitOf({Term({"a", "b"}, {{"x", 1}, {"z", 2}})}), none), "a:b:x:I(z^2)");
  EXPECT_EQ(TermBeyond(FitOf({Term({}, {{"x", 1}})}), none), "x");
}

TEST(NestedTerms, NameTheTermThatIsBeyond) {
  const SavedFit small = FitOf({Term({}), Term({"a"}), Term({}, {{"x", 2}})});
  EXPECT_EQ(TermBeyond(small, FitOf({Term({"a", "b"}), Term({}, {{"x", 2}})})), std::nullopt);
  EXPECT_EQ(TermBeyond(small, FitOf({Term({}), Term({"a"}), Term({}, {{"x", 1}})})), "I(x^2)");
  EXPECT_EQ(TermBeyond(small, FitOf({Term({}, {{"x", 2}})})), "intercept");
}

}  // namespace
}  // namespace qvhost
