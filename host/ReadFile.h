#pragma once

#include <cstddef>
#include <string>

namespace qvhost {

/// All bytes of a file that is kept in memory, or of a pipe up to its end. `what` is what the file
/// should be, for messages: "the JSON of a fit". Throws Error (kBadInput), which names the file,
/// where there is none, it cannot be read or has more than `most` bytes.
[[nodiscard]] std::string ReadFile(const std::string& file, const std::string& what,
                                   std::size_t most);

}  // namespace qvhost
