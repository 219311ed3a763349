#include "host/fit/ProgressBar.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>

#include <fmt/format.h>

#include "host/TextLayout.h"

namespace qvhost {

namespace {

constexpr std::chrono::milliseconds kDelay{400};
constexpr std::chrono::milliseconds kInterval{100};
constexpr int kBarWidth = 30;
constexpr int kLeastBarWidth = 10;
constexpr std::string_view kEraseLine = "\r\x1b[2K";

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

/// The stage, the bar as long as there is room for it, and the records if there is; at last the
/// share alone.
std::string Line(std::string_view stage, double share, long long rows, std::size_t width) {
  const std::string name = fmt::format("{:<12}", stage);
  const std::string records = fmt::format("{} records", rows);
  if (share < 0.0) return CutMiddle(name + " " + records, width);
  for (int size = kBarWidth; size >= kLeastBarWidth; --size) {
    std::string line = fmt::format("{} {}  {}", name, Bar(share, size), records);
    if (TextWidth(line) <= width) return line;
  }
  std::string line = name + " " + Bar(share, kLeastBarWidth);
  if (TextWidth(line) <= width) return line;
  const std::string percent = fmt::format(" {:3.0f}%", 100.0 * std::min(share, 1.0));
  return CutMiddle(stage, width - std::min(width, percent.size())) + percent;
}

std::string SizeText(std::uint64_t bytes) {
  constexpr double kStep = 1000.0;
  constexpr std::array<std::string_view, 5> kUnits = {"bytes", "kB", "MB", "GB", "TB"};
  auto size = static_cast<double>(bytes);
  std::size_t unit = 0;
  for (; size >= kStep && unit + 1 < kUnits.size(); ++unit) size /= kStep;
  return fmt::format("{:.{}f} {}", size, unit == 0 ? 0 : 1, kUnits.at(unit));
}

}  // namespace

ProgressBar::ProgressBar()
    : stream_(TakesEscapes(stderr) ? stderr : nullptr), next_(Clock::now() + Delay()) {}

ProgressBar::ProgressBar(std::FILE* stream, std::size_t width)
    : stream_(stream), width_(width), next_(Clock::now()) {}

bool ProgressBar::IsDue(std::string_view stage) {
  if (stream_ == nullptr) return false;
  const Clock::time_point now = Clock::now();
  if (now < next_ && (!shown_ || stage == stage_)) return false;
  next_ = now + kInterval;
  stage_ = stage;
  shown_ = true;
  return true;
}

/// A line that fills the last column could wrap, and then not be erased.
std::size_t ProgressBar::LineWidth() const {
  if (width_ > 0) return width_ - 1;
  return std::min(OutputWidth(stream_), TerminalWidth(stream_).value_or(kUsualWidth)) - 1;
}

void ProgressBar::Print(const std::string& line) {
  fmt::print(stream_, "{}{}", kEraseLine, line);
  std::fflush(stream_);
}

void ProgressBar::Show(std::string_view stage, double share, long long rows) {
  if (!IsDue(stage)) return;
  Print(Line(task_.empty() ? std::string(stage) : fmt::format("{}, {}", task_, stage), share, rows,
             LineWidth()));
}

void ProgressBar::ShowBytes(std::string_view stage, std::uint64_t bytes) {
  if (IsDue(stage)) Print(CutMiddle(fmt::format("{:<12} {}", stage, SizeText(bytes)), LineWidth()));
}

void ProgressBar::Erase() {
  if (!shown_) return;
  shown_ = false;
  std::fwrite(kEraseLine.data(), 1, kEraseLine.size(), stream_);
  std::fflush(stream_);
}

std::function<void(long long records)> ShowShare(const char* stage, long long total,
                                                 ProgressBar& progress) {
  return [stage, total, &progress](long long records) {
    progress.Show(stage, static_cast<double>(records) / static_cast<double>(total), records);
  };
}

}  // namespace qvhost
