#include "host/formula/ExpressionCursor.h"

#include <algorithm>
#include <string_view>

#include "host/Text.h"
#include "host/formula/Tokenizer.h"

namespace qvhost {
namespace {

bool EndsOperand(PieceKind kind) {
  return kind == PieceKind::kOperand || kind == PieceKind::kCallee || kind == PieceKind::kClose;
}

struct Reason {
  std::string_view word;
  std::string_view text;
};

constexpr std::string_view kNoList =
    "A formula has no lists, structures or functions of its own making; compute the value in "
    "--sql.";
constexpr std::string_view kNoWindow =
    "A formula computes each value from one record; compute what needs others in --sql.";
constexpr std::string_view kNoMissingTest =
    "'is' asks for missing values, but a variable is missing wherever a part of it is; ask for "
    "them in --sql.";

/// Signs and words that mean something elsewhere.
constexpr auto kReasons = std::to_array<Reason>({
    {"[", kNoList},
    {"]", kNoList},
    {"->", kNoList},
    {"->>", kNoList},
    {"&", "Write 'and' for '&'."},
    {"&&", "Write 'and' for '&&'."},
    {"|", "Write 'or' for '|'."},
    {"!", "Write 'not' for '!'."},
    {"~", "Write 'not' for '~'."},
    {"<<", "A formula has no operators on bits; compute the value in --sql."},
    {">>", "A formula has no operators on bits; compute the value in --sql."},
    {"%in%", "'%in%' stands between terms; write x in (1, 2) to look up a list."},
    {"is", kNoMissingTest},
    {"isnull", kNoMissingTest},
    {"notnull", kNoMissingTest},
    {"null",
     "A formula has no NULL; nullif(x, -99) makes a value missing, and if(...) needs two values."},
    {"over", kNoWindow},
    {"filter", kNoWindow},
    {"within", kNoWindow},
    {"distinct", kNoWindow},
    {"from", "A formula holds no query: it computes each value from one record; use --sql."},
});

std::string ReasonOf(const Token& token) {
  if (token.kind != TokenKind::kOperator && token.kind != TokenKind::kName) return "";
  const auto* found = std::ranges::find_if(
      kReasons, [&](const Reason& reason) { return SameWord(token.text, reason.word); });
  return found == kReasons.end() ? "" : std::string(found->text);
}

}  // namespace

void SpacedText::Append(PieceKind kind, std::string_view text) {
  if (BlankBefore(kind)) text_ += ' ';
  text_ += text;
  last_ = kind;
}

bool SpacedText::ExpectsOperand() const noexcept { return !EndsOperand(last_); }

bool SpacedText::BlankBefore(PieceKind kind) const noexcept {
  if (last_ == PieceKind::kStart || last_ == PieceKind::kOpen) return false;
  if (kind == PieceKind::kClose || kind == PieceKind::kComma) return false;
  if (kind == PieceKind::kOpen && EndsOperand(last_)) return false;
  return kind != PieceKind::kTight && last_ != PieceKind::kTight && last_ != PieceKind::kUnary;
}

std::string BehindOperandText(const Token& token) {
  std::string reason = ReasonOf(token);
  if (!reason.empty()) return reason;
  if (token.Is(",")) {
    return "',' separates the arguments of a call; these parentheses hold one value.";
  }
  if (token.kind == TokenKind::kOperator && !token.Is("(")) {
    return Quoted(token) + " has no meaning inside an expression; compute the value in --sql.";
  }
  if (IsSqlWord(token.text) && token.kind == TokenKind::kName) {
    return Quoted(token) + " has no meaning here; put a column of this name in back-quotes.";
  }
  return "An operator such as '+' is missing before " + Quoted(token) +
         "; a name with blanks stands in back-quotes.";
}

std::string AsOperandText(const Token& token) {
  std::string reason = ReasonOf(token);
  if (!reason.empty()) return reason;
  if (token.kind == TokenKind::kDoubleQuoted) return DoubleQuotesText(token);
  if (token.kind == TokenKind::kName) {
    return Quoted(token) + " has no meaning here; put a column of this name in back-quotes.";
  }
  return Quoted(token) + " has no operand before it; write one there.";
}

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

void ExpressionCursor::Take(PieceKind kind) {
  const std::string text = LabelOf(tokens_.At(next_++));
  label_.Append(kind, text);
  written_.Append(kind, text);
}

void ExpressionCursor::TakeColumn(const FoundColumn& column) {
  label_.Append(PieceKind::kOperand, LabelOf(tokens_.At(next_++)));
  written_.Append(PieceKind::kOperand, WrittenName(column));
}

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
  const Token& token = tokens_.At(next_);
  // A closing parenthesis or the end: what stands before it wants something to follow.
  if (AtEnd() || token.Is(")")) {
    if (next_ == 0) Refuse(token.place, "The expression is empty; write one such as x + 1.");
    const Token& before = tokens_.At(next_ - 1);
    Refuse(before.place,
           "'" + std::string(before.text) + "' has no operand after it; write one there.");
  }
  Refuse(token.place, AsOperandText(token));
}

}  // namespace qvhost
