#include "host/formula/MisplacedToken.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "host/formula/SqlWords.h"

namespace qvhost {
namespace {

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

std::string Quoted(const Token& token) { return "'" + std::string(token.text) + "'"; }

std::string ReasonOf(const Token& token) {
  if (token.kind != TokenKind::kOperator && token.kind != TokenKind::kName) return "";
  const auto* found = std::ranges::find_if(
      kReasons, [&](const Reason& reason) { return SameWord(token.text, reason.word); });
  return found == kReasons.end() ? "" : std::string(found->text);
}

}  // namespace

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
  if (token.kind == TokenKind::kName) {
    return Quoted(token) + " has no meaning here; put a column of this name in back-quotes.";
  }
  return Quoted(token) + " has no operand before it; write one there.";
}

}  // namespace qvhost
