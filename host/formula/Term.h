#pragma once

#include <vector>

#include "host/formula/Place.h"

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

}  // namespace qvhost
