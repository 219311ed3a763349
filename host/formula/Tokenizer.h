#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/formula/FormulaError.h"
#include "host/formula/Variable.h"

namespace qvhost {

enum class TokenKind {
  kName,    ///< A bare name, or a word of SQL inside a call.
  kQuoted,  ///< A name in back-quotes, or Q('a name').
  kNumber,
  kString,        ///< A text in single quotes.
  kDoubleQuoted,  ///< A text in double quotes, which few calls take: Q("a"), Treatment("a").
  kOperator,      ///< Everything else: operators, parentheses, commas.
  kEnd            ///< Stands after the last token; its text is empty.
};

/// One word of a formula. Its text is a view of the formula's, which must live longer.
struct Token {
  TokenKind kind = TokenKind::kEnd;
  std::string_view text;  ///< As written, quotes included.
  Place place;

  /// Whether this is the operator `op`.
  [[nodiscard]] bool Is(std::string_view op) const noexcept {
    return kind == TokenKind::kOperator && text == op;
  }

  [[nodiscard]] bool IsColumnLike() const noexcept {
    return kind == TokenKind::kName || kind == TokenKind::kQuoted;
  }

  [[nodiscard]] bool IsText() const noexcept {
    return kind == TokenKind::kString || kind == TokenKind::kDoubleQuoted;
  }
};

/// The token in single quotes, for a message.
[[nodiscard]] std::string Quoted(const Token& token);

/// What stands between quotes of any kind, doubled ones single.
[[nodiscard]] std::string WithoutQuotes(std::string_view quoted);

/// The column that a name or a name in quotes means.
[[nodiscard]] std::string ColumnName(const Token& token);

/// The name of a column as a formula takes it: in back-quotes unless it is a bare name.
[[nodiscard]] std::string WrittenName(const std::string& column);
/// The same, spelled as the data spell it.
[[nodiscard]] std::string WrittenName(const FoundColumn& column);

/// A token as a label shows it: names in quotes of any kind in back-quotes.
[[nodiscard]] std::string LabelOf(const Token& token);

/// Why a text in double quotes does not belong where it stands, and what to write.
[[nodiscard]] std::string DoubleQuotesText(const Token& token);

/// Whether a bare word inside a call is a word of SQL (`and`, `case`, `null`, ...) in any case of
/// letters, and so neither a column nor a function. A column of such a name needs back-quotes.
[[nodiscard]] bool IsSqlWord(std::string_view word);

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
  Token DoubleQuoted();
  Token Operator();
  void RefuseTableName() const;
  /// The position after the quote that closes the one at the current position, or npos.
  [[nodiscard]] std::size_t AfterClosingQuote() const;
  /// Makes the token that ends before `end` and moves there.
  Token Make(TokenKind kind, std::size_t end);
  [[nodiscard]] std::size_t NameEnd(std::size_t from) const;
  [[nodiscard]] char CharAt(std::size_t at) const { return at < text_.size() ? text_[at] : '\0'; }

  std::string_view text_;
  std::size_t position_ = 0;
};

/// The tokens of a formula with their parentheses paired, and a position that a parser moves. Holds
/// views of the text, which must live longer.
class TokenStream {
 public:
  /// Parentheses nested deeper than this are refused, so that a parser may recurse on them.
  static constexpr std::size_t kMaxDepth = 200;

  /// `lookup` finds the columns; without one a name is its own column, of an unknown kind. Throws
  /// FormulaError: what the tokenizer refuses, and parentheses that have no partner, hold a
  /// `~` or nest too deeply.
  explicit TokenStream(std::string_view text, ColumnLookup lookup = {});

  [[nodiscard]] std::string_view Text() const noexcept { return text_; }
  /// The token at an index; the last one is of kind kEnd.
  [[nodiscard]] const Token& At(std::size_t index) const { return tokens_[index]; }
  [[nodiscard]] std::size_t Size() const noexcept { return tokens_.size(); }
  /// The index of the `)` that closes the `(` at an index.
  [[nodiscard]] std::size_t CloseOf(std::size_t open) const { return partners_[open]; }
  /// The text of the tokens from `first` to `last`, that one included.
  [[nodiscard]] Place PlaceOf(std::size_t first, std::size_t last) const;
  /// Whether a function's name and its `(` start at an index. Words of SQL are no functions.
  [[nodiscard]] bool IsCall(std::size_t index) const;

  /// The column that the name at an index means. Throws FormulaError for a `.`, and what the lookup
  /// refuses.
  [[nodiscard]] ColumnUse ColumnAt(std::size_t index) const;

  [[nodiscard]] std::size_t Position() const noexcept { return position_; }
  [[nodiscard]] const Token& Peek() const { return tokens_[position_]; }
  /// Moves to an index, which must be inside.
  void MoveTo(std::size_t index) { position_ = index; }
  /// Steps over the current token when it is the operator `op`.
  bool Accept(std::string_view op);

  [[nodiscard]] FormulaError Error(Place place, const std::string& message) const {
    return FormulaError::At(text_, place, message);
  }

 private:
  /// Makes one name of each Q('a name').
  void JoinNames();
  void PairParentheses();
  /// Throws where this parenthesis is that of R's or Python's call of a fit: lm(y ~ x).
  void RefuseWholeCall(std::size_t open) const;
  /// Throws unless the call whose parenthesis is open takes a text in double quotes.
  void CheckDoubleQuotes(std::size_t index, const std::vector<std::size_t>& open) const;

  std::string_view text_;
  ColumnLookup lookup_;
  std::vector<Token> tokens_;
  std::vector<std::size_t> partners_;  ///< For each token; only those of a `(` are set.
  std::size_t position_ = 0;
};

}  // namespace qvhost
