#pragma once

#include <cstddef>
#include <functional>

namespace qvhost {

/// How many threads to use where `asked` are asked for: as many as the machine has cores for 0.
[[nodiscard]] int ThreadCount(int asked);

/// Calls `work` with 0, 1, … up to but not including `count`, each once, on up to `threads`
/// threads, the calling one among them. Returns when all calls have ended. Once one throws, later
/// numbers are not begun; then what the call of the lowest number threw is thrown.
void ForEachOnThreads(int threads, std::size_t count, const std::function<void(std::size_t)>& work);

}  // namespace qvhost
