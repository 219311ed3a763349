#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

/// How many threads to use where a host asks for so many, 0 being as many as the machine has cores.
/// Throws the refusal of a number below 0.
[[nodiscard]] int QvCThreadCount(std::int32_t asked);

/// Calls `work(worker, number)` once for each number below `count`, in their order, on up to
/// `threads` threads: a worker's calls follow one another, and worker 0 is the calling thread. Once
/// a call throws, numbers that were not begun are left out; then what the call of the lowest number
/// threw is thrown.
void QvCForEach(int threads, std::size_t count,
                const std::function<void(int worker, std::size_t number)>& work);
