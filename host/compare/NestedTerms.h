#pragma once

#include <compare>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "host/compare/SavedFit.h"

namespace qvhost {

/// A term as the parameters of a fit tell it: its factors, and its covariates with their powers.
/// The intercept has neither. A plain value.
struct SavedTerm {
  std::set<std::string> factors;
  std::map<std::string, int> covariates;

  bool operator==(const SavedTerm&) const = default;
  bool operator<(const SavedTerm& other) const {
    return std::tie(factors, covariates) < std::tie(other.factors, other.covariates);
  }
};

/// The terms of a fit, each once, in the order of the parameters.
[[nodiscard]] std::vector<SavedTerm> TermsOf(const SavedFit& fit);

/// Whether the columns of `inner` are combinations of those of `outer`, whatever the records, as
/// far as names tell: `outer` has all of its factors, whose levels add up to it, and the same
/// covariates in the same powers; or in place of one of these a factor of the same values, as C(x)
/// is for x.
[[nodiscard]] bool Spans(const SavedTerm& outer, const SavedTerm& inner);

/// The first term of `smaller` that no term of `larger` spans; none when each is spanned by one, so
/// that the one model is nested in the other. As a formula writes it.
[[nodiscard]] std::optional<std::string> TermBeyond(const SavedFit& smaller,
                                                    const SavedFit& larger);

}  // namespace qvhost
