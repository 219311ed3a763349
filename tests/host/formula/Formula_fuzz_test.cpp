// Random formulas: the parser answers each with a formula that holds together or with an error that
// has its place in the text.
#include <array>
#include <cstddef>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "host/Text.h"
#include "tests/host/formula/FormulaText.h"

namespace qvhost {
namespace {

constexpr unsigned kSeed = 20240229;

constexpr std::array<std::string_view, 64> kWords = {"a",
                                                     "b",
                                                     "c",
                                                     "d",
                                                     "x",
                                                     "größe",
                                                     "`q r`",
                                                     "``",
                                                     "`",
                                                     "y",
                                                     "~",
                                                     "~",
                                                     "+",
                                                     "+",
                                                     "-",
                                                     "*",
                                                     "*",
                                                     "/",
                                                     ":",
                                                     ":",
                                                     "^",
                                                     "**",
                                                     "%in%",
                                                     "(",
                                                     "(",
                                                     "(",
                                                     ")",
                                                     ")",
                                                     ")",
                                                     "I(",
                                                     "C(",
                                                     "log",
                                                     "log(x)",
                                                     "I(x^2)",
                                                     "C(d)",
                                                     "0",
                                                     "1",
                                                     "2",
                                                     "3.5",
                                                     "1e9",
                                                     "'s'",
                                                     "'",
                                                     ",",
                                                     "::",
                                                     "as",
                                                     "and",
                                                     "INT",
                                                     ".",
                                                     "$",
                                                     "\xFF",
                                                     "−",
                                                     "[",
                                                     "]",
                                                     "<=",
                                                     "Q('q r')",
                                                     "\"q\"",
                                                     "poly(",
                                                     "scale(",
                                                     "relevel(",
                                                     "Treatment(",
                                                     "C(d, Treatment('a'))",
                                                     "- .",
                                                     "w",
                                                     "poly(x, 2)"};

class Soup {
 public:
  std::string Next() {
    std::string text = Pick(4) == 0 ? "" : "y ~ ";
    const std::size_t count = Pick(25);
    for (std::size_t i = 0; i < count; ++i) {
      text += kWords[Pick(kWords.size())];
      if (Pick(2) == 0) text += ' ';
    }
    return text;
  }

  /// A formula that is mostly in order: operands and operators by turns.
  std::string NextSensible() {
    std::string text = "y ~ " + Operand(4);
    const std::size_t count = Pick(5);
    for (std::size_t i = 0; i < count; ++i) text += Operator() + Operand(3);
    return text;
  }

  std::string NextBytes() {
    std::string text;
    const std::size_t count = Pick(40);
    for (std::size_t i = 0; i < count; ++i) text += static_cast<char>(Pick(256));
    return text;
  }

 private:
  std::size_t Pick(std::size_t count) {
    return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_);
  }

  std::string Operator() {
    constexpr std::array<std::string_view, 6> kOperators = {"+", "*", ":", "/", "%in%", " + "};
    return std::string(kOperators[Pick(kOperators.size())]);
  }

  std::string Operand(int depth) {
    constexpr std::array<std::string_view, 8> kOperands = {"a",      "b",      "c",    "`q r`",
                                                           "log(x)", "I(x^2)", "C(d)", "I(a + b)"};
    if (depth == 0 || Pick(3) > 0) return std::string(kOperands[Pick(kOperands.size())]);
    std::string text = "(" + Operand(depth - 1) + Operator() + Operand(depth - 1) + ")";
    if (Pick(4) == 0) text += "^2";
    return text;
  }

