#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Texts that come from outside, such as a path or the words of an exception, made fit for a
/// message.
namespace QvCText {

/// The text as UTF-8: every byte that is part of no character becomes '?'.
[[nodiscard]] std::string Utf8(std::string_view text);

/// The same, and when it is longer than `longest` bytes without its middle, where "..." stands.
/// REQUIRES: longest >= 3.
[[nodiscard]] std::string Shortened(std::string_view text, std::size_t longest);

}  // namespace QvCText
