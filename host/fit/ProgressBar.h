#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "host/Terminal.h"

namespace qvhost {

/// One line on a terminal that shows the progress of a long run: the stage, a bar, the share.
/// Nothing is shown of a run that takes less than a moment, and nothing at all when the stream is
/// no terminal. The line fits the terminal, and is erased when the bar is destroyed or asked to, so
/// that it never mixes with a report.
///
/// Borrows the stream. One thread at a time.
class ProgressBar {
 public:
  /// A bar on standard error, if that is a terminal. The environment variable
  /// QVREG_PROGRESS_DELAY_MS sets the moment's length, by default 400 milliseconds.
  ProgressBar();
  /// A bar on any stream, terminal or not, of so many columns, without the moment's delay at its
  /// start. Without a stream nothing is shown.
  explicit ProgressBar(std::FILE* stream, std::size_t width = kUsualWidth);
  ~ProgressBar() { Erase(); }
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  /// What the stages shown from now on are parts of, such as `fold 2 of 5`; empty for nothing.
  void SetTask(std::string task) { task_ = std::move(task); }

  /// Shows that `stage` is done to `share` (0 to 1; below 0 when it is not known) and has seen so
  /// many `rows`. May be called as often as wished: the line changes a few times a second.
  void Show(std::string_view stage, double share, long long rows);

  /// Shows that `stage` has seen so many bytes, of how many is not known.
  void ShowBytes(std::string_view stage, std::uint64_t bytes);

  /// Erases the line.
  void Erase();

 private:
  using Clock = std::chrono::steady_clock;

  bool IsDue(std::string_view stage);
  void Print(const std::string& line);
  [[nodiscard]] std::size_t LineWidth() const;

  std::FILE* stream_;      ///< Null: nothing is shown.
  std::size_t width_ = 0;  ///< 0: the terminal's, whatever it is at the moment.
  Clock::time_point next_;
  std::string task_;
  std::string stage_;
  bool shown_ = false;
};

/// Shows how many of `total` records a stage has seen. Borrows the bar.
[[nodiscard]] std::function<void(long long records)> ShowShare(const char* stage, long long total,
                                                               ProgressBar& progress);

}  // namespace qvhost
