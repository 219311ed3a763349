#pragma once

#include <optional>
#include <string_view>

namespace qvhost {

/// The value of a text of digits alone; nothing when it holds anything else. One too large for an
/// int is given as the largest int.
[[nodiscard]] std::optional<int> WholeNumber(std::string_view text);

}  // namespace qvhost
