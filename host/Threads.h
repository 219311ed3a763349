#pragma once

#include <cstddef>
#include <functional>

#include "qvreg/parallel/QvForEach.h"

namespace qvhost {

/// As QvForEach, for places in lists and work that does not ask which thread makes it.
inline void ForEachOnThreads(int threads, std::size_t count,
                             const std::function<void(std::size_t)>& work) {
  QvForEach(threads, static_cast<long long>(count),
            [&](int /*worker*/, long long number) { work(static_cast<std::size_t>(number)); });
}

}  // namespace qvhost
