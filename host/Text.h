#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qvhost {

/// A letter of ASCII in lower case; any other byte as it is.
[[nodiscard]] char LowerAscii(char c);

/// A text with its letters of ASCII in lower case.
[[nodiscard]] std::string Lower(std::string_view text);

/// Whether two texts differ at most in the case of letters of ASCII.
[[nodiscard]] bool SameWord(std::string_view a, std::string_view b);

/// The edit distance of two texts: bytes inserted, deleted, replaced, or swapped with the next.
[[nodiscard]] std::size_t EditDistance(std::string_view a, std::string_view b);

/// The first few names in quotes, for a sentence: `'a', 'b'`, with `, …` when there are more.
[[nodiscard]] std::string NameList(const std::vector<std::string>& names);

/// Cuts a text of UTF-8 that is longer than `length` bytes after a whole character, and adds `…`.
void CutText(std::string& text, std::size_t length);

/// One code point of a UTF-8 text.
struct CodePoint {
  char32_t value = 0;
  std::size_t length = 1;  ///< In bytes; 1 when not valid.
  bool valid = false;
};

/// The code point that starts at byte `at` of the text, which must be inside it. Overlong forms,
/// surrogates, values past U+10FFFF and cut-off sequences are not valid.
[[nodiscard]] CodePoint DecodeUtf8(std::string_view text, std::size_t at);

/// The value of a text of digits alone; nothing when it holds anything else. One too large for an
/// int is given as the largest int.
[[nodiscard]] std::optional<int> WholeNumber(std::string_view text);

/// A name as an SQL identifier: in double quotes, with those inside it doubled.
[[nodiscard]] std::string QuoteName(std::string_view name);

/// A text as an SQL literal: in single quotes, with those inside it doubled.
[[nodiscard]] std::string QuoteText(std::string_view text);

}  // namespace qvhost
