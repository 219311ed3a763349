#include "host/formula/TermHierarchy.h"

#include <algorithm>
#include <cstddef>
#include <map>

namespace qvhost {
namespace {

using Powers = std::map<int, int>;

/// Of each variable the power of all its parts together.
Powers PowersOf(const Term& term) {
  Powers powers;
  for (const TermPart& part : term.parts) powers[part.variable] += part.power;
  return powers;
}

bool IsFactor(const std::vector<bool>& isFactor, int variable) {
  return isFactor.at(static_cast<std::size_t>(variable));
}

}  // namespace

bool Contains(const Term& larger, const Term& smaller) {
  const Powers outer = PowersOf(larger);
  const Powers inner = PowersOf(smaller);
  if (outer == inner) return false;
  return std::ranges::all_of(inner, [&](const auto& entry) {
    const auto found = outer.find(entry.first);
    return found != outer.end() && found->second >= entry.second;
  });
}

bool HasMoreFactors(const Term& larger, const Term& smaller, const std::vector<bool>& isFactor) {
  if (!Contains(larger, smaller)) return false;
  const Powers inner = PowersOf(smaller);
  return std::ranges::all_of(PowersOf(larger), [&](const auto& entry) {
    if (IsFactor(isFactor, entry.first)) return true;
    const auto found = inner.find(entry.first);
    return found != inner.end() && found->second == entry.second;
  });
}

}  // namespace qvhost
