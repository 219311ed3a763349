#pragma once

#include <chrono>
#include <cstdio>
#include <string>
#include <string_view>

namespace qvhost {

/// One line on a terminal that shows the progress of a long run: the stage, a bar, the share.
/// Nothing is shown of a run that takes less than a moment, and nothing at all when the stream is
/// no terminal. The line is erased when the bar is destroyed or asked to, so that it never mixes
/// with a report.
///
/// Borrows the stream. One thread at a time.
class ProgressBar {
 public:
  /// A bar on standard error, if that is a terminal. The environment variable
  /// QVREG_PROGRESS_DELAY_MS sets the moment's length, by default 400 milliseconds.
  ProgressBar();
  /// A bar on any stream, terminal or not, without the moment's delay at its start.
  explicit ProgressBar(std::FILE* stream);
  ~ProgressBar() { Erase(); }
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  /// Shows that `stage` is done to `share` (0 to 1; below 0 when it is not known) and has seen so
  /// many `rows`. May be called as often as wished: the line changes a few times a second.
  void Show(std::string_view stage, double share, long long rows);

  /// Erases the line.
  void Erase();

 private:
  using Clock = std::chrono::steady_clock;

  std::FILE* stream_;  ///< Null: nothing is shown.
  Clock::time_point next_;
  std::string stage_;
  bool shown_ = false;
};

}  // namespace qvhost
