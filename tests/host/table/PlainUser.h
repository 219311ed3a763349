#pragma once

#include <cstdlib>

#include <unistd.h>

namespace qvhost {

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
