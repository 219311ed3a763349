#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qvhost {

/// The entries of a list that an option takes, such as `id,zip code,"a, b"`: blanks around an entry
/// do not count; one that holds a comma, that begins or ends with blanks or that is empty stands in
/// double quotes, as in CSV, or in back-quotes, as in a formula, the quote itself written twice
/// inside them. Throws Error (kBadInput) that names the option and the list for anything else.
[[nodiscard]] std::vector<std::string> ReadNameList(std::string_view option, std::string_view list);

}  // namespace qvhost
