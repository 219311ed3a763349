#pragma once

#include <string_view>

namespace qvhost {

/// Whether a bare word inside a call is a word of SQL (`and`, `case`, `null`, ...) in any case of
/// letters, and so neither a column nor a function. A column of such a name needs back-quotes.
[[nodiscard]] bool IsSqlWord(std::string_view word);

/// A letter of ASCII in lower case; any other byte as it is.
[[nodiscard]] char LowerAscii(char c);

/// Whether a word, in any case of letters, is the one given in lower case.
[[nodiscard]] bool SameWord(std::string_view word, std::string_view lower);

}  // namespace qvhost
