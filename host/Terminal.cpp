#include "host/Terminal.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "host/Text.h"

#ifdef _WIN32
#include <io.h>
#include <windows.h>
#else
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace qvhost {
namespace {

/// Less is a mistake, or no place for any text.
constexpr std::size_t kLeastWidth = 20;

/// A variable of the environment; empty when it is not set.
std::string_view Variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string_view() : value;
}

#ifdef _WIN32
HANDLE ConsoleOf(std::FILE* stream) {
  return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
}
#endif

}  // namespace

std::optional<ColorChoice> ColorOf(std::string_view name) {
  if (name == "auto") return ColorChoice::kAuto;
  if (name == "always") return ColorChoice::kAlways;
  if (name == "never") return ColorChoice::kNever;
  return std::nullopt;
}

bool IsTerminal(std::FILE* stream) {
  if (stream == nullptr) return false;
#ifdef _WIN32
  return _isatty(_fileno(stream)) != 0;
#else
  return isatty(fileno(stream)) != 0;
#endif
}

bool TakesEscapes(std::FILE* stream) {
  const bool canTake = IsTerminal(stream) && Variable("TERM") != "dumb";
#ifdef _WIN32
  // A console takes them only when it is told to.
  DWORD mode = 0;
  return canTake && GetConsoleMode(ConsoleOf(stream), &mode) != 0 &&
         SetConsoleMode(ConsoleOf(stream), mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
#else
  return canTake;
#endif
}

std::optional<std::size_t> TerminalWidth(std::FILE* stream) {
  if (!IsTerminal(stream)) return std::nullopt;
#ifdef _WIN32
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (GetConsoleScreenBufferInfo(ConsoleOf(stream), &info) == 0) return std::nullopt;
  const int columns = info.srWindow.Right - info.srWindow.Left + 1;
#else
  winsize size{};
  if (ioctl(fileno(stream), TIOCGWINSZ, &size) != 0) return std::nullopt;
  const int columns = size.ws_col;
#endif
  if (columns <= 0) return std::nullopt;
  return static_cast<std::size_t>(columns);
}

std::size_t OutputWidth(std::FILE* stream) {
  const int wanted = WholeNumber(Variable("COLUMNS")).value_or(0);
  const std::size_t width =
      wanted > 0 ? static_cast<std::size_t>(wanted) : TerminalWidth(stream).value_or(kUsualWidth);
  return std::max(width, kLeastWidth);
}

bool UsesColor(ColorChoice choice, std::FILE* stream) {
  if (choice != ColorChoice::kAuto) return choice == ColorChoice::kAlways;
  return Variable("NO_COLOR").empty() && TakesEscapes(stream);
}

}  // namespace qvhost
