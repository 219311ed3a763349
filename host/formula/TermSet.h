#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "host/formula/Term.h"

namespace qvhost {

/// Whether a part of a formula puts the intercept in or out, and where it says so.
struct InterceptMark {
  bool in = true;
  Place place;
};

/// An ordered set of terms: the value of a part of a formula. Terms are the same when they have the
/// same atoms (variables with powers), in whatever order or nesting; the first one put in stays.
class TermSet {
 public:
  TermSet() = default;
  explicit TermSet(Term term) { Put(std::move(term)); }
  explicit TermSet(InterceptMark mark) : intercept_(mark) {}

  [[nodiscard]] const std::vector<Term>& Terms() const noexcept { return terms_; }
  [[nodiscard]] const std::optional<InterceptMark>& Intercept() const noexcept {
    return intercept_;
  }
  void SetIntercept(const std::optional<InterceptMark>& mark) { intercept_ = mark; }

  /// Adds a term behind the others; returns whether it is new.
  bool Put(Term term);
  /// Takes out the terms that `other` has too; returns how many.
  std::size_t Remove(const TermSet& other);
  [[nodiscard]] bool Contains(const Term& term) const;

 private:
  using Atoms = std::vector<std::pair<int, int>>;
  [[nodiscard]] static Atoms AtomsOf(const Term& term);

  std::vector<Term> terms_;
  std::set<Atoms> atoms_;  ///< Of each term, sorted.
  std::optional<InterceptMark> intercept_;
};

}  // namespace qvhost
