#pragma once

#include <cstddef>
#include <string_view>

namespace qvhost {

/// One code point of a UTF-8 text.
struct CodePoint {
  char32_t value = 0;
  std::size_t length = 1;  ///< In bytes; 1 when not valid.
  bool valid = false;
};

/// The code point that starts at byte `at` of the text, which must be inside it. Overlong forms,
/// surrogates, values past U+10FFFF and cut-off sequences are not valid.
[[nodiscard]] CodePoint DecodeUtf8(std::string_view text, std::size_t at);

}  // namespace qvhost
