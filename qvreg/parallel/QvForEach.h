#pragma once

#include <functional>

#include "qvreg/QvExport.h"

/// \file
/// Numbered pieces of work on several threads.

/// How many threads to use where `asked` are asked for: as many as the machine has cores for 0 or
/// less.
[[nodiscard]] QVREG_EXPORT int QvThreadCount(int asked);

/// Calls `work(worker, number)` once for each number from 0 up to but not including `count`, in
/// their order, on up to `threads` threads: a worker's calls follow one another, and worker 0 is
/// the calling thread. Returns when all calls have ended. Once a call throws, numbers that were not
/// begun are left out; then what the call of the lowest number threw is thrown.
QVREG_EXPORT void QvForEach(int threads, long long count,
                            const std::function<void(int worker, long long number)>& work);
