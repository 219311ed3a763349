#pragma once

#include <string_view>

namespace qvhost {

/// Makes writing to a closed pipe an error that is noticed instead of the end of the process, and
/// makes sure that no file opened later takes the place of a standard stream that the caller has
/// closed.
void PrepareStandardStreams();

/// Writes to standard output and makes sure that it got there. False when nobody reads it any more,
/// as behind `| head`. Throws Error (kRunFailed) with any other reason.
[[nodiscard]] bool WriteStandardOutput(std::string_view text);

/// Writes a message to standard error, a line end added. What cannot be written is lost.
void WriteStandardError(std::string_view message) noexcept;

}  // namespace qvhost
