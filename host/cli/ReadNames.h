#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qvhost {

/// The names in a list such as `id,zip code,"a, b"`: a name with a comma or with blanks at its ends
/// stands in double quotes, as in CSV, or in back-quotes, as in a formula; the quote itself is
/// written twice inside them. Throws Error (kBadInput) that names the option for an empty name, and
/// for a quote without its end.
[[nodiscard]] std::vector<std::string> ReadNames(std::string_view option, std::string_view list);

}  // namespace qvhost
