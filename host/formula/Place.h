#pragma once

#include <cstddef>

namespace qvhost {

/// A stretch [begin, end) of a formula's text, counted in bytes.
struct Place {
  std::size_t begin = 0;
  std::size_t end = 0;

  bool operator==(const Place&) const = default;
};

/// The smallest stretch that holds both.
[[nodiscard]] constexpr Place Span(const Place& a, const Place& b) noexcept {
  return {a.begin < b.begin ? a.begin : b.begin, a.end > b.end ? a.end : b.end};
}

}  // namespace qvhost
