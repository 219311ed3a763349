#pragma once

#include <csignal>
#include <cstdlib>

#include <sys/resource.h>
#include <unistd.h>

namespace qvhost {

/// Limits the size of this process's files, as a full disk would, while it lives.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }

 private:
  rlimit before_{};
  void (*handler_)(int);
};

/// Makes a root process act as a user without rights while it lives; any other stays as it is.
class PlainUser {
 public:
  PlainUser() : wasRoot_(geteuid() == 0 && seteuid(kNobody) == 0) {}
  PlainUser(const PlainUser&) = delete;
  PlainUser& operator=(const PlainUser&) = delete;
  ~PlainUser() {
    if (wasRoot_ && seteuid(0) != 0) std::abort();
  }

 private:
  static constexpr uid_t kNobody = 65534;

  bool wasRoot_;
};

}  // namespace qvhost
