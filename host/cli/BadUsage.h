#pragma once

#include <string>

namespace qvhost {

/// Throws Error (kBadInput): an option of `qvreg fit` has a value that it cannot have. Points to
/// the help.
[[noreturn]] void BadUsage(const std::string& message);

}  // namespace qvhost
