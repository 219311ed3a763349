#include "host/formula/SqlWords.h"

#include <algorithm>
#include <array>

namespace qvhost {
namespace {

constexpr std::array<std::string_view, 20> kWords = {
    "and",   "as", "between", "case", "distinct", "else", "end", "escape", "false", "from",
    "ilike", "in", "is",      "like", "not",      "null", "or",  "then",   "true",  "when"};

}  // namespace

char LowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool SameWord(std::string_view word, std::string_view lower) {
  return std::equal(lower.begin(), lower.end(), word.begin(), word.end(),
                    [](char l, char w) { return l == LowerAscii(w); });
}

bool IsSqlWord(std::string_view word) {
  return std::any_of(kWords.begin(), kWords.end(),
                     [&](std::string_view known) { return SameWord(word, known); });
}

}  // namespace qvhost
