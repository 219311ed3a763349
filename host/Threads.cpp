#include "host/Threads.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace qvhost {

namespace {

/// The calls that are left, handed out in their order.
class Calls {
 public:
  Calls(std::size_t count, const std::function<void(std::size_t)>& work)
      : end_(count), work_(work) {}

  void MakeAll() noexcept {
    for (std::size_t i = next_++; i < end_; i = next_++) {
      try {
        work_(i);
      } catch (...) {
        Fail(i);
      }
    }
  }

  void ThrowFailure() const {
    if (failure_ != nullptr) std::rethrow_exception(failure_);
  }

 private:
  void Fail(std::size_t number) noexcept {
    const std::lock_guard lock(mutex_);
    if (failure_ != nullptr && failed_ < number) return;
    failure_ = std::current_exception();
    failed_ = number;
    end_ = std::min<std::size_t>(end_, number);
  }

  std::atomic<std::size_t> next_ = 0;
  std::atomic<std::size_t> end_;
  const std::function<void(std::size_t)>& work_;
  std::mutex mutex_;
  std::exception_ptr failure_;
  std::size_t failed_ = 0;
};

}  // namespace

int ThreadCount(int asked) {
  if (asked > 0) return asked;
  return std::max(static_cast<int>(std::thread::hardware_concurrency()), 1);
}

void ForEachOnThreads(int threads, std::size_t count,
                      const std::function<void(std::size_t)>& work) {
  Calls calls(count, work);
  {
    const std::size_t wanted = std::min(static_cast<std::size_t>(std::max(threads, 1)), count);
    std::vector<std::jthread> others;
    others.reserve(wanted);
    try {
      while (others.size() + 1 < wanted) others.emplace_back([&calls] { calls.MakeAll(); });
    } catch (const std::system_error&) {
      // Fewer threads do it as well.
    }
    calls.MakeAll();
  }
  calls.ThrowFailure();
}

}  // namespace qvhost
