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

std::string Line(std::string_view stage, double share, long long rows) {
  if (share < 0.0) {
    return fmt::format("{:<12} {} records", stage, rows);
  }
  const double inside = std::min(share, 1.0);
  const int filled = static_cast<int>(inside * kBarWidth);
  return fmt::format("{:<12} [{:=<{}}{:<{}}] {:3.0f}%  {} records", stage, "", filled, "",
                     kBarWidth - filled, 100.0 * inside, rows);
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
