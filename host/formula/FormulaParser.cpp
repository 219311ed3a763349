#include "host/formula/FormulaParser.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "host/Text.h"

namespace qvhost {
namespace {

constexpr std::string_view kOneTilde = "A formula has one '~'; take this one out.";

bool IsBinary(const Token& token) {
  constexpr std::array<std::string_view, 8> kSigns = {"+", "-", "*", "**", "/", "^", ":", "%in%"};
  return std::any_of(std::begin(kSigns), std::end(kSigns),
                     [&](std::string_view sign) { return token.Is(sign); });
}

}  // namespace

FormulaParser::FormulaParser(std::string_view text, ColumnLookup lookup)
    : text_(text), tokens_(text, std::move(lookup)), operands_(tokens_), algebra_(text) {}

Formula FormulaParser::Run() {
  Formula formula;
  formula.text = std::string(text_);
  response_ = Response();
  const std::size_t first = tokens_.Position();
  const TermSet terms = Sum();
  CheckAfterSum();
  formula.response = response_;
  formula.terms = terms.Terms();
  formula.intercept = !terms.Intercept() || terms.Intercept()->in;
  if (formula.terms.empty() && !formula.intercept) {
    throw tokens_.Error(tokens_.PlaceOf(first, tokens_.Position() - 1),
                        "The model has neither a term nor an intercept; add one of them.");
  }
  DropUnusedVariables(formula);
  return formula;
}

Variable FormulaParser::Response() {
  const Token& first = tokens_.Peek();
  if (first.kind == TokenKind::kEnd) {
    throw tokens_.Error(first.place, "The formula is empty; write one such as y ~ a + b.");
  }
  if (first.Is("~")) {
    throw tokens_.Error(first.place, "There is nothing before the '~'; name the column to model.");
  }
  constexpr std::string_view kOneVariable =
      "The response is one column or call; put arithmetic into I(...).";
  if (!operands_.AtVariable()) throw tokens_.Error(first.place, std::string(kOneVariable));
  Variable response = operands_.ReadResponse();
  if (tokens_.Accept("~")) return response;
  for (std::size_t i = tokens_.Position(); i < tokens_.Size(); ++i) {
    if (tokens_.At(i).Is("~")) {
      throw tokens_.Error(tokens_.Peek().place, std::string(kOneVariable));
    }
  }
  throw tokens_.Error(tokens_.Peek().place,
                      "The formula needs a '~' between the response and the terms, as in "
                      "y ~ a + b.");
}

TermSet FormulaParser::Sum() {
  TermSet sum;
  do {
    SumOperand(sum);
  } while (tokens_.Peek().Is("+") || tokens_.Peek().Is("-"));
  return sum;
}

void FormulaParser::SumOperand(TermSet& sum) {
  const Place sign = tokens_.Peek().place;
  // A sum may start with a sign, and "+ -1" is common.
  tokens_.Accept("+");
  const bool takeOut = tokens_.Accept("-");
  const std::size_t first = tokens_.Position();
  const TermSet operand = Product();
  if (!takeOut) return algebra_.Add(sum, operand, sign);
  algebra_.TakeOut(sum, operand, tokens_.PlaceOf(first, tokens_.Position() - 1));
}

TermSet FormulaParser::Product() {
  TermSet left = Within();
  for (;;) {
    const Place sign = tokens_.Peek().place;
    if (tokens_.Accept("*")) {
      left = algebra_.Star(left, Within(), sign);
    } else if (tokens_.Accept("/")) {
      left = algebra_.Nest(left, Within(), sign);
    } else {
      return left;
    }
  }
}

TermSet FormulaParser::Within() {
  TermSet left = Crossing();
  for (;;) {
    const Place sign = tokens_.Peek().place;
    if (!tokens_.Accept("%in%")) return left;
    left = algebra_.Within(left, Crossing(), sign);
  }
}

TermSet FormulaParser::Crossing() {
  TermSet left = Power();
  for (;;) {
    const Place sign = tokens_.Peek().place;
    if (!tokens_.Accept(":")) return left;
    left = algebra_.Cross(left, Power(), sign);
  }
}

TermSet FormulaParser::Power() {
  TermSet base = Primary();
  const Place sign = tokens_.Peek().place;
  if (!tokens_.Accept("^") && !tokens_.Accept("**")) return base;
  return algebra_.Power(base, Degree(sign), sign);
}

int FormulaParser::Degree(Place sign) {
  const Token& token = tokens_.Peek();
  const int degree = token.kind == TokenKind::kNumber ? WholeNumber(token.text).value_or(0) : 0;
  if (degree < 1 || degree > kMaxDegree) {
    throw tokens_.Error(token.kind == TokenKind::kEnd ? sign : token.place,
                        "The degree of a crossing is a whole number from 1 to " +
                            std::to_string(kMaxDegree) + "; powers of a column stand in I(x^2).");
  }
  tokens_.MoveTo(tokens_.Position() + 1);
  const Token& next = tokens_.Peek();
  if (next.Is("^") || next.Is("**")) {
    throw tokens_.Error(next.place, "One degree follows another; multiply them into one number.");
  }
  return degree;
}

TermSet FormulaParser::Primary() {
  if (tokens_.Peek().Is("(")) return Parenthesised();
  if (operands_.AtVariable()) return VariableTerm();
  if (tokens_.Peek().kind == TokenKind::kNumber) return InterceptTerm();
  RefuseAsOperand();
}

TermSet FormulaParser::Parenthesised() {
  tokens_.Accept("(");
  TermSet inside = Sum();
  if (!tokens_.Accept(")")) CheckAfterSum();
  return inside;
}

TermSet FormulaParser::VariableTerm() {
  const std::size_t first = tokens_.Position();
  Operand operand = operands_.ReadTerm();
  const Place place = tokens_.PlaceOf(first, tokens_.Position() - 1);
  return TermSet(Term{{{IndexOf(std::move(operand.variable)), operand.power}}, place});
}

TermSet FormulaParser::InterceptTerm() {
  const Token& token = tokens_.Peek();
  if (token.text != "0" && token.text != "1") {
    throw tokens_.Error(token.place,
                        "A number other than 1 and 0 is no term; put a column of this name in "
                        "back-quotes.");
  }
  tokens_.MoveTo(tokens_.Position() + 1);
  return TermSet(InterceptMark{token.text == "1", token.place});
}

int FormulaParser::IndexOf(Variable variable) {
  if (variable.sql == response_.sql) {
    throw tokens_.Error(variable.place, "'" + response_.label +
                                            "' is the response and cannot be a term too; take it "
                                            "out on this side.");
  }
  const auto next = static_cast<int>(variables_.size());
  const auto found = indices_.emplace(std::pair(variable.sql, variable.asFactor), next);
  if (found.second) variables_.push_back(std::move(variable));
  return found.first->second;
}

void FormulaParser::CheckAfterSum() const {
  const Token& token = tokens_.Peek();
  if (token.kind == TokenKind::kEnd) return;
  if (token.Is("~")) throw tokens_.Error(token.place, std::string(kOneTilde));
  if (token.kind == TokenKind::kOperator && !token.Is("(")) RefuseAsOperand();
  throw tokens_.Error(token.place, "An operator such as '+' is missing before " + Quoted(token) +
                                       "; a name with blanks stands in back-quotes.");
}

void FormulaParser::RefuseAsOperand() const {
  const Token& token = tokens_.Peek();
  if (token.Is("~")) throw tokens_.Error(token.place, std::string(kOneTilde));
  if (token.kind == TokenKind::kString) {
    throw tokens_.Error(token.place, "A text is no term; put a name in back-quotes, not quotes.");
  }
  if (IsBinary(token)) {
    throw tokens_.Error(token.place, Quoted(token) + " has no term before it; write one there.");
  }
  if (token.kind == TokenKind::kOperator && !token.Is(")")) {
    throw tokens_.Error(token.place, Quoted(token) +
                                         " has no meaning between terms; put an expression into "
                                         "I(...).");
  }
  // A closing parenthesis or the end: what stands before it wants something to follow.
  const Token& before = tokens_.At(tokens_.Position() - 1);
  if (before.Is("(")) {
    throw tokens_.Error(Span(before.place, token.place),
                        "There is nothing between these parentheses; name a column.");
  }
  if (before.Is("~")) {
    throw tokens_.Error(before.place,
                        "There is nothing after the '~'; write terms, or 1 for the intercept.");
  }
  throw tokens_.Error(before.place, Quoted(before) + " has no term after it; write one there.");
}

void FormulaParser::DropUnusedVariables(Formula& formula) const {
  std::vector<int> newIndex(variables_.size(), -1);
  for (const Term& term : formula.terms) {
    for (const TermPart& part : term.parts) newIndex[static_cast<std::size_t>(part.variable)] = 0;
  }
  for (std::size_t i = 0; i < variables_.size(); ++i) {
    if (newIndex[i] < 0) continue;
    newIndex[i] = static_cast<int>(formula.variables.size());
    formula.variables.push_back(variables_[i]);
  }
  for (Term& term : formula.terms) {
    for (TermPart& part : term.parts) {
      part.variable = newIndex[static_cast<std::size_t>(part.variable)];
    }
  }
}

}  // namespace qvhost
