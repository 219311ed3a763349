#include "host/fit/ProgressBar.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>

#include <fmt/format.h>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace qvhost {

namespace {

constexpr std::chrono::milliseconds kDelay{400};
constexpr std::chrono::milliseconds kInterval{100};
constexpr int kBarWidth = 30;
constexpr int kLeastBarWidth = 10;
/// A line that wraps could not be erased.
constexpr std::size_t kLineWidth = 79;
constexpr std::string_view kEraseLine = "\r\x1b[2K";

bool IsTerminal(std::FILE* stream) {
#ifdef _WIN32
  return _isatty(_fileno(stream)) != 0;
#else
  return isatty(fileno(stream)) != 0;
#endif
}

/// The moment that a run may take without a bar; the environment may shorten it.
std::chrono::milliseconds Delay() {
  const char* given = std::getenv("QVREG_PROGRESS_DELAY_MS");
  if (given == nullptr) return kDelay;
  int milliseconds = 0;
  const auto [end, error] =
      std::from_chars(given, given + std::char_traits<char>::length(given), milliseconds);
  const bool isWhole = error == std::errc() && *end == '\0' && milliseconds >= 0;
  return isWhole ? std::chrono::milliseconds(milliseconds) : kDelay;
}

/// `width`: of the bar, without its brackets.
std::string Bar(double share, int width) {
  const double inside = std::min(share, 1.0);
  const int filled = static_cast<int>(inside * width);
  return fmt::format("[{:=<{}}{:<{}}] {:3.0f}%", "", filled, "", width - filled, 100.0 * inside);
}

/// The stage, the bar as long as there is room for it, and the records if there is.
std::string Line(std::string_view stage, double share, long long rows) {
  const std::string name = fmt::format("{:<12}", stage);
  const std::string records = fmt::format("{} records", rows);
  if (share < 0.0) return (name + " " + records).substr(0, kLineWidth);
  for (int width = kBarWidth; width >= kLeastBarWidth; --width) {
    std::string line = fmt::format("{} {}  {}", name, Bar(share, width), records);
    if (line.size() <= kLineWidth) return line;
  }
  return (name + " " + Bar(share, kLeastBarWidth)).substr(0, kLineWidth);
}

}  // namespace

ProgressBar::ProgressBar()
    : stream_(IsTerminal(stderr) ? stderr : nullptr), next_(Clock::now() + Delay()) {}

ProgressBar::ProgressBar(std::FILE* stream) : stream_(stream), next_(Clock::now()) {}

void ProgressBar::Show(std::string_view stage, double share, long long rows) {
  if (stream_ == nullptr) return;
  const Clock::time_point now = Clock::now();
  if (now < next_ && (!shown_ || stage == stage_)) return;
  next_ = now + kInterval;
  stage_ = stage;
  shown_ = true;
  fmt::print(stream_, "{}{}", kEraseLine, Line(stage, share, rows));
  std::fflush(stream_);
}

void ProgressBar::Erase() {
  if (!shown_) return;
  shown_ = false;
  std::fwrite(kEraseLine.data(), 1, kEraseLine.size(), stream_);
  std::fflush(stream_);
}

}  // namespace qvhost
