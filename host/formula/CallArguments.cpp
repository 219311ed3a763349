#include "host/formula/CallArguments.h"

#include "host/Text.h"

namespace qvhost {
namespace {

CallArgument ArgumentOf(const TokenStream& tokens, TokenRange range) {
  const bool isNamed = range.Size() > 2 && tokens.At(range.first).kind == TokenKind::kName &&
                       tokens.At(range.first + 1).Is("=");
  if (!isNamed) return {{}, range};
  return {tokens.At(range.first).text, {range.first + 2, range.last}};
}

}  // namespace

std::vector<CallArgument> ArgumentsOf(const TokenStream& tokens, TokenRange inside) {
  RefuseEmpty(tokens, inside);
  std::vector<CallArgument> arguments;
  std::size_t first = inside.first;
  for (std::size_t i = inside.first; i <= inside.last; ++i) {
    if (i < inside.last && tokens.At(i).Is("(")) i = tokens.CloseOf(i);
    if (i < inside.last && !tokens.At(i).Is(",")) continue;
    if (i == first) throw tokens.Error(tokens.At(i).place, "An argument is missing here.");
    arguments.push_back(ArgumentOf(tokens, {first, i}));
    first = i + 1;
  }
  return arguments;
}

Place PlaceOf(const TokenStream& tokens, const CallArgument& argument) {
  const std::size_t first = argument.value.first - (argument.name.empty() ? 0 : 2);
  return tokens.PlaceOf(first, argument.value.last - 1);
}

std::optional<std::string> LiteralOf(const TokenStream& tokens, TokenRange range) {
  const bool isNegative = range.Size() == 2 && tokens.At(range.first).Is("-");
  if (range.Size() != 1 && !isNegative) return std::nullopt;
  const Token& token = tokens.At(range.last - 1);
  if (token.kind == TokenKind::kNumber) {
    return (isNegative ? "-" : "") + std::string(token.text);
  }
  if (isNegative) return std::nullopt;
  if (token.IsText()) return WithoutQuotes(token.text);
  const bool isBoolean = SameWord(token.text, "true") || SameWord(token.text, "false");
  return isBoolean ? std::optional(Lower(token.text)) : std::nullopt;
}

bool IsWholeCall(const TokenStream& tokens, TokenRange range) {
  return range.Size() > 2 && tokens.IsCall(range.first) &&
         tokens.CloseOf(range.first + 1) + 1 == range.last;
}

bool IsColumn(const TokenStream& tokens, TokenRange range) {
  const Token& token = tokens.At(range.first);
  return range.Size() == 1 && token.IsColumnLike() && !IsSqlWord(token.text);
}

TokenRange Unwrapped(const TokenStream& tokens, TokenRange range) {
  for (;;) {
    const bool named = tokens.IsCall(range.first) && tokens.At(range.first).text == "I";
    const std::size_t open = named ? range.first + 1 : range.first;
    if (!tokens.At(open).Is("(") || tokens.CloseOf(open) + 1 != range.last) return range;
    range = {open + 1, range.last - 1};
    RefuseEmpty(tokens, range);
  }
}

void RefuseEmpty(const TokenStream& tokens, TokenRange inside) {
  if (inside.Size() > 0) return;
  throw tokens.Error(tokens.PlaceOf(inside.first - 1, inside.last),
                     "There is nothing between these parentheses; name a column.");
}

}  // namespace qvhost
