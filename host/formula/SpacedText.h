#pragma once

#include <string>
#include <string_view>

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

}  // namespace qvhost