  std::mt19937 random_{kSeed};
};

void CheckError(const std::string& text, const FormulaError& error) {
  EXPECT_LE(error.Where().begin, error.Where().end);
  EXPECT_LE(error.Where().end, text.size());
  const std::string message = error.what();
  const std::size_t first = message.find('\n');
  const std::size_t second = message.find('\n', first + 1);
  ASSERT_NE(first, std::string::npos);
  ASSERT_NE(second, std::string::npos);
  const std::string formula = message.substr(first + 1, second - first - 1);
  const std::string caret = message.substr(second + 1);
  EXPECT_EQ(caret.find_first_not_of(' '), caret.size() - 1) << message;
  EXPECT_EQ(caret.back(), '^') << message;
  std::size_t width = 0;
  for (std::size_t at = 0; at < formula.size(); ++width) at += DecodeUtf8(formula, at).length;
  EXPECT_LE(caret.size(), width + 1) << message;
}

void CheckTerm(const Formula& formula, const Term& term) {
  ASSERT_FALSE(term.parts.empty());
  std::set<std::pair<int, int>> atoms;
  int depth = 0;
  for (const TermPart& part : term.parts) {
    ASSERT_GE(part.variable, 0);
    ASSERT_LT(static_cast<std::size_t>(part.variable), formula.variables.size());
    EXPECT_GE(part.power, 1);
    EXPECT_TRUE(part.depth == depth || part.depth == depth + 1);
    depth = part.depth;
    EXPECT_TRUE(atoms.emplace(part.variable, part.power).second) << "an atom twice";
  }
  EXPECT_EQ(term.parts.front().depth, 0);
  EXPECT_LE(term.place.end, formula.text.size());
}

void CheckFormula(const Formula& formula) {
  EXPECT_TRUE(formula.intercept || !formula.terms.empty());
  for (const Term& term : formula.terms) CheckTerm(formula, term);
  for (const Variable& variable : formula.variables) {
    EXPECT_FALSE(variable.columns.empty());
    EXPECT_NE(variable.sql, formula.response.sql);
  }
}

/// The columns y, a, b and x, and the weight w.
DotColumns Dot() {
  DotColumns dot;
  for (const char* const name : {"y", "a", "b", "x"}) {
    dot.columns.push_back({name, QuoteName(name)});
  }
  dot.apart = {"w"};
  return dot;
}

/// Returns whether the text is a formula.
bool Check(const std::string& text) {
  SCOPED_TRACE(text);
  try {
    CheckFormula(ParseFormula(text, {}, Dot()));
    return true;
  } catch (const FormulaError& error) {
    CheckError(text, error);
    return false;
  }
}

/// The terms as sets of labels of atoms, in order.
std::vector<std::string> Labels(const Formula& formula) {
  std::vector<std::string> labels;
  for (const Term& term : formula.terms) labels.push_back(TermLabel(formula, term));
  return labels;
}

TEST(FormulaFuzz, TokenSoups) {
  Soup soup;
  int read = 0;
  int refused = 0;
  for (int i = 0; i < 30'000; ++i) ++(Check(soup.Next()) ? read : refused);
  EXPECT_GT(read, 100);
  EXPECT_GT(refused, 10'000);
}

TEST(FormulaFuzz, RandomBytes) {
  Soup soup;
  for (int i = 0; i < 20'000; ++i) Check(soup.NextBytes());
}

TEST(FormulaFuzz, SensibleFormulas) {
  Soup soup;
  for (int i = 0; i < 3'000; ++i) {
    const std::string text = soup.NextSensible();
    EXPECT_TRUE(Check(text)) << text;
  }
}

TEST(FormulaFuzz, CutFormulas) {
  Soup soup;
  for (int i = 0; i < 300; ++i) {
    const std::string text = soup.NextSensible();
    for (std::size_t length = 0; length < text.size(); ++length) Check(text.substr(0, length));
  }
}

// The sum of the terms of a formula, written out, is the same formula.
TEST(FormulaFuzz, WrittenOutTermsReadBack) {
  Soup soup;
  for (int i = 0; i < 2'000; ++i) {
    const std::string text = soup.NextSensible();
    if (text.find('`') != std::string::npos) continue;
    const std::vector<std::string> labels = Labels(ParseFormula(text));
    std::string sum = "y ~ 1";
    for (const std::string& label : labels) sum += " + " + label;
    EXPECT_EQ(Labels(ParseFormula(sum)), labels) << text;
  }
}

}  // namespace
}  // namespace qvhost
