// Every error of a formula: its words and the place of its caret.
#include <string>

#include <gtest/gtest.h>

#include "tests/host/formula/FormulaText.h"

namespace qvhost {
namespace {

TEST(FormulaErrors, NothingToRead) {
  const std::string sentence = "The formula is empty; write one such as y ~ a + b.";
  ExpectError("", "^", sentence);
  ExpectError("   ", "   ^", sentence);
}

TEST(FormulaErrors, AMissingTilde) {
  const std::string sentence =
      "The formula needs a '~' between the response and the terms, as in y ~ a + b.";
  ExpectError("y", " ^", sentence);
  ExpectError("y a + b",  //
              "  ^", sentence);
  ExpectError("a + b",  //
              "  ^", sentence);
}

TEST(FormulaErrors, TwoTildes) {
  const std::string sentence = "A formula has one '~'; take this one out.";
  ExpectError("y ~ a ~ b",  //
              "      ^", sentence);
  ExpectError("y ~ ~ b",  //
              "    ^", sentence);
  ExpectError("y ~ a + ~ b",  //
              "        ^", sentence);
}

TEST(FormulaErrors, AnEmptySide) {
  ExpectError("~ a", "^", "There is nothing before the '~'; name the column to model.");
  ExpectError("y ~",  //
              "  ^", "There is nothing after the '~'; write terms, or 1 for the intercept.");
  ExpectError("y ~  ",  //
              "  ^", "There is nothing after the '~'; write terms, or 1 for the intercept.");
}

TEST(FormulaErrors, AResponseThatIsNoVariable) {
  const std::string sentence = "The response is one column or call; put arithmetic into I(...).";
  ExpectError("y + z ~ a",  //
              "  ^", sentence);
  ExpectError("(y) ~ a", "^", sentence);
  ExpectError("1 ~ a", "^", sentence);
  ExpectError("-y ~ a", "^", sentence);
  ExpectError("y z ~ a",  //
              "  ^", sentence);
}

TEST(FormulaErrors, TheResponseAsATerm) {
  const std::string sentence =
      "'y' is the response and cannot be a term too; take it out on this side.";
  ExpectError("y ~ a + y",  //
              "        ^", sentence);
  ExpectError("y ~ a*`y`",  //
              "      ^", sentence);
  ExpectError("y ~ I(y^2)",  //
              "      ^", sentence);
  ExpectError("y ~ C(y)",  //
              "    ^", sentence);
  ExpectError("log(y) ~ a + log( y )",  //
              "             ^",
              "'log(y)' is the response and cannot be a term too; take it out on this side.");
}

TEST(FormulaErrors, AnOperatorWithoutAnOperand) {
  ExpectError("y ~ a +",  //
              "      ^", "'+' has no term after it; write one there.");
  ExpectError("y ~ a - ",  //
              "      ^", "'-' has no term after it; write one there.");
  ExpectError("y ~ a %in%",  //
              "      ^", "'%in%' has no term after it; write one there.");
  ExpectError("y ~ (a:) + b",  //
              "      ^", "':' has no term after it; write one there.");
  ExpectError("y ~ * a",  //
              "    ^", "'*' has no term before it; write one there.");
  ExpectError("y ~ a + / b",  //
              "        ^", "'/' has no term before it; write one there.");
  ExpectError("y ~ a + + b",  //
              "        ^", "'+' has no term before it; write one there.");
  ExpectError("y ~ a - - b",  //
              "        ^", "'-' has no term before it; write one there.");
  ExpectError("y ~ (^2)",  //
              "     ^", "'^' has no term before it; write one there.");
}

TEST(FormulaErrors, AMissingOperator) {
  ExpectError("y ~ a b",  //
              "      ^",
              "An operator such as '+' is missing before 'b'; a name with blanks stands in "
              "back-quotes.");
  ExpectError("y ~ (a 1) + b",  //
              "       ^",
              "An operator such as '+' is missing before '1'; a name with blanks stands in "
              "back-quotes.");
  ExpectError("y ~ (a)(b)",  //
              "       ^",
              "An operator such as '+' is missing before '('; a name with blanks stands in "
              "back-quotes.");
}

TEST(FormulaErrors, SignsThatOnlyExpressionsHave) {
  ExpectError("y ~ a < b",  //
              "      ^", "'<' has no meaning between terms; put an expression into I(...).");
  ExpectError("y ~ a + , b",  //
              "        ^", "',' has no meaning between terms; put an expression into I(...).");
  ExpectError("y ~ a::b",  //
              "     ^", "'::' has no meaning between terms; put an expression into I(...).");
}

TEST(FormulaErrors, Parentheses) {
  ExpectError("y ~ (a + b",  //
              "    ^", "This '(' is not closed; add the ')'.");
  ExpectError("y ~ a + log(b + (c)",  //
              "           ^", "This '(' is not closed; add the ')'.");
  ExpectError("y ~ a + b)",  //
              "         ^", "This ')' closes nothing; take it out.");
  ExpectError("log(y ~ x",  //
              "   ^", "This '(' is not closed before the '~'; add the ')'.");
  const std::string nothing = "There is nothing between these parentheses; name a column.";
  ExpectError("y ~ a + ()",  //
              "        ^", nothing);
  ExpectError("y ~ I()",  //
              "     ^", nothing);
  ExpectError("y ~ C( )",  //
              "     ^", nothing);
  ExpectError("y ~ I(()^2)",  //
              "      ^", nothing);
}

TEST(FormulaErrors, ParenthesesNestedTooDeeply) {
  const std::string sentence =
      "More than 200 parentheses stand inside each other; write it flatter.\n";
  const std::string crossing = "y ~ " + std::string(201, '(') + "a" + std::string(201, ')');
  EXPECT_EQ(ErrorOf(crossing).rfind(sentence, 0), 0U) << ErrorOf(crossing);
  const std::string call = "y ~ f" + std::string(100'000, '(') + "a";
  EXPECT_EQ(ErrorOf(call).rfind(sentence, 0), 0U);
}

TEST(FormulaErrors, Degrees) {
  const std::string sentence =
      "The degree of a crossing is a whole number from 1 to 100; powers of a column stand in "
      "I(x^2).";
  ExpectError("y ~ (a + b)^1.5",  //
              "            ^", sentence);
  ExpectError("y ~ (a + b)^x",  //
              "            ^", sentence);
  ExpectError("y ~ (a + b)^0",  //
              "            ^", sentence);
  ExpectError("y ~ (a + b)^-1",  //
              "            ^", sentence);
  ExpectError("y ~ (a + b)^101",  //
              "            ^", sentence);
  ExpectError("y ~ (a + b)**99999999999999999999",  //
              "             ^", sentence);
  ExpectError("y ~ (a + b)^",  //
              "           ^", sentence);
  ExpectError("y ~ (a + b)^2^2",  //
              "             ^", "One degree follows another; multiply them into one number.");
}

TEST(FormulaErrors, APowerThatIsTooHigh) {
  const std::string sentence = "A power is a whole number from 1 to 100; write a smaller one.";
  ExpectError("y ~ I(x^101)",  //
              "        ^", sentence);
  ExpectError("y ~ I(x^99999999999999999999)",  //
              "        ^", sentence);
}

TEST(FormulaErrors, TheInterceptInACrossing) {
  const std::string sentence =
      "1 and 0 stand for the intercept and cannot be crossed or nested; add or take them out with "
      "'+' and '-'.";
  ExpectError("y ~ a:1",  //
              "      ^", sentence);
  ExpectError("y ~ 0*a",  //
              "    ^", sentence);
  ExpectError("y ~ (a + 1)^2",  //
              "         ^", sentence);
  ExpectError("y ~ a/(b - 1)",  //
              "           ^", sentence);
  ExpectError("y ~ 1/a",  //
              "    ^", sentence);
  ExpectError("y ~ 1^2",  //
              "    ^", sentence);
}

TEST(FormulaErrors, OtherNumbers) {
  const std::string sentence =
      "A number other than 1 and 0 is no term; put arithmetic into I(...), a column of this name "
      "into back-quotes.";
  ExpectError("y ~ a + 2019",  //
              "        ^", sentence);
  ExpectError("y ~ 2*a",  //
              "    ^", sentence);
  ExpectError("y ~ 1.0",  //
              "    ^", sentence);
  ExpectError("y ~ a + 2nd",  //
              "        ^", "A name cannot start with a digit; put it in back-quotes: `2nd`.");
}

TEST(FormulaErrors, NeitherTermNorIntercept) {
  const std::string sentence = "The model has neither a term nor an intercept; add one of them.";
  ExpectError("y ~ 0",  //
              "    ^", sentence);
  ExpectError("y ~ -1",  //
              "    ^", sentence);
  ExpectError("y ~ a - a - 1",  //
              "    ^", sentence);
}

TEST(FormulaErrors, TakingOutWhatIsNotThere) {
  const std::string sentence = "No such term stands before this, so it cannot be taken out; ";
  ExpectError("y ~ a*b - a:c",  //
              "          ^", sentence + "before it are a, b, a:b.");
  ExpectError("y ~ -a + b",  //
              "     ^", sentence + "check its name.");
  ExpectError("y ~ a + (b - a)",  //
              "             ^", sentence + "before it are b.");
  std::string many = "y ~ x0";
  std::string list = "x0";
  for (int i = 1; i < 25; ++i) many += " + x" + std::to_string(i);
  for (int i = 1; i < 20; ++i) list += ", x" + std::to_string(i);
  const std::string message = ErrorOf(many + " - z");
  EXPECT_EQ(message.substr(0, message.find('\n')), sentence + "before it are " + list + ", ….");
}

TEST(FormulaErrors, QuotesAndTexts) {
  ExpectError("y ~ a + `b c",  //
              "        ^", "This back-quote is not closed; end the name with another one.");
  ExpectError("y ~ ```",  //
              "    ^", "This back-quote is not closed; end the name with another one.");
  ExpectError("y ~ ``",  //
              "    ^", "The name between these back-quotes is empty; write a column's name.");
  ExpectError("y ~ f(a, 'b)",  //
              "         ^", "This quote is not closed; end the text with another one.");
  ExpectError("y ~ 'a'",  //
              "    ^", "A text is no term; put a name in back-quotes, not quotes.");
  ExpectError("y ~ \"a b\"",  //
              "    ^",
              "A formula has no double quotes; write 'a b' for a text, `a b` for a column.");
  ExpectError("y ~ I(s == \"it's\")",  //
              "           ^", "A text stands in single quotes here; write s == 'it''s'.");
  ExpectError("y ~ a + \"b",  //
              "        ^",
              "A formula has no double quotes; put a name in back-quotes and a text in single "
              "quotes.");
  ExpectError("y ~ a + Q('')",  //
              "        ^", "The name between these quotes is empty; write a column's name.");
}

TEST(FormulaErrors, ACharacterThatLooksLikeAPlainOne) {
  const std::string end = ", or put a name that holds it in back-quotes.";
  const std::string start = " has no meaning in a formula; write ";
  ExpectError("y ∼ x",  //
              "  ^", "'∼' (U+223C)" + start + "~" + end);
  ExpectError("y ~ a – b",  //
              "      ^", "'–' (U+2013)" + start + "-" + end);
  ExpectError("y ~ a × b",  //
              "      ^", "'×' (U+00D7)" + start + "* (: for the crossing alone)" + end);
  ExpectError("y ~ “a”",  //
              "    ^", "'“' (U+201C)" + start + "' for a text and ` for a column" + end);
}

TEST(FormulaErrors, ACallAroundTheWholeFormula) {
  ExpectError("lm(y ~ a, data = d)",  //
              "^", "Write the formula alone, such as y ~ x, without lm(...) around it.");
  ExpectError("smf.ols(y ~ a)",  //
              "^", "Write the formula alone, such as y ~ x, without smf.ols(...) around it.");
  ExpectError("log(y ~ a",  //
              "   ^", "This '(' is not closed before the '~'; add the ')'.");
}

TEST(FormulaErrors, LevelsInACall) {
  ExpectError("y ~ factor(g, levels = c(8, 6))",  //
              "              ^",
              "The order of levels is named outside the formula: --levels FACTOR=LEVEL,..., such "
              "as --levels size=S,M,L.");
}

TEST(FormulaErrors, UnknownCharacters) {
  ExpectError("y ~ a $ b",  //
              "      ^",
              "'$' has no meaning in a formula; put a name that holds it in back-quotes.");
  ExpectError("größe ~ a − b",  //
              "          ^",
              "'−' (U+2212) has no meaning in a formula; write -, or put a name that holds it in "
              "back-quotes.");
  ExpectError("y ~ f(a; b)",  //
              "       ^",
              "';' has no meaning in a formula; put a name that holds it in back-quotes.");
  EXPECT_EQ(ErrorOf("y ~ a \x01"),
            Expected("U+0001 has no meaning in a formula; put a name that holds it in back-quotes.",
                     "y ~ a  ", 6));
  EXPECT_EQ(ErrorOf("y ~ a\xFF"),
            Expected("The formula is not valid UTF-8 here; retype the name.", "y ~ a?", 5));
  EXPECT_EQ(ErrorOf(std::string("y ~ `a\0b`", 9)),
            Expected("The formula holds a zero byte; take it out.", "y ~ `a b`", 6));
}

TEST(FormulaErrors, ADot) {
  const std::string sentence =
      "'.' stands for the other columns among the terms alone; name the columns here.";
  ExpectError("y ~ .",  //
              "    ^", sentence);
  ExpectError("y ~ a + log(.)",  //
              "            ^", sentence);
  ExpectError(". ~ a", "^", sentence);
}

TEST(FormulaErrors, Calls) {
  const std::string noColumn = "This names no column; a variable is computed from one at least.";
  ExpectError("y ~ a + pi()",  //
              "        ^", noColumn);
  ExpectError("y ~ I(1 + 2)",  //
              "      ^", noColumn);
  ExpectError("y ~ C(true)",  //
              "      ^", noColumn);
  ExpectError("y ~ log(C(x))",  //
              "        ^",
              "C() makes a factor of a whole variable; it cannot stand inside a call.");
  ExpectError("y ~ C(x, 2)",  //
              "         ^",
              "C() takes one column or expression; only C(x, Treatment('a')), with the level that "
              "the others are compared with, has more.");
  ExpectError("y ~ I(f(a, b), b)",  //
              "             ^",
              "I() takes one column or expression; take out what follows the comma.");
}

TEST(FormulaErrors, ACrossingThatExplodes) {
  const std::string sentence =
      "The formula expands too far (at most 10000 terms); cross fewer of them.";
  ExpectError("y ~ a*b*c*d*e*f*g*h*i*j*k*l*m*n",  //
              "                             ^", sentence);
  const std::string letters = "(a+b+c+d+e+f+g+h+i+j+k+l+m+n+o+p)";
  ExpectError("y ~ " + letters + "^100", std::string(4 + letters.size(), ' ') + "^", sentence);
  std::string sum = "y ~ x0";
  for (int i = 1; i <= 10'000; ++i) sum += " + x" + std::to_string(i);
  EXPECT_EQ(ErrorOf(sum).rfind(sentence + "\n", 0), 0U);
}

TEST(FormulaErrors, ACrossingThatTakesTooLong) {
  // Few terms, but the last is nested in thousands of variables.
  std::string sum = "(x0";
  for (int i = 1; i < 5'000; ++i) sum += "+x" + std::to_string(i);
  const std::string message = ErrorOf("y ~ " + sum + ")/b");
  EXPECT_EQ(
      message.rfind("The formula expands too far (at most 10000 terms); cross fewer of them.", 0),
      0U);
}

}  // namespace
}  // namespace qvhost
