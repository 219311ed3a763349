#include "host/fit/Interrupt.h"

#include <atomic>
#include <csignal>

namespace qvhost {

namespace {

#ifdef SIGHUP
constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP};
#else
constexpr std::array kSignals = {SIGINT, SIGTERM};
#endif

// A signal handler has no argument to carry state: these are all that it may touch.
std::atomic<int> firstSignal{0};
std::atomic<int> signalCount{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler writes them");

extern "C" void OnSignal(int signal) {
  int none = 0;
  firstSignal.compare_exchange_strong(none, signal, std::memory_order_relaxed);
  // Some platforms put the default action back before they call a handler; the third signal meets
  // it everywhere, in case nothing else can end the process.
  const bool isRepeated = signalCount.fetch_add(1, std::memory_order_relaxed) > 0;
  std::signal(signal, isRepeated ? SIG_DFL : OnSignal);
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
    // It may have come in between.
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

}  // namespace qvhost
