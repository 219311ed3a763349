#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace qvhost {

/// Says which of two level texts comes first.
using LevelOrder = std::function<bool(const std::string&, const std::string&)>;

/// By bytes; also the order of booleans (false, true) and of dates and times in ISO form.
[[nodiscard]] LevelOrder ByBytes();

/// By the value of plain decimal numbers of one type: an optional minus sign, digits, and the same
/// number of digits after the point in all of them. Exact however many digits there are.
[[nodiscard]] LevelOrder ByValue();

/// In the order of a list that holds every level.
[[nodiscard]] LevelOrder ByList(const std::vector<std::string>& list);

/// A decimal number without the zeros that end its fraction: 1.500 is 1.5, 2.000 is 2.
[[nodiscard]] std::string PlainNumber(std::string text);

}  // namespace qvhost
