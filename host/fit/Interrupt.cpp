#include "host/fit/Interrupt.h"

#include <atomic>
#include <csignal>

namespace qvhost {

namespace {

// A signal handler has no argument to carry state: this flag is the one thing it may touch.
std::atomic<bool> interruptRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler writes it");

extern "C" void OnInterrupt(int signal) {
  // Some platforms put the default action back before they call a handler.
  std::signal(signal, OnInterrupt);
  interruptRequested.store(true, std::memory_order_relaxed);
}

}  // namespace

Interrupt::Interrupt() : previous_(std::signal(SIGINT, OnInterrupt)) {
  interruptRequested.store(false, std::memory_order_relaxed);
  if (previous_ == SIG_IGN) std::signal(SIGINT, SIG_IGN);
}

Interrupt::~Interrupt() {
  if (previous_ != SIG_ERR) std::signal(SIGINT, previous_);
}

bool Interrupt::Requested() const noexcept {
  return interruptRequested.load(std::memory_order_relaxed);
}

}  // namespace qvhost
