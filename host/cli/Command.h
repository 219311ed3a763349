#pragma once

namespace qvhost {

/// The command `qvreg`: reads the command line, does what it says, and answers the exit code (see
/// ExitCode). Results go to standard output, everything else to standard error; nothing is thrown.
/// One call at a time, from main's thread.
[[nodiscard]] int RunCommand(int argc, const char* const* argv) noexcept;

}  // namespace qvhost
