#pragma once

#include <cstddef>
#include <string>

namespace qvhost {

/// Puts `…` in place of the middle of a text of UTF-8 that is longer than `length` bytes: of that
/// many the first and the last half stay, as whole characters.
void CutMiddle(std::string& text, std::size_t length);

}  // namespace qvhost
