#include "host/formula/ExpressionCursor.h"

#include "host/formula/MisplacedToken.h"
#include "host/formula/SqlWords.h"

namespace qvhost {

ExpressionCursor::Level ExpressionCursor::Enter() {
  if (level_ >= kMaxLevels) RefuseDepth(tokens_.At(next_ - 1).place);
  return Level(level_);
}

void ExpressionCursor::CheckLevels(std::size_t levels, Place place) const {
  if (levels > kMaxLevels) RefuseDepth(place);
}

void ExpressionCursor::RefuseDepth(Place place) const {
  Refuse(place, "More than " + std::to_string(kMaxLevels) +
                    " operators and calls stand inside each other; compute a part of this in "
                    "--sql.");
}

bool ExpressionCursor::At(std::string_view op) const {
  return !AtEnd() && tokens_.At(next_).Is(op);
}

bool ExpressionCursor::AtWord(std::string_view lower) const { return AtWord(next_, lower); }

bool ExpressionCursor::AtWord(std::size_t index, std::string_view lower) const {
  return index < range_.last && tokens_.At(index).kind == TokenKind::kName &&
         SameWord(tokens_.At(index).text, lower);
}

void ExpressionCursor::Take(PieceKind kind) { label_.Append(kind, tokens_.At(next_++).text); }

bool ExpressionCursor::Accept(std::string_view op, PieceKind kind) {
  if (!At(op)) return false;
  Take(kind);
  return true;
}

bool ExpressionCursor::AcceptWord(std::string_view lower) {
  if (!AtWord(lower)) return false;
  Take(PieceKind::kWord);
  return true;
}

void ExpressionCursor::ExpectWord(std::string_view lower, std::string_view example) {
  if (AcceptWord(lower)) return;
  const Place place = tokens_.At(AtEnd() ? next_ - 1 : next_).place;
  Refuse(place,
         "'" + std::string(lower) + "' is missing here; write " + std::string(example) + ".");
}

void ExpressionCursor::RefuseToken() const {
  if (AtEnd()) RefuseAsOperand();
  Refuse(tokens_.At(next_).place, BehindOperandText(tokens_.At(next_)));
}

void ExpressionCursor::RefuseAsOperand() const {
  const Token& before = tokens_.At(next_ - 1);
  const Token& token = tokens_.At(next_);
  // A closing parenthesis or the end: what stands before it wants something to follow.
  if (AtEnd() || token.Is(")")) {
    Refuse(before.place,
           "'" + std::string(before.text) + "' has no operand after it; write one there.");
  }
  Refuse(token.place, AsOperandText(token));
}

}  // namespace qvhost
