#include "host/fit/Interrupt.h"

#include <atomic>
#include <chrono>
#include <csignal>
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

#ifdef SIGHUP
constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP};
#else
constexpr std::array kSignals = {SIGINT, SIGTERM};
#endif

// A signal handler has no argument to carry state.
std::atomic<int> firstSignal{0};
std::atomic<int> signalCount{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler writes them");

extern "C" void OnSignal(int signal) {
  int none = 0;
  firstSignal.compare_exchange_strong(none, signal, std::memory_order_relaxed);
  // Some platforms restore the default action before they call a handler; the third signal gets it
  // everywhere, in case nothing else can end the process.
  const bool isRepeated = signalCount.fetch_add(1, std::memory_order_relaxed) > 0;
  std::signal(signal, isRepeated ? SIG_DFL : OnSignal);
}

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kInterval{25};
constexpr std::chrono::milliseconds kGracePeriod{500};

/// Writes to standard error without its stream, which another thread may hold locked, and not at
/// all where writing would block.
void WriteWithoutWaiting(const std::string& text) {
#ifndef _WIN32
  pollfd error{STDERR_FILENO, POLLOUT, 0};
  if (poll(&error, 1, 0) != 1 || (error.revents & POLLOUT) == 0) return;
  // The progress bar may still be on the line.
  const std::string line = (isatty(STDERR_FILENO) != 0 ? "\r\x1b[2K" : "") + text;
  static_cast<void>(!write(STDERR_FILENO, line.data(), line.size()));
#else
  static_cast<void>(text);
#endif
}

}  // namespace

Interrupt::Interrupt() {
  static_assert(kSignals.size() <= kMostSignals);
  firstSignal.store(0, std::memory_order_relaxed);
  signalCount.store(0, std::memory_order_relaxed);
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    previous_[i] = std::signal(kSignals[i], OnSignal);
    if (previous_[i] != SIG_IGN) continue;
    std::signal(kSignals[i], SIG_IGN);
    // It may have arrived in between.
    int ignored = kSignals[i];
    firstSignal.compare_exchange_strong(ignored, 0, std::memory_order_relaxed);
  }
}

Interrupt::~Interrupt() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    if (previous_[i] != SIG_ERR) std::signal(kSignals[i], previous_[i]);
  }
}

bool Interrupt::Repeated() const noexcept {
  return signalCount.load(std::memory_order_relaxed) > 1;
}

int Interrupt::Signal() const noexcept { return firstSignal.load(std::memory_order_relaxed); }

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
    if (deadline == Clock::time_point::max()) deadline = Clock::now() + kGracePeriod;
    if (interrupt_.Repeated() || Clock::now() >= deadline) EndProcess();
    // Repeatedly, as a query that is about to start misses it.
    Connection::InterruptAll();
  }
}

void InterruptWatch::EndProcess() const {
  const Cancelled reason(interrupt_.Signal());
  WriteWithoutWaiting(std::string("qvreg: ") + reason.what() + "\n");
  ExitWithoutTemporaries(static_cast<int>(reason.Code()));
}

}  // namespace qvhost
