#include "host/fit/InterruptWatch.h"

#include <chrono>
#include <string>

#ifndef _WIN32
#include <poll.h>
#include <unistd.h>
#endif

#include "host/Error.h"
#include "host/TemporaryFolder.h"
#include "host/table/Connection.h"

namespace qvhost {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kInterval{25};
constexpr std::chrono::milliseconds kPatience{500};

/// Writes to standard error past the stream, which another thread may hold, and not at all where
/// writing would wait.
void WriteWithoutWaiting(const std::string& text) {
#ifndef _WIN32
  pollfd error{STDERR_FILENO, POLLOUT, 0};
  if (poll(&error, 1, 0) != 1 || (error.revents & POLLOUT) == 0) return;
  // The progress bar may have left its line.
  const std::string line = (isatty(STDERR_FILENO) != 0 ? "\r\x1b[2K" : "") + text;
  static_cast<void>(!write(STDERR_FILENO, line.data(), line.size()));
#else
  static_cast<void>(text);
#endif
}

}  // namespace

InterruptWatch::InterruptWatch(const Interrupt& interrupt)
    : interrupt_(interrupt), thread_([this] { Watch(); }) {}

InterruptWatch::~InterruptWatch() {
  {
    const std::lock_guard lock(mutex_);
    isOver_ = true;
  }
  over_.notify_one();
  thread_.join();
}

void InterruptWatch::RunLastStep(const std::function<void()>& step) {
  const std::lock_guard lock(mutex_);
  if (interrupt_.Requested()) throw Cancelled(interrupt_.Signal());
  step();
  isOver_ = true;
}

void InterruptWatch::Watch() {
  Clock::time_point deadline = Clock::time_point::max();
  std::unique_lock lock(mutex_);
  while (!over_.wait_for(lock, kInterval, [this] { return isOver_; })) {
    if (!interrupt_.Requested()) continue;
    if (deadline == Clock::time_point::max()) deadline = Clock::now() + kPatience;
    if (interrupt_.Repeated() || Clock::now() >= deadline) EndProcess();
    // Again and again, as a query that is about to start forgets it.
    Connection::InterruptAll();
  }
}

void InterruptWatch::EndProcess() const {
  const Cancelled reason(interrupt_.Signal());
  WriteWithoutWaiting(std::string("qvreg: ") + reason.what() + "\n");
  ExitWithoutTemporaries(static_cast<int>(reason.Code()));
}

}  // namespace qvhost
