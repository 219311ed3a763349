#include "host/cli/StandardStreams.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <system_error>

#include <fmt/format.h>

#include "host/Error.h"

#ifndef _WIN32
#include <fcntl.h>
#include <unistd.h>
#endif

namespace qvhost {

void PrepareStandardStreams() {
#ifndef _WIN32
  std::signal(SIGPIPE, SIG_IGN);
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (fcntl(stream, F_GETFD) != -1) continue;
    // Opened the wrong way round, so that using the stream still fails. The lowest free number is
    // the one just found closed.
    static_cast<void>(open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY));
  }
#endif
}

bool WriteStandardOutput(std::string_view text) {
  const bool written =
      std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
  if (written) return true;
  if (errno == EPIPE) return false;
  throw Error(ExitCode::kRunFailed,
              fmt::format("Standard output could not be written: {}. Check where it is sent to.",
                          std::generic_category().message(errno)));
}

void WriteStandardError(std::string_view message) noexcept {
  std::fwrite(message.data(), 1, message.size(), stderr);
  std::fputc('\n', stderr);
  std::fflush(stderr);
}

}  // namespace qvhost
