#include "host/formula/FormulaParser.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "host/Text.h"

namespace qvhost {
namespace {

constexpr std::size_t kMostTermsShown = 20;
constexpr std::string_view kOneTilde = "A formula has one '~'; take this one out.";

bool IsBinary(const Token& token) {
  constexpr std::array<std::string_view, 8> kSigns = {"+", "-", "*", "**", "/", "^", ":", "%in%"};
  return std::any_of(std::begin(kSigns), std::end(kSigns),
                     [&](std::string_view sign) { return token.Is(sign); });
}

}  // namespace

FormulaParser::FormulaParser(std::string_view text, ColumnLookup lookup,
                             std::optional<DotColumns> dot)
    : text_(text),
      tokens_(text, std::move(lookup)),
      operands_(tokens_),
      algebra_(text),
      dot_(std::move(dot)) {}

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
  formula.variables = std::move(variables_);
  RemoveUnusedVariables(formula);
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
  if (response.base) {
    throw tokens_.Error(response.place,
                        "The level that a dependent's others are compared with is named by "
                        "--reference; write C(x) alone here.");
  }
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
  const bool before = std::exchange(takesOut_, takeOut || takesOut_);
  const TermSet operand = Product();
  takesOut_ = before;
  if (!takeOut) return algebra_.Add(sum, operand, sign);
  TakeOut(sum, operand, tokens_.PlaceOf(first, tokens_.Position() - 1));
}

void FormulaParser::TakeOut(TermSet& sum, const TermSet& operand, Place place) const {
  if (TermAlgebra::TakeOut(sum, operand) > 0 || operand.Terms().empty()) return;
  if (std::ranges::all_of(operand.Terms(), [this](const Term& t) { return IsApart(t); })) return;
  const std::vector<Term>& terms = sum.Terms();
  std::string list;
  for (std::size_t i = 0; i < std::min(terms.size(), kMostTermsShown); ++i) {
    list += (i == 0 ? "" : ", ") + TermLabel(variables_, terms[i]);
  }
  if (terms.size() > kMostTermsShown) list += ", …";
  throw tokens_.Error(place,
                      "No such term stands before this, so it cannot be taken out; " +
                          (list.empty() ? "check its name." : "before it are " + list + "."));
}

bool FormulaParser::IsApart(const Term& term) const {
  if (!usesDot_ || term.parts.size() != 1) return false;
  const Variable& variable = variables_[static_cast<std::size_t>(term.parts.front().variable)];
  if (variable.form != Variable::Form::kColumn) return false;
  const std::string& name = variable.columns.front().found.name;
  return IsOfResponse(name) || std::ranges::find(dot_->apart, name) != dot_->apart.end();
}

bool FormulaParser::IsOfResponse(const std::string& column) const {
  return std::ranges::any_of(response_.columns,
                             [&](const ColumnUse& use) { return use.found.name == column; });
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
  const int degree = Degree(sign);
  NotePower(base, degree);
  return algebra_.Power(base, degree, sign);
}

void FormulaParser::NotePower(const TermSet& base, int degree) {
  if (degree == 1 || base.Terms().size() != 1 || base.Terms().front().parts.size() != 1) return;
  const TermPart& part = base.Terms().front().parts.front();
  Variable& variable = variables_[static_cast<std::size_t>(part.variable)];
  const ValueKind kind = variable.columns.front().found.kind;
  const bool isColumn = variable.form == Variable::Form::kColumn;
  if (variable.asFactor || part.power > 1 || (isColumn && kind == ValueKind::kText)) return;
  const std::string name = isColumn ? WrittenName(variable.columns.front().name) : variable.label;
  variable.notes.push_back("Among terms " + name + "^" + std::to_string(degree) + " is " + name +
                           " crossed with itself, which is " + name + " alone; its power is I(" +
                           name + "^" + std::to_string(degree) + ").");
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
  const Token& token = tokens_.Peek();
  if (token.Is("(")) return Parenthesised();
  if (token.kind == TokenKind::kName && token.text == "." && dot_) return DotTerm();
  if (operands_.AtPolynomial()) return PolynomialTerm();
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

TermSet FormulaParser::PolynomialTerm() {
  const std::size_t first = tokens_.Position();
  Polynomial polynomial = operands_.ReadPolynomial();
  const Place place = tokens_.PlaceOf(first, tokens_.Position() - 1);
  const int index = IndexOf(std::move(polynomial.variable));
  TermSet powers;
  for (int power = 1; power <= polynomial.degree; ++power) {
    powers.Put(Term{{{index, power}}, place});
  }
  return powers;
}

TermSet FormulaParser::DotTerm() {
  const Place place = tokens_.Peek().place;
  tokens_.MoveTo(tokens_.Position() + 1);
  usesDot_ = true;
  TermSet terms;
  for (const FoundColumn& column : dot_->columns) {
    if (IsOfResponse(column.name)) continue;
    Variable variable;
    variable.label = column.name;
    variable.sql = QuoteName(column.name);
    variable.columns = {{column.name, place, column}};
    variable.expression = WrittenName(column);
    variable.isOfDot = true;
    variable.place = place;
    algebra_.Add(terms, TermSet(Term{{{IndexOf(std::move(variable)), 1}}, place}), place);
  }
  if (terms.Terms().empty()) {
    throw tokens_.Error(place, "There is no other column for '.' to stand for; name a column.");
  }
  return terms;
}

TermSet FormulaParser::InterceptTerm() {
  const Token& token = tokens_.Peek();
  if (token.text != "0" && token.text != "1") {
    throw tokens_.Error(token.place,
                        "A number other than 1 and 0 is no term; put arithmetic into I(...), a "
                        "column of this name into back-quotes.");
  }
  tokens_.MoveTo(tokens_.Position() + 1);
  return TermSet(InterceptMark{token.text == "1", token.place});
}

int FormulaParser::IndexOf(Variable variable) {
  if (variable.sql == response_.sql && !(takesOut_ && usesDot_)) {
    throw tokens_.Error(variable.place, "'" + response_.label +
                                            "' is the response and cannot be a term too; take it "
                                            "out on this side.");
  }
  const auto next = static_cast<int>(variables_.size());
  const auto [found, isNew] =
      indices_.emplace(std::tuple(variable.sql, variable.asFactor, variable.standardizing), next);
  if (isNew) {
    variables_.push_back(std::move(variable));
  } else {
    Merge(variables_[static_cast<std::size_t>(found->second)], variable);
  }
  return found->second;
}

void FormulaParser::Merge(Variable& known, Variable& again) const {
  if (known.base && again.base && known.base != again.base) {
    throw tokens_.Error(again.place, "The levels of '" + known.label + "' are compared with '" +
                                         *known.base + "' before this; name one of the two.");
  }
  if (!known.base) known.base = std::move(again.base);
  if (!takesOut_) known.isOfDot = known.isOfDot && again.isOfDot;
  for (std::string& note : again.notes) known.notes.push_back(std::move(note));
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
  if (token.Is("|") || token.Is("||")) {
    const Token& group = tokens_.At(tokens_.Position() + 1);
    const std::string name = group.IsColumnLike() ? LabelOf(group) : "g";
    throw tokens_.Error(token.place, "Random effects are not fitted; in place of this write C(" +
                                         name + "), an effect of each group.");
  }
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

}  // namespace qvhost
