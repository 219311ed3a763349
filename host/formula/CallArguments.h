#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/formula/ExpressionCursor.h"
#include "host/formula/Tokenizer.h"

namespace qvhost {

/// One argument of a call, as written: `x`, or with its name `ref = 'a'`. A plain value.
struct CallArgument {
  std::string_view name;  ///< Empty for none.
  TokenRange value;       ///< Never empty.
};

/// The arguments of the call whose parentheses hold these tokens. Throws FormulaError where one of
/// them is empty.
[[nodiscard]] std::vector<CallArgument> ArgumentsOf(const TokenStream& tokens, TokenRange inside);

/// Where an argument stands, with its name.
[[nodiscard]] Place PlaceOf(const TokenStream& tokens, const CallArgument& argument);

/// The text of a single token that means one value: a text without its quotes, a number with its
/// sign, true or false. None for anything else.
[[nodiscard]] std::optional<std::string> LiteralOf(const TokenStream& tokens, TokenRange range);

/// Whether the range is one whole call: `f(...)`.
[[nodiscard]] bool IsWholeCall(const TokenStream& tokens, TokenRange range);

/// Whether the range is the name of a column and nothing else.
[[nodiscard]] bool IsColumn(const TokenStream& tokens, TokenRange range);

/// Takes off parentheses, and those of I(), that hold the whole range. Throws FormulaError when
/// they hold nothing.
[[nodiscard]] TokenRange Unwrapped(const TokenStream& tokens, TokenRange range);

/// Throws FormulaError when a pair of parentheses holds nothing.
void RefuseEmpty(const TokenStream& tokens, TokenRange inside);

}  // namespace qvhost
