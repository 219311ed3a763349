#include "host/formula/TokenStream.h"

#include <utility>

#include "host/formula/SqlWords.h"
#include "host/formula/Tokenizer.h"
#include "host/table/SqlText.h"

namespace qvhost {

TokenStream::TokenStream(std::string_view text, ColumnLookup lookup)
    : text_(text), lookup_(std::move(lookup)), tokens_(Tokenizer(text).Run()) {
  PairParentheses();
}

void TokenStream::PairParentheses() {
  partners_.resize(tokens_.size());
  std::vector<std::size_t> open;
  for (std::size_t i = 0; i < tokens_.size(); ++i) {
    const Token& token = tokens_[i];
    if (token.Is("(")) {
      open.push_back(i);
      if (open.size() > kMaxDepth) {
        throw Error(token.place, "More than " + std::to_string(kMaxDepth) +
                                     " parentheses stand inside each other; write it flatter.");
      }
    } else if (token.Is(")")) {
      if (open.empty()) throw Error(token.place, "This ')' closes nothing; take it out.");
      partners_[open.back()] = i;
      open.pop_back();
    } else if (token.Is("~") && !open.empty()) {
      throw Error(tokens_[open.back()].place,
                  "This '(' is not closed before the '~'; add the ')'.");
    }
  }
  if (!open.empty()) {
    throw Error(tokens_[open.back()].place, "This '(' is not closed; add the ')'.");
  }
}

Place TokenStream::PlaceOf(std::size_t first, std::size_t last) const {
  return Span(tokens_[first].place, tokens_[last].place);
}

bool TokenStream::IsCall(std::size_t index) const {
  const Token& token = tokens_[index];
  return token.kind == TokenKind::kName && !IsSqlWord(token.text) && tokens_[index + 1].Is("(");
}

ColumnUse TokenStream::ColumnAt(std::size_t index) const {
  const Token& token = tokens_[index];
  if (token.kind == TokenKind::kName && token.text == ".") {
    throw Error(token.place, "'.' does not stand for columns here; name the columns.");
  }
  std::string name = ColumnName(token);
  FoundColumn found = lookup_ ? lookup_(name, token.place)
                              : FoundColumn{name, QuoteName(name), ValueKind::kUnknown};
  return {std::move(name), token.place, std::move(found)};
}

bool TokenStream::Accept(std::string_view op) {
  if (!Peek().Is(op)) return false;
  ++position_;
  return true;
}

}  // namespace qvhost
