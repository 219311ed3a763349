#include "qvreg/parallel/QvForEach.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace {

/// The calls that are left.
class Calls {
 public:
  Calls(long long count, const std::function<void(int, long long)>& work)
      : fEnd(count), fWork(work) {}

  void MakeAll(int worker) noexcept {
    for (long long number = fNext++; number < fEnd; number = fNext++) {
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
  void Fail(long long number) noexcept {
    const std::lock_guard lock(fLock);
    if (fFailure != nullptr && fFailed < number) return;
    fFailure = std::current_exception();
    fFailed = number;
    fEnd = std::min(fEnd.load(), number);
  }

  std::atomic<long long> fNext = 0;
  std::atomic<long long> fEnd;
  const std::function<void(int, long long)>& fWork;
  std::mutex fLock;
  std::exception_ptr fFailure;
  long long fFailed = 0;
};

}  // namespace

int QvThreadCount(int asked) {
  if (asked > 0) return asked;
  return std::max(static_cast<int>(std::thread::hardware_concurrency()), 1);
}

void QvForEach(int threads, long long count,
               const std::function<void(int worker, long long number)>& work) {
  Calls calls(count, work);
  {
    const auto wanted = static_cast<int>(std::min<long long>(std::max(threads, 1), count));
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
