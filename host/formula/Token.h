#pragma once

#include <string>
#include <string_view>

#include "host/formula/Place.h"

namespace qvhost {

enum class TokenKind {
  kName,    ///< A bare name, or a word of SQL inside a call.
  kQuoted,  ///< A name in back-quotes.
  kNumber,
  kString,    ///< A text in single quotes.
  kOperator,  ///< Everything else: operators, parentheses, commas.
  kEnd        ///< Stands after the last token; its text is empty.
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
};

/// The column that a name or a name in back-quotes means: without the quotes, doubled ones single.
[[nodiscard]] std::string ColumnName(const Token& token);

}  // namespace qvhost
