#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace qvhost {

/// Throws Error (kBadInput): the value of a column in a row, counted from 0, is infinite.
[[noreturn]] void RefuseInfinite(const std::string& label, std::int64_t row);

/// Throws Error (kBadInput): a factor has more levels than are allowed.
[[noreturn]] void RefuseManyLevels(const std::string& label, std::size_t maxLevels);

}  // namespace qvhost
