#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qvhost {

/// A line shorter than this has no room for two columns.
constexpr std::size_t kLeastForTwoColumns = 50;

/// Lays out a help text in lines of at most `width` columns. Lines that begin at the margin are
/// joined and broken anew, paragraph by paragraph; a line in two columns is continued below the
/// second one, as is a line that is indented as far; a command, which has `qvreg fit -`, is
/// continued with a backslash; any other line is continued below its beginning.
[[nodiscard]] std::string Reflow(std::string_view text, std::size_t width);

}  // namespace qvhost
