#include "host/formula/OperandReader.h"

#include <string>
#include <utility>

#include "host/formula/SqlWords.h"
#include "host/formula/WholeNumber.h"
#include "host/table/SqlText.h"

namespace qvhost {

Operand OperandReader::ReadTerm() { return Read(Powers::kSplit); }

Variable OperandReader::ReadResponse() { return Read(Powers::kKeep).variable; }

Operand OperandReader::Read(Powers powers) {
  const std::size_t first = tokens_.Position();
  if (!tokens_.IsCall(first)) {
    tokens_.MoveTo(first + 1);
    return {Column(first)};
  }
  const std::size_t close = tokens_.CloseOf(first + 1);
  const TokenRange inside{first + 2, close};
  const std::string_view function = tokens_.At(first).text;
  tokens_.MoveTo(close + 1);
  if (function == "I") return Grouped(inside, powers);
  if (function == "C") return {Factor(inside)};
  return {ExpressionReader(tokens_, {first, close + 1}).Read()};
}

Variable OperandReader::Column(std::size_t index) const {
  ColumnUse column = tokens_.ColumnAt(index);
  const Place place = column.place;
  const std::string name = column.name;
  return {name, QuoteName(name), false, {std::move(column)}, place};
}

Variable OperandReader::Factor(TokenRange inside) const {
  RefuseEmpty(inside);
  RefuseCommas(inside, "C");
  const TokenRange range = Unwrap(inside);
  Variable variable = ExpressionReader(tokens_, range).Read();
  if (!IsSingle(range)) variable.sql = "(" + variable.sql + ")";
  variable.label = "C(" + variable.label + ")";
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
  if (range.Size() == 1 && tokens_.At(range.first).IsColumnLike() &&
      !IsSqlWord(tokens_.At(range.first).text)) {
    return Column(range.first);
  }
  Variable variable = ExpressionReader(tokens_, range).Read();
  if (IsSingle(range)) return variable;
  variable.sql = "(" + variable.sql + ")";
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

bool OperandReader::IsSingle(TokenRange range) const {
  return range.Size() == 1 || IsWholeCall(range);
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
  if (base.Size() == 1) return first.IsColumnLike() && !IsSqlWord(first.text);
  return IsWholeCall(base) || (first.Is("(") && tokens_.CloseOf(base.first) + 1 == base.last);
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
