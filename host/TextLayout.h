#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qvhost {

/// Columns a text takes on a terminal: two for each wide character (East Asian scripts, emoji),
/// none for a combining mark, one for any other (a byte that is not UTF-8 counts as one too).
[[nodiscard]] std::size_t TextWidth(std::string_view text);

/// A text of at most `width` columns: one that is wider keeps its beginning and its end, with an
/// ellipsis between them. Nothing is left of it when `width` is 0.
[[nodiscard]] std::string CutMiddle(std::string_view text, std::size_t width);

/// The name of a parameter in at most `width` columns. The longest of its parts, which `:` and `=`
/// separate, are cut in the middle, so that each of them stays recognisable.
[[nodiscard]] std::string ShortLabel(std::string_view label, std::size_t width);

/// The text broken at blanks into lines of at most `width` columns, without an end of the last one.
/// The first line continues one that already has `start` columns; the others begin with `indent`
/// blanks. A word that is wider stands alone.
[[nodiscard]] std::string Wrap(std::string_view text, std::size_t width, std::size_t start,
                               std::size_t indent);

}  // namespace qvhost
