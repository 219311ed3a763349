#include "host/formula/OperandReader.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/Text.h"
#include "host/formula/TermFunction.h"
#include "host/formula/Tokenizer.h"

namespace qvhost {

Operand OperandReader::ReadTerm() { return Read(Powers::kSplit); }

Variable OperandReader::ReadResponse() { return Read(Powers::kKeep).variable; }

Variable OperandReader::ReadValues() {
  const TokenRange range{0, tokens_.Size() - 1};
  if (range.Size() == 0) {
    throw tokens_.Error(tokens_.At(0).place, "The expression is empty; name a column.");
  }
  tokens_.MoveTo(range.last);
  return Values(range);
}

Operand OperandReader::Read(Powers powers) {
  const std::size_t first = tokens_.Position();
  if (!tokens_.IsCall(first)) {
    const Token& token = tokens_.At(first);
    if (token.kind == TokenKind::kName && SameWord(token.text, "case") &&
        tokens_.At(first + 1).IsColumnLike()) {
      throw tokens_.Error(token.place, "A 'case' expression stands in I(...); put it there.");
    }
    tokens_.MoveTo(first + 1);
    return {Column(first)};
  }
  const std::size_t close = tokens_.CloseOf(first + 1);
  const TokenRange inside{first + 2, close};
  const std::string_view function = tokens_.At(first).text;
  tokens_.MoveTo(close + 1);
  if (function == "I") return Grouped(inside, powers);
  if (FindTermFunction(function) == TermFunction::kFactor) return {Factor(first)};
  return {Call({first, close + 1})};
}

bool OperandReader::AtPolynomial() const {
  return tokens_.IsCall(tokens_.Position()) &&
         FindTermFunction(tokens_.Peek().text) == TermFunction::kPolynomial;
}

Polynomial OperandReader::ReadPolynomial() {
  const std::size_t first = tokens_.Position();
  const std::size_t close = tokens_.CloseOf(first + 1);
  const std::vector<CallArgument> arguments = ArgumentsOf(tokens_, {first + 2, close});
  const TokenRange base{first + 2, arguments.front().value.last};
  std::optional<int> degree;
  bool isRaw = false;
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    const CallArgument& argument = arguments[i];
    if (argument.name == "raw") {
      isRaw = TruthOf(argument);
    } else if (!degree && (argument.name.empty() || argument.name == "degree")) {
      degree = WholeNumber(LiteralOf(tokens_, argument.value).value_or("")).value_or(0);
    } else {
      throw tokens_.Error(PlaceOf(tokens_, argument),
                          "poly() takes a column or expression and a degree: poly(x, 2).");
    }
  }
  const Place place = tokens_.PlaceOf(first, close);
  if (!degree || *degree < 1 || *degree > kMaxDegree) {
    throw tokens_.Error(place, "poly() takes a degree, a whole number from 1 to " +
                                   std::to_string(kMaxDegree) + ", as in poly(x, 2).");
  }
  Polynomial polynomial{Expression(Unwrapped(tokens_, base)), *degree};
  tokens_.MoveTo(close + 1);
  if (!isRaw && *degree > 1) {
    polynomial.variable.notes.emplace_back(
        "poly() stands for plain powers, x + I(x^2) and so on, not for R's orthogonal polynomials: "
        "estimates differ from R's, predictions do not.");
  }
  return polynomial;
}

bool OperandReader::TruthOf(const CallArgument& argument) const {
  const std::string_view text = tokens_.At(argument.value.first).text;
  const bool isTrue = SameWord(text, "true") || text == "T";
  const bool isFalse = SameWord(text, "false") || text == "F";
  if (argument.value.Size() != 1 || isTrue == isFalse) {
    throw tokens_.Error(PlaceOf(tokens_, argument),
                        std::string(argument.name) + " is TRUE or FALSE.");
  }
  return isTrue;
}

Variable OperandReader::Column(std::size_t index) const {
  Variable variable;
  variable.columns.push_back(tokens_.ColumnAt(index));
  const ColumnUse& column = variable.columns.front();
  variable.label = column.name;
  variable.sql = QuoteName(column.found.name);
  variable.expression = WrittenName(column.found);
  variable.place = column.place;
  return variable;
}

