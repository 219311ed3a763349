#include "host/formula/ExpressionReader.h"

#include "host/formula/SqlWords.h"
#include "host/table/SqlText.h"

namespace qvhost {
namespace {

/// Words that end an operand, so that a `-` after them is no sign.
bool IsValueWord(std::string_view word) {
  return SameWord(word, "null") || SameWord(word, "true") || SameWord(word, "false") ||
         SameWord(word, "end");
}

}  // namespace

Variable ExpressionReader::Read() {
  for (next_ = range_.first; next_ < range_.last;) ReadToken(next_++);
  const Place place = tokens_.PlaceOf(range_.first, range_.last - 1);
  if (columns_.empty()) {
    throw tokens_.Error(place, "This names no column; a variable is computed from one at least.");
  }
  return {label_.Text(), sql_.Text(), false, std::move(columns_), place};
}

void ExpressionReader::ReadToken(std::size_t index) {
  const Token& token = tokens_.At(index);
  switch (token.kind) {
    case TokenKind::kName:
      return ReadName(index);
    case TokenKind::kQuoted:
      return ReadColumn(index);
    case TokenKind::kOperator:
      return ReadOperator(index);
    case TokenKind::kNumber:
    case TokenKind::kString:
    case TokenKind::kEnd:
      return Append(PieceKind::kOperand, token.text);
  }
}

void ExpressionReader::ReadName(std::size_t index) {
  const Token& token = tokens_.At(index);
  if (IsSqlWord(token.text)) {
    type_ = SameWord(token.text, "as") ? TypeState::kExpected : TypeState::kNone;
    return Append(IsValueWord(token.text) ? PieceKind::kOperand : PieceKind::kWord, token.text);
  }
  if (type_ != TypeState::kNone) {
    type_ = TypeState::kInside;
    return Append(PieceKind::kCallee, token.text);
  }
  if (tokens_.IsCall(index)) {
    if (token.text == "C") {
      throw tokens_.Error(token.place,
                          "C() makes a factor of a whole variable; it cannot stand inside a call.");
    }
    // I() only groups, and the parentheses stay.
    if (token.text == "I") return label_.Append(PieceKind::kCallee, token.text);
    return Append(PieceKind::kCallee, token.text);
  }
  // A literal of a type: DATE '2020-01-31'.
  if (tokens_.At(index + 1).kind == TokenKind::kString) {
    return Append(PieceKind::kWord, token.text);
  }
  ReadColumn(index);
}

void ExpressionReader::ReadColumn(std::size_t index) {
  type_ = TypeState::kNone;
  columns_.push_back(tokens_.ColumnAt(index));
  label_.Append(PieceKind::kOperand, tokens_.At(index).text);
  sql_.Append(PieceKind::kOperand, QuoteName(columns_.back().name));
}

void ExpressionReader::ReadOperator(std::size_t index) {
  const Token& token = tokens_.At(index);
  if (token.Is("(") && ReadTypeArguments(index)) return;
  const bool inArrayType = type_ == TypeState::kInside && (token.Is("[") || token.Is("]"));
  if (!inArrayType) type_ = token.Is("::") ? TypeState::kExpected : TypeState::kNone;
  Append(OperatorKind(token), token.text);
}

bool ExpressionReader::ReadTypeArguments(std::size_t open) {
  if (type_ != TypeState::kInside) return false;
  const std::size_t close = tokens_.CloseOf(open);
  for (std::size_t i = open; i <= close; ++i) {
    const Token& token = tokens_.At(i);
    const bool sign = token.kind == TokenKind::kOperator;
    Append(sign ? OperatorKind(token) : PieceKind::kCallee, token.text);
  }
  next_ = close + 1;
  return true;
}

PieceKind ExpressionReader::OperatorKind(const Token& token) const {
  if (token.Is("(") || token.Is("[")) return PieceKind::kOpen;
  if (token.Is(")") || token.Is("]")) return PieceKind::kClose;
  if (token.Is(",")) return PieceKind::kComma;
  if (token.Is("^") || token.Is("**") || token.Is("::")) return PieceKind::kTight;
  const bool sign = token.Is("+") || token.Is("-") || token.Is("!");
  return sign && label_.ExpectsOperand() ? PieceKind::kUnary : PieceKind::kOperator;
}

void ExpressionReader::Append(PieceKind kind, std::string_view text) {
  label_.Append(kind, text);
  sql_.Append(kind, text);
}

}  // namespace qvhost
