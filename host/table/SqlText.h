#pragma once

#include <string>
#include <string_view>

namespace qvhost {

/// A name as an SQL identifier: in double quotes, with those inside it doubled.
[[nodiscard]] std::string QuoteName(std::string_view name);

/// A text as an SQL literal: in single quotes, with those inside it doubled.
[[nodiscard]] std::string QuoteText(std::string_view text);

}  // namespace qvhost
