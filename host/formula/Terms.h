#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "host/formula/FormulaError.h"

namespace qvhost {

/// One atom of a term: a variable raised to a power.
struct TermPart {
  int variable = 0;  ///< Index into Formula::variables.
  int power = 1;     ///< 1 or more; more than 1 only for `I(x^k)`, which needs a covariate.
  int depth = 0;     ///< Nesting depth: parts of depth d + 1 are nested in those of depth d.
};

/// A term of the model: the crossing of its parts. No atom (variable and power) occurs twice,
/// though a variable may with different powers: `x:I(x^2)`. Parts stand outermost first (by depth,
/// then as written); the depths in use are 0, 1, 2, ... without a gap, all 0 when nothing is
/// nested.
struct Term {
  std::vector<TermPart> parts;
  Place place;  ///< The stretch of the formula that made the term.
};

/// One factor to add to a model effect: `nested` starts a new level, inside all factors before it.
struct FactorStep {
  int variable = 0;
  bool nested = false;

  bool operator==(const FactorStep&) const = default;
};

/// The factors of a term in the order in which to add them to an effect, outermost first. The first
/// is never nested; a factor is nested when it stands deeper than the factor before it, so that
/// `(a*b)/c` gives a, b, c (nested). Covariates do not count: `a/x` has the one step a.
/// `isFactor` tells for each of Formula::variables whether it is a factor.
[[nodiscard]] std::vector<FactorStep> FactorSteps(const Term& term,
                                                  const std::vector<bool>& isFactor);

/// One covariate to add to a model effect, with its multiplicity.
struct CovariateStep {
  int variable = 0;
  int multiplicity = 1;

  bool operator==(const CovariateStep&) const = default;
};

/// The covariates of a term in the order written, each variable once: its powers are added up, so
/// that `x:I(x^2)` gives x with multiplicity 3. `isFactor` as for FactorSteps.
[[nodiscard]] std::vector<CovariateStep> CovariateSteps(const Term& term,
                                                        const std::vector<bool>& isFactor);

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

/// The operators of a formula on sets of terms. Each takes the place of its sign, for errors. Keeps
/// count of the work of one formula, and refuses one that would expand without bounds.
class TermAlgebra {
 public:
  static constexpr std::size_t kMaxTerms = 10'000;

  /// `text` is the formula, and must live longer.
  explicit TermAlgebra(std::string_view text) : text_(text) {}

  /// `left + right`; what the right side says of the intercept counts.
  void Add(TermSet& left, const TermSet& right, Place sign);
  /// `left - right`; returns how many terms it takes out.
  static std::size_t TakeOut(TermSet& left, const TermSet& right);
  /// `left:right`
  [[nodiscard]] TermSet Cross(const TermSet& left, const TermSet& right, Place sign);
  /// `left*right`: left + right + left:right.
  [[nodiscard]] TermSet Star(const TermSet& left, const TermSet& right, Place sign);
  /// `left/right`: left, then each term of the right nested in all variables of the left.
  [[nodiscard]] TermSet Nest(const TermSet& left, const TermSet& right, Place sign);
  /// `left %in% right`: each term of the left nested in all variables of the right.
  [[nodiscard]] TermSet Within(const TermSet& left, const TermSet& right, Place sign);
  /// `base^degree`: base*base*..., so that terms of a lower degree come first.
  [[nodiscard]] TermSet Power(const TermSet& base, int degree, Place sign);

 private:
  enum class Manner { kCrossed, kNested };

  [[nodiscard]] Term Merge(const Term& outer, const Term& inner, Manner manner, Place sign);
  /// All atoms of a set in one term.
  [[nodiscard]] Term Union(const TermSet& set, Place sign);
  bool Put(TermSet& set, Term term, Place sign) const;
  void PutAll(TermSet& set, const TermSet& more, Place sign) const;
  void RefuseIntercept(const TermSet& set) const;
  [[noreturn]] void RefuseExpansion(Place sign) const;

  std::string_view text_;
  std::size_t work_ = 0;
};

}  // namespace qvhost
