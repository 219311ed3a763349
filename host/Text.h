#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qvhost {

/// Whether a byte is a capital letter of ASCII.
[[nodiscard]] bool IsUpperAscii(char c);

/// A letter of ASCII in lower or in upper case; any other byte as it is.
[[nodiscard]] char LowerAscii(char c);
[[nodiscard]] char UpperAscii(char c);

/// A text with its letters of ASCII in lower case.
[[nodiscard]] std::string Lower(std::string_view text);

/// Whether two texts differ at most in the case of letters of ASCII.
[[nodiscard]] bool SameWord(std::string_view a, std::string_view b);

/// The valid name that was probably meant by `wanted`, letters of ASCII in either case: the one at
/// the smallest edit distance (bytes inserted, deleted, replaced, or swapped with the next), which
/// must be small for the length of `wanted`; otherwise the nearest in length that begins with
/// `wanted`, or that `wanted` begins with. None when none is near.
[[nodiscard]] std::optional<std::string> NearestName(std::string_view wanted,
                                                     const std::vector<std::string>& names);

/// " Did you mean 'x'?" for the nearest name, nothing when there is none: the end of a message.
[[nodiscard]] std::string DidYouMean(std::string_view wanted,
                                     const std::vector<std::string>& names);

/// The first few names in quotes, for a sentence: `'a', 'b'`, with `, …` when there are more.
[[nodiscard]] std::string NameList(const std::vector<std::string>& names);

/// Names in quotes as a choice: `'a', 'b' or 'c'`.
[[nodiscard]] std::string ChoiceText(const std::vector<std::string>& names);

/// Cuts a text of UTF-8 that is longer than `length` bytes after a whole character, and adds `…`.
void CutText(std::string& text, std::size_t length);

/// Puts `…` in place of the middle of a text of UTF-8 that is longer than `length` bytes: of that
/// many the first and the last half stay, as whole characters.
void CutMiddle(std::string& text, std::size_t length);

/// One code point of a UTF-8 text.
struct CodePoint {
  char32_t value = 0;
  std::size_t length = 1;  ///< In bytes; 1 when not valid.
  bool valid = false;
};

/// The code point that starts at byte `at` of the text, which must be inside it. Overlong forms,
/// surrogates, values past U+10FFFF and cut-off sequences are not valid.
[[nodiscard]] CodePoint DecodeUtf8(std::string_view text, std::size_t at);

/// The text with blanks in place of control characters, which would break a line or command a
/// terminal, and of those that turn the direction of what follows them.
[[nodiscard]] std::string Printable(std::string_view text);

/// The value of a text of digits alone; nothing when it holds anything else. One too large for an
/// int is given as the largest int.
[[nodiscard]] std::optional<int> WholeNumber(std::string_view text);

/// A name as an SQL identifier: in double quotes, with those inside it doubled.
[[nodiscard]] std::string QuoteName(std::string_view name);

/// A text as an SQL literal: in single quotes, with those inside it doubled.
[[nodiscard]] std::string QuoteText(std::string_view text);

/// A text in single quotes, where nothing has a meaning to a shell: to paste as one word.
[[nodiscard]] std::string ShellText(std::string_view text);

/// The same without quotes when the text is made of letters, digits and other plain characters.
[[nodiscard]] std::string ShellWord(std::string_view text);

/// A text without the spaces and tabs around it.
[[nodiscard]] inline std::string_view WithoutBlanks(std::string_view text) {
  const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace qvhost
