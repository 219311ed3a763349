#include "qvreg/c/QvCForEach.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "qvreg/c/QvCCall.h"

namespace {

/// The calls that are left.
class Calls {
 public:
  Calls(std::size_t count, const std::function<void(int, std::size_t)>& work)
      : fEnd(count), fWork(work) {}

  void MakeAll(int worker) noexcept {
    for (std::size_t number = fNext++; number < fEnd; number = fNext++) {
      try {
        fWork(worker, number);
      } catch (...) {
        Fail(number);
      }
    }
  }
  void ThrowFailure() const {
    if (fFailure != nullptr) std::rethrow_exception(fFailure);
  }

 private:
  void Fail(std::size_t number) noexcept {
    const std::lock_guard lock(fLock);
    if (fFailure != nullptr && fFailed < number) return;
    fFailure = std::current_exception();
    fFailed = number;
    fEnd = std::min(fEnd.load(), number);
  }

  std::atomic<std::size_t> fNext = 0;
  std::atomic<std::size_t> fEnd;
  const std::function<void(int, std::size_t)>& fWork;
  std::mutex fLock;
  std::exception_ptr fFailure;
  std::size_t fFailed = 0;
};

}  // namespace

int QvCThreadCount(std::int32_t asked) {
  if (QvCCheck::NotNegative(asked, "threads") > 0) return asked;
  return std::max(static_cast<int>(std::thread::hardware_concurrency()), 1);
}

void QvCForEach(int threads, std::size_t count,
                const std::function<void(int worker, std::size_t number)>& work) {
  Calls calls(count, work);
  {
    const auto wanted = static_cast<int>(std::min(static_cast<std::size_t>(threads), count));
    std::vector<std::jthread> others;
    others.reserve(static_cast<std::size_t>(std::max(wanted, 1)));
    try {
      for (int worker = 1; worker < wanted; ++worker) {
        others.emplace_back([&calls, worker] { calls.MakeAll(worker); });
      }
    } catch (const std::system_error&) {
      // Fewer threads do it as well.
    }
    calls.MakeAll(0);
  }
  calls.ThrowFailure();
}
