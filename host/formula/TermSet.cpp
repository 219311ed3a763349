#include "host/formula/TermSet.h"

#include <algorithm>

namespace qvhost {

bool TermSet::Put(Term term) {
  if (!atoms_.insert(AtomsOf(term)).second) return false;
  terms_.push_back(std::move(term));
  return true;
}

std::size_t TermSet::Remove(const TermSet& other) {
  const auto isOut = [&](const Term& term) { return other.Contains(term); };
  const auto kept = std::remove_if(terms_.begin(), terms_.end(), isOut);
  const auto count = static_cast<std::size_t>(terms_.end() - kept);
  terms_.erase(kept, terms_.end());
  for (const Atoms& atoms : other.atoms_) atoms_.erase(atoms);
  return count;
}

bool TermSet::Contains(const Term& term) const { return atoms_.contains(AtomsOf(term)); }

TermSet::Atoms TermSet::AtomsOf(const Term& term) {
  Atoms atoms;
  atoms.reserve(term.parts.size());
  for (const TermPart& part : term.parts) atoms.emplace_back(part.variable, part.power);
  std::sort(atoms.begin(), atoms.end());
  return atoms;
}

}  // namespace qvhost
