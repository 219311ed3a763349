#pragma once

#include <string>
#include <string_view>

namespace qvhost {

/// A text as HTML shows it, in an element or between double quotes: never markup.
[[nodiscard]] std::string HtmlEscaped(std::string_view text);

/// The same in an element, with every run of right-to-left script isolated, so that it changes the
/// order of nothing around it.
[[nodiscard]] std::string HtmlText(std::string_view text);

/// JSON as the content of a script element: without a character that could end it.
[[nodiscard]] std::string HtmlJson(std::string_view json);

}  // namespace qvhost
