#pragma once

#include <string>
#include <vector>

namespace qvhost {

/// The first few names in quotes, for a sentence: `'a', 'b'`, with `, …` when there are more.
[[nodiscard]] std::string NameList(const std::vector<std::string>& names);

}  // namespace qvhost