Variable OperandReader::Call(TokenRange range) const {
  const std::optional<TermFunction> function = FindTermFunction(tokens_.At(range.first).text);
  if (function == TermFunction::kScale) return Standardized(range, Standardizing::kScale);
  if (function == TermFunction::kCentre) return Standardized(range, Standardizing::kCentre);
  Variable variable = ExpressionReader(tokens_, range).Read();
  variable.form = Variable::Form::kCall;
  return variable;
}

Variable OperandReader::Standardized(TokenRange range, Standardizing standardizing) const {
  const std::string function(tokens_.At(range.first).text);
  const TokenRange inside{range.first + 2, range.last - 1};
  const std::vector<CallArgument> arguments = ArgumentsOf(tokens_, inside);
  if (arguments.size() > 1) {
    throw tokens_.Error(PlaceOf(tokens_, arguments[1]),
                        function +
                            "() takes one column or expression; scale(x) subtracts the mean "
                            "and divides, center(x) subtracts it alone.");
  }
  Variable variable = ExpressionReader(tokens_, inside).ReadNumber(function + "()");
  variable.label = function + "(" + variable.label + ")";
  variable.form = Variable::Form::kCall;
  variable.standardizing = standardizing;
  variable.place = tokens_.PlaceOf(range.first, range.last - 1);
  return variable;
}

Variable OperandReader::Values(TokenRange range) const {
  if (IsColumn(tokens_, range)) return Column(range.first);
  Variable variable = ExpressionReader(tokens_, range).Read();
  const bool isCall = IsWholeCall(tokens_, range);
  variable.form = isCall ? Variable::Form::kCall : Variable::Form::kGrouped;
  return variable;
}

Variable OperandReader::Factor(std::size_t name) const {
  const FactorCall call = ReadFactorCall(tokens_, name);
  const TokenRange range = call.value;
  const bool isColumn = IsColumn(tokens_, range);
  // Inside C() a quoted name keeps its quotes in the label.
  const std::string column = isColumn ? LabelOf(tokens_.At(range.first)) : "";
  Variable variable = Values(range);
  variable.label = "C(" + (isColumn ? column : variable.label) + ")";
  variable.asFactor = true;
  variable.base = call.base;
  variable.place = tokens_.PlaceOf(name, tokens_.CloseOf(name + 1));
  return variable;
}

Operand OperandReader::Grouped(TokenRange inside, Powers powers) const {
  RefuseEmpty(tokens_, inside);
  RefuseCommas(inside, "I");
  const TokenRange range = Unwrapped(tokens_, inside);
  if (powers == Powers::kKeep || !IsPower(range)) return {Expression(range)};
  const Token& exponent = tokens_.At(range.last - 1);
  const int power = WholeNumber(exponent.text).value_or(0);
  if (power > kMaxPower) {
    throw tokens_.Error(exponent.place, "A power is a whole number from 1 to " +
                                            std::to_string(kMaxPower) + "; write a smaller one.");
  }
  return {Expression(Unwrapped(tokens_, {range.first, range.last - 2})), power};
}

Variable OperandReader::Expression(TokenRange range) const {
  if (IsWholeCall(tokens_, range)) return Call(range);
  Variable variable = Values(range);
  if (variable.form == Variable::Form::kGrouped) variable.label = "I(" + variable.label + ")";
  return variable;
}

bool OperandReader::IsPower(TokenRange range) const {
  if (range.Size() < 3) return false;
  const Token& sign = tokens_.At(range.last - 2);
  if (!sign.Is("^") && !sign.Is("**")) return false;
  const Token& exponent = tokens_.At(range.last - 1);
  if (exponent.kind != TokenKind::kNumber || WholeNumber(exponent.text).value_or(0) < 1) {
    return false;
  }
  const TokenRange base{range.first, range.last - 2};
  const Token& first = tokens_.At(base.first);
  return IsColumn(tokens_, base) || IsWholeCall(tokens_, base) ||
         (first.Is("(") && tokens_.CloseOf(base.first) + 1 == base.last);
}

void OperandReader::RefuseCommas(TokenRange range, std::string_view function) const {
  for (std::size_t i = range.first; i < range.last; ++i) {
    const Token& token = tokens_.At(i);
    if (token.Is("(")) i = tokens_.CloseOf(i);
    if (!token.Is(",")) continue;
    throw tokens_.Error(token.place, std::string(function) +
                                         "() takes one column or expression; take out what "
                                         "follows the comma.");
  }
}

}  // namespace qvhost
