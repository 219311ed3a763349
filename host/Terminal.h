#pragma once

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string_view>

namespace qvhost {

/// The width of a report or a help text that nothing else settles.
constexpr std::size_t kUsualWidth = 80;

/// When output is coloured.
enum class ColorChoice {
  kAuto,    ///< On a terminal that takes colours, unless the environment has NO_COLOR.
  kAlways,  ///< Whatever it goes to.
  kNever
};

/// The choice that `auto`, `always` and `never` name; none for any other text.
[[nodiscard]] std::optional<ColorChoice> ColorOf(std::string_view name);

/// Whether the stream is a terminal. False for null.
[[nodiscard]] bool IsTerminal(std::FILE* stream);

/// Whether the stream is a terminal that takes escape sequences: colours, an erased line. One whose
/// type (the environment's TERM) is `dumb` does not. On Windows it switches the console to them.
[[nodiscard]] bool TakesEscapes(std::FILE* stream);

/// The columns of the terminal that the stream is; none for anything else, and where the terminal
/// does not tell.
[[nodiscard]] std::optional<std::size_t> TerminalWidth(std::FILE* stream);

/// The columns that text for the stream may take: the environment's COLUMNS if that is a whole
/// number above 0, otherwise the terminal's, otherwise kUsualWidth; at least 20.
[[nodiscard]] std::size_t OutputWidth(std::FILE* stream);

/// Whether text for the stream is to be coloured.
[[nodiscard]] bool UsesColor(ColorChoice choice, std::FILE* stream);

}  // namespace qvhost
