#include "host/formula/Terms.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "host/formula/FormulaError.h"

namespace qvhost {
namespace {

bool IsFactor(const std::vector<bool>& isFactor, int variable) {
  return isFactor.at(static_cast<std::size_t>(variable));
}

/// Comparisons of parts that the merging of terms may cost in one formula.
constexpr std::size_t kMaxWork = 10'000'000;

/// Puts parts of lower depth first and numbers the depths in use 0, 1, 2, ...
void SortByDepth(std::vector<TermPart>& parts) {
  std::stable_sort(parts.begin(), parts.end(),
                   [](const TermPart& a, const TermPart& b) { return a.depth < b.depth; });
  int last = parts.front().depth;
  int depth = 0;
  for (TermPart& part : parts) {
    if (part.depth != last) ++depth;
    last = std::exchange(part.depth, depth);
  }
}

int DeepestOf(const Term& term) { return term.parts.back().depth; }

}  // namespace

std::vector<FactorStep> FactorSteps(const Term& term, const std::vector<bool>& isFactor) {
  std::vector<FactorStep> steps;
  int depth = 0;
  for (const TermPart& part : term.parts) {
    if (!IsFactor(isFactor, part.variable)) continue;
    const bool nested = !steps.empty() && part.depth > depth;
    steps.push_back({part.variable, nested});
    depth = part.depth;
  }
  return steps;
}

std::vector<CovariateStep> CovariateSteps(const Term& term, const std::vector<bool>& isFactor) {
  std::vector<CovariateStep> steps;
  for (const TermPart& part : term.parts) {
    if (IsFactor(isFactor, part.variable)) continue;
    const auto same = [&](const CovariateStep& step) { return step.variable == part.variable; };
    const auto found = std::find_if(steps.begin(), steps.end(), same);
    if (found == steps.end()) {
      steps.push_back({part.variable, part.power});
    } else {
      found->multiplicity += part.power;
    }
  }
  return steps;
}

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

void TermAlgebra::Add(TermSet& left, const TermSet& right, Place sign) {
  PutAll(left, right, sign);
  if (right.Intercept()) left.SetIntercept(right.Intercept());
}

std::size_t TermAlgebra::TakeOut(TermSet& left, const TermSet& right) {
  if (right.Intercept()) {
    left.SetIntercept(InterceptMark{!right.Intercept()->in, right.Intercept()->place});
  }
  return left.Remove(right);
}

TermSet TermAlgebra::Cross(const TermSet& left, const TermSet& right, Place sign) {
  RefuseIntercept(left);
  RefuseIntercept(right);
  TermSet result;
  for (const Term& l : left.Terms()) {
    for (const Term& r : right.Terms()) Put(result, Merge(l, r, Manner::kCrossed, sign), sign);
  }
  return result;
}

TermSet TermAlgebra::Star(const TermSet& left, const TermSet& right, Place sign) {
  TermSet crossed = Cross(left, right, sign);
  TermSet result = left;
  PutAll(result, right, sign);
  PutAll(result, crossed, sign);
  return result;
}

TermSet TermAlgebra::Nest(const TermSet& left, const TermSet& right, Place sign) {
  const TermSet inner = Within(right, left, sign);
  TermSet result = left;
  PutAll(result, inner, sign);
  return result;
}

TermSet TermAlgebra::Within(const TermSet& left, const TermSet& right, Place sign) {
  RefuseIntercept(right);
  RefuseIntercept(left);
  if (right.Terms().empty()) return left;
  const Term outer = Union(right, sign);
  TermSet result;
  for (const Term& inner : left.Terms()) {
    Put(result, Merge(outer, inner, Manner::kNested, sign), sign);
  }
  return result;
}

TermSet TermAlgebra::Power(const TermSet& base, int degree, Place sign) {
  RefuseIntercept(base);
  TermSet result = base;
  // Only terms that the last round brought can bring new ones in the next.
  TermSet latest = base;
  for (int i = 1; i < degree && !latest.Terms().empty(); ++i) {
    const TermSet crossed = Cross(latest, base, sign);
    latest = TermSet();
    for (const Term& term : crossed.Terms()) {
      if (Put(result, term, sign)) Put(latest, term, sign);
    }
  }
  return result;
}

Term TermAlgebra::Merge(const Term& outer, const Term& inner, Manner manner, Place sign) {
  work_ += (outer.parts.size() + 1) * (inner.parts.size() + 1);
  if (work_ > kMaxWork) RefuseExpansion(sign);
  Term merged{outer.parts, Span(outer.place, inner.place)};
  const bool nested = manner == Manner::kNested;
  const int shift = nested ? DeepestOf(outer) + 1 : 0;
  for (const TermPart& part : inner.parts) {
    const auto end = merged.parts.begin() + static_cast<std::ptrdiff_t>(outer.parts.size());
    const auto same = std::find_if(merged.parts.begin(), end, [&](const TermPart& p) {
      return p.variable == part.variable && p.power == part.power;
    });
    if (same == end) {
      merged.parts.push_back({part.variable, part.power, part.depth + shift});
    } else if (!nested) {
      same->depth = std::max(same->depth, part.depth);
    }
  }
  SortByDepth(merged.parts);
  return merged;
}

Term TermAlgebra::Union(const TermSet& set, Place sign) {
  Term all = set.Terms().front();
  for (const Term& term : set.Terms()) all = Merge(all, term, Manner::kCrossed, sign);
  return all;
}

bool TermAlgebra::Put(TermSet& set, Term term, Place sign) const {
  const bool isNew = set.Put(std::move(term));
  if (set.Terms().size() > kMaxTerms) RefuseExpansion(sign);
  return isNew;
}

void TermAlgebra::PutAll(TermSet& set, const TermSet& more, Place sign) const {
  for (const Term& term : more.Terms()) Put(set, term, sign);
}

void TermAlgebra::RefuseIntercept(const TermSet& set) const {
  if (!set.Intercept()) return;
  throw FormulaError::At(text_, set.Intercept()->place,
                         "1 and 0 stand for the intercept and cannot be crossed or nested; add or "
                         "take them out with '+' and '-'.");
}

void TermAlgebra::RefuseExpansion(Place sign) const {
  throw FormulaError::At(text_, sign,
                         "The formula expands too far (at most " + std::to_string(kMaxTerms) +
                             " terms); cross fewer of them.");
}

}  // namespace qvhost
