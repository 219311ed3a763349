// Formulas of a megabyte: read as any other, or refused in a sentence. None takes the stack that
// its length would ask for.

#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "tests/host/formula/FormulaText.h"

namespace qvhost {
namespace {

constexpr std::size_t kLength = 1000000;

/// The piece as often as fits, each with the separator before the next one.
std::string Repeated(const std::string& piece, const std::string& separator = "") {
  std::string text = piece;
  while (text.size() + separator.size() + piece.size() <= kLength) text += separator + piece;
  return text;
}

/// The sentence of an error, without the excerpt of the formula.
std::string SentenceOf(const std::string& formula) {
  const std::string message = ErrorOf(formula);
  return message.substr(0, message.find('\n'));
}

TEST(LongFormula, SumOfOneTerm) { EXPECT_EQ(TermsOf("y ~ " + Repeated("a", " + ")), "1 a"); }

TEST(LongFormula, SumOfManyTerms) {
  std::string formula = "y ~ x0";
  for (std::size_t i = 1; formula.size() < kLength; ++i) formula += "+x" + std::to_string(i);
  EXPECT_EQ(SentenceOf(formula),
            "The formula expands too far (at most 10000 terms); cross fewer of them.");
}

TEST(LongFormula, CrossingsOfTwoTerms) {
  EXPECT_EQ(TermsOf("y ~ " + Repeated("a*b", "*")), "1 a b a:b");
  EXPECT_EQ(TermsOf("y ~ " + Repeated("a", ":")), "1 a");
  EXPECT_EQ(TermsOf("y ~ " + Repeated("a", "/")), "1 a");
}

TEST(LongFormula, ManyTermsLess) { EXPECT_EQ(TermsOf("y ~ a" + Repeated(" - 1")), "0 a"); }

TEST(LongFormula, DeepParentheses) {
  const std::string sentence =
      "More than 200 parentheses stand inside each other; write it flatter.";
  EXPECT_EQ(SentenceOf("y ~ " + Repeated("(")), sentence);
  EXPECT_EQ(SentenceOf("y ~ " + Repeated("(") + "a" + Repeated(")")), sentence);
  EXPECT_EQ(SentenceOf("y ~ " + Repeated("I(") + "a" + Repeated(")")), sentence);
}

TEST(LongFormula, DeepExpressions) {
  const std::string sentence =
      "More than 200 operators and calls stand inside each other; compute a part of this in --sql.";
  EXPECT_EQ(SentenceOf("y ~ I(" + Repeated("a", "+") + ")"), sentence);
  EXPECT_EQ(SentenceOf("y ~ I(" + Repeated("a", "^") + ")"), sentence);
  EXPECT_EQ(SentenceOf("y ~ I(" + Repeated("-") + "a)"), sentence);
  EXPECT_EQ(SentenceOf("y ~ I(" + Repeated("not ") + "a)"), sentence);
}

TEST(LongFormula, OneName) {
  const std::string name = Repeated("z");
  EXPECT_EQ(TermsOf("y ~ " + name), "1 " + name);
  EXPECT_EQ(Only("`" + name + "`").columns.at(0).name, name);
}

TEST(LongFormula, OneNumber) {
  EXPECT_EQ(SentenceOf("y ~ I(a + " + Repeated("1") + ")"),
            "This number is too large or too small; write one within 1e±308.");
}

TEST(LongFormula, NoTilde) {
  EXPECT_EQ(SentenceOf(Repeated("y", "+")),
            "The formula needs a '~' between the response and the terms, as in y ~ a + b.");
}

}  // namespace
}  // namespace qvhost
