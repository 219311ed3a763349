#include "host/formula/OperandReader.h"

#include <string>
#include <utility>

#include "host/Text.h"
#include "host/formula/Tokenizer.h"

namespace qvhost {

Operand OperandReader::ReadTerm() { return Read(Powers::kSplit); }

Variable OperandReader::ReadResponse() { return Read(Powers::kKeep).variable; }

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
  if (function == "C") return {Factor(inside)};
  return {Call({first, close + 1})};
}

Variable OperandReader::Column(std::size_t index) const {
  Variable variable;
  variable.columns.push_back(tokens_.ColumnAt(index));
  const ColumnUse& column = variable.columns.front();
  variable.label = column.name;
  variable.sql = QuoteName(column.found.name);
  variable.place = column.place;
  return variable;
}

Variable OperandReader::Call(TokenRange range) const {
  Variable variable = ExpressionReader(tokens_, range).Read();
  variable.form = Variable::Form::kCall;
  return variable;
}

Variable OperandReader::Factor(TokenRange inside) const {
  RefuseEmpty(inside);
  RefuseCommas(inside, "C");
  const TokenRange range = Unwrap(inside);
  const bool isColumn = IsColumn(range);
  // Inside C() a back-quoted name keeps its quotes in the label.
  const std::string name = isColumn ? std::string(tokens_.At(range.first).text) : "";
  Variable variable = isColumn ? Column(range.first) : ExpressionReader(tokens_, range).Read();
  if (!isColumn) {
    variable.form = IsWholeCall(range) ? Variable::Form::kCall : Variable::Form::kGrouped;
  }
  variable.label = "C(" + (isColumn ? name : variable.label) + ")";
  variable.asFactor = true;
  variable.place = tokens_.PlaceOf(inside.first - 2, inside.last);
  return variable;
}

Operand OperandReader::Grouped(TokenRange inside, Powers powers) const {
  RefuseEmpty(inside);
  RefuseCommas(inside, "I");
  const TokenRange range = Unwrap(inside);
  if (powers == Powers::kKeep || !IsPower(range)) return {Expression(range)};
  const Token& exponent = tokens_.At(range.last - 1);
  const int power = WholeNumber(exponent.text).value_or(0);
  if (power > kMaxPower) {
    throw tokens_.Error(exponent.place, "A power is a whole number from 1 to " +
                                            std::to_string(kMaxPower) + "; write a smaller one.");
  }
  return {Expression(Unwrap({range.first, range.last - 2})), power};
}

Variable OperandReader::Expression(TokenRange range) const {
  if (IsColumn(range)) return Column(range.first);
  if (IsWholeCall(range)) return Call(range);
  Variable variable = ExpressionReader(tokens_, range).Read();
  variable.form = Variable::Form::kGrouped;
  variable.label = "I(" + variable.label + ")";
  return variable;
}

TokenRange OperandReader::Unwrap(TokenRange range) const {
  for (;;) {
    const bool named = tokens_.IsCall(range.first) && tokens_.At(range.first).text == "I";
    const std::size_t open = named ? range.first + 1 : range.first;
    if (!tokens_.At(open).Is("(") || tokens_.CloseOf(open) + 1 != range.last) return range;
    range = {open + 1, range.last - 1};
    RefuseEmpty(range);
  }
}

bool OperandReader::IsColumn(TokenRange range) const {
  const Token& token = tokens_.At(range.first);
  return range.Size() == 1 && token.IsColumnLike() && !IsSqlWord(token.text);
}

bool OperandReader::IsWholeCall(TokenRange range) const {
  return range.Size() > 2 && tokens_.IsCall(range.first) &&
         tokens_.CloseOf(range.first + 1) + 1 == range.last;
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
  return IsColumn(base) || IsWholeCall(base) ||
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

void OperandReader::RefuseEmpty(TokenRange range) const {
  if (range.Size() > 0) return;
  throw tokens_.Error(tokens_.PlaceOf(range.first - 1, range.last),
                      "There is nothing between these parentheses; name a column.");
}

}  // namespace qvhost
