#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

namespace qvhost {

/// The order of the sorted levels: entry k is the provisional code of the level that comes k-th.
/// `before(a, b)` compares levels by their provisional codes; no two levels are equal.
template <typename Before>
[[nodiscard]] std::vector<std::uint32_t> SortedOrder(std::size_t levels, Before before) {
  std::vector<std::uint32_t> order(levels);
  std::iota(order.begin(), order.end(), 0U);
  std::sort(order.begin(), order.end(), before);
  return order;
}

/// The final code of each provisional one; empty when the order changes nothing.
[[nodiscard]] inline std::vector<double> FinalCodesOf(const std::vector<std::uint32_t>& order) {
  if (std::is_sorted(order.begin(), order.end())) return {};
  std::vector<double> codes(order.size());
  for (std::size_t k = 0; k < order.size(); ++k) codes[order[k]] = static_cast<double>(k);
  return codes;
}

}  // namespace qvhost
