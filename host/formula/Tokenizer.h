#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "host/formula/Token.h"

namespace qvhost {

/// Cuts a formula's text into tokens. Holds views of the text, which must live longer.
class Tokenizer {
 public:
  explicit Tokenizer(std::string_view text) : text_(text) {}

  /// All tokens in order, with one of kind kEnd behind them. Throws FormulaError: a character that
  /// has no meaning, an unclosed quote, a number run into a name, text that is not UTF-8.
  [[nodiscard]] std::vector<Token> Run();

 private:
  void CheckText() const;
  void SkipBlanks();
  Token Next();
  Token Name();
  Token Number();
  Token BackQuoted();
  Token String();
  Token Operator();
  /// The position after the quote that closes the one at the current position, or npos.
  [[nodiscard]] std::size_t AfterClosingQuote() const;
  /// Makes the token that ends before `end` and moves there.
  Token Make(TokenKind kind, std::size_t end);
  [[nodiscard]] std::size_t NameEnd(std::size_t from) const;
  [[nodiscard]] char CharAt(std::size_t at) const { return at < text_.size() ? text_[at] : '\0'; }

  std::string_view text_;
  std::size_t position_ = 0;
};

}  // namespace qvhost
