// scale(), center() and poly(): what the formula understands of them, and what it notes.
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/formula/FormulaText.h"

namespace qvhost {
namespace {

void ExpectStandardized(std::string_view right, std::string_view label, std::string_view sql,
                        Standardizing standardizing) {
  const Variable variable = Only(right);
  EXPECT_EQ(variable.label, label) << right;
  EXPECT_EQ(variable.sql, sql) << right;
  EXPECT_EQ(variable.standardizing, standardizing) << right;
  EXPECT_EQ(variable.form, Variable::Form::kCall) << right;
}

TEST(FormulaStandardized, ScaleAndCenter) {
  ExpectStandardized("scale(x)", "scale(x)", "\"x\"", Standardizing::kScale);
  ExpectStandardized("center( x )", "center(x)", "\"x\"", Standardizing::kCentre);
  ExpectStandardized("centre(x)", "centre(x)", "\"x\"", Standardizing::kCentre);
  ExpectStandardized("scale(log(x+1))", "scale(log(x + 1))", "ln((\"x\" + 1))",
                     Standardizing::kScale);
  ExpectStandardized("I(scale(x))", "scale(x)", "\"x\"", Standardizing::kScale);
  EXPECT_EQ(Only("scale(x)").place, (Place{4, 12}));
  EXPECT_EQ(Only("x").standardizing, Standardizing::kNone);
  EXPECT_EQ(ParseFormula("scale(y) ~ x").response.standardizing, Standardizing::kScale);
}

TEST(FormulaStandardized, AreVariablesOfTheirOwn) {
  EXPECT_EQ(TermsOf("y ~ x + scale(x) + center(x) + scale( x )"), "1 x scale(x) center(x)");
  EXPECT_EQ(TermsOf("y ~ scale(x)*g"), "1 scale(x) g scale(x):g");
  EXPECT_EQ(TermsOf("y ~ I(scale(x)^2) + poly(scale(z), 2)"),
            "1 I(scale(x)^2) scale(z) I(scale(z)^2)");
}

TEST(FormulaStandardized, OneVariableIsStandardizedAsAWhole) {
  const auto inside = [](const std::string& name) {
    return name +
           "() depends on all records, so it stands among the terms or in a power of its "
           "own, as in I(" +
           name + "(x)^2); compute anything else in --sql.";
  };
  ExpectError("y ~ log(scale(x))",  //
              "        ^", inside("scale"));
  ExpectError("y ~ I(center(x) + 1)",  //
              "      ^", inside("center"));
  ExpectError("y ~ scale(center(x))",  //
              "          ^", inside("center"));
  ExpectError("y ~ C(scale(x))",  //
              "      ^", inside("scale"));
  ExpectError("y ~ scale(x, scale = FALSE)",  //
              "             ^",
              "scale() takes one column or expression; scale(x) subtracts the mean and divides, "
              "center(x) subtracts it alone.");
  ExpectError("y ~ scale()",  //
              "         ^", "There is nothing between these parentheses; name a column.");
  ExpectError("y ~ scale(x || 'a')",  //
              "          ^",
              "scale() takes a number here, but 'x || 'a'' is text; if it holds numbers, write "
              "cast(x || 'a' as double).");
}

TEST(FormulaPolynomial, IsTheSumOfItsPowers) {
  EXPECT_EQ(TermsOf("y ~ poly(x, 3)"), "1 x I(x^2) I(x^3)");
  EXPECT_EQ(TermsOf("y ~ poly(x, degree = 2)"), "1 x I(x^2)");
  EXPECT_EQ(TermsOf("y ~ poly(x, 1)"), "1 x");
  EXPECT_EQ(TermsOf("y ~ poly(log(x), 2)"), "1 log(x) I(log(x)^2)");
  EXPECT_EQ(TermsOf("y ~ poly(x + 1, 2)"), "1 I(x + 1) I((x + 1)^2)");
  EXPECT_EQ(TermsOf("y ~ poly(x, 2):g"), "1 x:g I(x^2):g");
  EXPECT_EQ(TermsOf("y ~ poly(x, 3) - I(x^3)"), "1 x I(x^2)");
  EXPECT_EQ(TermsOf("y ~ poly(x, 10) - poly(x, 9)"), "1 I(x^10)");
}

TEST(FormulaPolynomial, NotesThatItIsNotOrthogonal) {
  const std::vector<std::string> note = {
      "poly() stands for plain powers, x + I(x^2) and so on, not for R's orthogonal polynomials: "
      "estimates differ from R's, predictions do not."};
  EXPECT_EQ(Only("poly(x, 2)").notes, note);
  EXPECT_EQ(Only("poly(x, 2, raw = TRUE)").notes, std::vector<std::string>());
  EXPECT_EQ(Only("poly(x, 2, raw = T)").notes, std::vector<std::string>());
  EXPECT_EQ(Only("poly(x, 2, raw = FALSE)").notes, note);
  EXPECT_EQ(Only("poly(x, 2, raw = F)").notes, note);
  EXPECT_EQ(Only("poly(x, 1)").notes, std::vector<std::string>());
}

TEST(FormulaPolynomial, OtherDegreesAndArguments) {
  const std::string degree =
      "poly() takes a degree, a whole number from 1 to 10, as in poly(x, 2).";
  for (const std::string call : {"poly(x)", "poly(x, 0)", "poly(x, 11)", "poly(x, 1.5)",
                                 "poly(x, -1)", "poly(x, k)", "poly(x, 99999999999)"}) {
    ExpectError("y ~ " + call, "    ^", degree);
  }
  ExpectError("y ~ poly(x, z, 2)",  //
              "               ^", "poly() takes a column or expression and a degree: poly(x, 2).");
  for (const std::string value : {"1", "z", "'true'", "T + 1"}) {
    ExpectError("y ~ poly(x, 2, raw = " + value + ")",  //
                "               ^", "raw is TRUE or FALSE.");
  }
  ExpectError("y ~ log(poly(x, 2))",  //
              "        ^", "poly() makes several terms, so it stands among them: y ~ poly(x, 2).");
  ExpectError("poly(y, 2) ~ x", "^",
              "poly() makes several terms, so it stands among them: y ~ poly(x, 2).");
}

TEST(FormulaNotes, LogIsNatural) {
  const std::vector<std::string> note = {
      "log is the natural logarithm; log10 and log2 are those to base 10 and 2."};
  EXPECT_EQ(Only("log(x)").notes, note);
  EXPECT_EQ(Only("I(1 + LOG(x))").notes, note);
  EXPECT_EQ(Only("scale(log(x))").notes, note);
  EXPECT_EQ(Only("ln(x)").notes, std::vector<std::string>());
  EXPECT_EQ(Only("log10(x)").notes, std::vector<std::string>());
  EXPECT_EQ(Only("np.log(x)").notes, std::vector<std::string>());
  EXPECT_EQ(Only("ln(x) + log(x)").notes, note);
}

TEST(FormulaNotes, APowerOutsideOfI) {
  const std::vector<std::string> note = {
      "Among terms x^2 is x crossed with itself, which is x alone; its power is I(x^2)."};
  EXPECT_EQ(TermsOf("y ~ x**2"), "1 x");
  EXPECT_EQ(Only("x**2").notes, note);
  EXPECT_EQ(Only("x^2").notes, note);
  EXPECT_EQ(Only("x + x^2").notes, note);
  EXPECT_EQ(Only("`a b`^3").notes.at(0),
            "Among terms `a b`^3 is `a b` crossed with itself, which is `a b` alone; its power is "
            "I(`a b`^3).");
  EXPECT_EQ(Only("I(x**2)").notes, std::vector<std::string>());
  EXPECT_EQ(Only("x^1").notes, std::vector<std::string>());
  EXPECT_EQ(Only("C(x)^2").notes, std::vector<std::string>());
  EXPECT_EQ(ParseFormula("y ~ (a + b)^2").variables[0].notes, std::vector<std::string>());
}

}  // namespace
}  // namespace qvhost
