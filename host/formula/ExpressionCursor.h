#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "host/formula/Tokenizer.h"

namespace qvhost {

/// What a piece of an expression is, as far as blanks around it go.
enum class PieceKind {
  kStart,    ///< Before the first piece.
  kOperand,  ///< A column, number, text, or word of SQL that ends a value.
  kCallee,   ///< A function or type, which `(` follows without a blank.
  kWord,     ///< A word of SQL, blanks around it.
  kOpen,     ///< `(` and `[`
  kClose,    ///< `)` and `]`
  kComma,
  kOperator,  ///< Blanks around it.
  kUnary,     ///< A sign before its operand.
  kTight      ///< `^`, `**`, `::`
};

/// Puts an expression together with blanks in their usual places, however it was written:
/// `log(x + 1)`, `x^2`, `-x`.
class SpacedText {
 public:
  void Append(PieceKind kind, std::string_view text);
  [[nodiscard]] const std::string& Text() const noexcept { return text_; }
  /// Whether an operator here stands before its operand, with none on its left.
  [[nodiscard]] bool ExpectsOperand() const noexcept;

 private:
  [[nodiscard]] bool BlankBefore(PieceKind kind) const noexcept;

  PieceKind last_ = PieceKind::kStart;
  std::string text_;
};

/// What to say of a token of an expression that does not belong where it stands, behind an operand:
/// a sentence with a way out.
[[nodiscard]] std::string BehindOperandText(const Token& token);

/// The same where an operand must stand.
[[nodiscard]] std::string AsOperandText(const Token& token);

/// A stretch [first, last) of a token stream.
struct TokenRange {
  std::size_t first = 0;
  std::size_t last = 0;

  [[nodiscard]] std::size_t Size() const noexcept { return last - first; }
};

/// Walks over the tokens of one expression, writes its label on the way, and knows how to refuse
/// the token it is at. The base of ExpressionReader.
class ExpressionCursor {
 public:
  ExpressionCursor(const ExpressionCursor&) = delete;
  ExpressionCursor& operator=(const ExpressionCursor&) = delete;

 protected:
  /// How deep operators and calls may stand inside each other; DuckDB has a limit of its own.
  static constexpr std::size_t kMaxLevels = 200;

  /// Counts a level of recursion while it lives.
  class Level {
   public:
    explicit Level(std::size_t& level) : level_(level) { ++level_; }
    ~Level() { --level_; }
    Level(const Level&) = delete;
    Level& operator=(const Level&) = delete;

   private:
    std::size_t& level_;
  };

  /// `tokens` must live longer.
  ExpressionCursor(const TokenStream& tokens, TokenRange range)
      : tokens_(tokens), range_(range), next_(range.first) {}
  ~ExpressionCursor() = default;

  [[nodiscard]] const TokenStream& Tokens() const noexcept { return tokens_; }
  [[nodiscard]] TokenRange Range() const noexcept { return range_; }
  /// The index of the current token.
  [[nodiscard]] std::size_t Next() const noexcept { return next_; }
  [[nodiscard]] const Token& Current() const { return tokens_.At(next_); }
  /// What the expression says so far, with blanks in their usual places.
  [[nodiscard]] const std::string& Label() const noexcept { return label_.Text(); }
  /// The same as ParseExpression reads it: columns spelled as the data spell them.
  [[nodiscard]] const std::string& Written() const noexcept { return written_.Text(); }
  /// The place from a token to the one before the current token.
  [[nodiscard]] Place From(std::size_t first) const { return tokens_.PlaceOf(first, next_ - 1); }

  [[nodiscard]] bool AtEnd() const noexcept { return next_ >= range_.last; }
  [[nodiscard]] bool At(std::string_view op) const;
  [[nodiscard]] bool AtWord(std::string_view lower) const;
  [[nodiscard]] bool AtWord(std::size_t index, std::string_view lower) const;
  /// Steps over the current token and puts it into the label.
  void Take(PieceKind kind);
  /// The same of the name of this column.
  void TakeColumn(const FoundColumn& column);
  bool Accept(std::string_view op, PieceKind kind);
  bool AcceptWord(std::string_view lower);
  void ExpectWord(std::string_view lower, std::string_view example);

  /// Throws when the recursion is too deep.
  [[nodiscard]] Level Enter();
  /// Throws when operators and calls stand too deep inside each other.
  void CheckLevels(std::size_t levels, Place place) const;

  /// Says why the current token does not belong here, behind an operand.
  [[noreturn]] void RefuseToken() const;
  /// The same where an operand must stand.
  [[noreturn]] void RefuseAsOperand() const;
  [[noreturn]] void Refuse(Place place, const std::string& message) const {
    throw tokens_.Error(place, message);
  }

 private:
  [[noreturn]] void RefuseDepth(Place place) const;

  const TokenStream& tokens_;
  TokenRange range_;
  std::size_t next_;
  std::size_t level_ = 0;
  SpacedText label_;
  SpacedText written_;
};

}  // namespace qvhost
