#pragma once

// A run-time library of a sanitizer wants memory of its own for every thread.
#if defined(__linux__) && defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && \
    !defined(__SANITIZE_THREAD__)
#define QVTEST_FEW_THREADS 1
#endif
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#undef QVTEST_FEW_THREADS
#endif
#endif

#if defined(QVTEST_FEW_THREADS)
#include <cstddef>
#include <fstream>

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

namespace qvtest {

/// While it lives, a thread's stack is so large that the process has room for `count` more.
class FewThreads {
 public:
  explicit FewThreads(int count) {
    pthread_getattr_default_np(&attributesBefore_);
    pthread_attr_t attributes;
    pthread_getattr_default_np(&attributes);
    pthread_attr_setstacksize(&attributes, kStack);
    pthread_setattr_default_np(&attributes);
    pthread_attr_destroy(&attributes);

    getrlimit(RLIMIT_AS, &limitBefore_);
    rlimit limit = limitBefore_;
    limit.rlim_cur = UsedSpace() + kStack / 2 + kStack * static_cast<std::size_t>(count);
    setrlimit(RLIMIT_AS, &limit);
  }
  FewThreads(const FewThreads&) = delete;
  FewThreads& operator=(const FewThreads&) = delete;
  ~FewThreads() {
    setrlimit(RLIMIT_AS, &limitBefore_);
    pthread_setattr_default_np(&attributesBefore_);
    pthread_attr_destroy(&attributesBefore_);
  }

 private:
  static constexpr std::size_t kStack = std::size_t{1} << 28U;

  static std::size_t UsedSpace() {
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  }

  pthread_attr_t attributesBefore_{};
  rlimit limitBefore_{};
};

}  // namespace qvtest
#endif
