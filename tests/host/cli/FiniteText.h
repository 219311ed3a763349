#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qvhost {

/// The words of a text that stand for a number that is none: `nan`, `inf` and their like, however
/// written, but not as part of another word. Empty when all its numbers are finite.
[[nodiscard]] std::vector<std::string> NonFiniteWords(std::string_view text);

}  // namespace qvhost
