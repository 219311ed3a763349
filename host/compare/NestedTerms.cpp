#include "host/compare/NestedTerms.h"

#include <algorithm>

#include <fmt/format.h>

namespace qvhost {

namespace {

std::string TextOf(const SavedTerm& term) {
  std::string text;
  const auto add = [&text](const std::string& part) { text += (text.empty() ? "" : ":") + part; };
  for (const std::string& factor : term.factors) add(factor);
  for (const auto& [covariate, power] : term.covariates) {
    add(power == 1 ? covariate : fmt::format("I({}^{})", covariate, power));
  }
  return text.empty() ? "intercept" : text;
}

}  // namespace

std::vector<SavedTerm> TermsOf(const SavedFit& fit) {
  std::vector<SavedTerm> terms;
  std::set<SavedTerm> known;
  for (const SavedParameter& parameter : fit.parameters) {
    // All categories have the same terms.
    if (parameter.category != fit.parameters.front().category) break;
    SavedTerm term{parameter.factors, parameter.covariates};
    if (known.insert(term).second) terms.push_back(std::move(term));
  }
  return terms;
}

bool Spans(const SavedTerm& outer, const SavedTerm& inner) {
  if (!std::ranges::includes(outer.factors, inner.factors)) return false;
  // The columns of outer vary with these beyond what inner has.
  const auto isIn = [](const auto& covariate, const SavedTerm& term) {
    const auto found = term.covariates.find(covariate.first);
    return found != term.covariates.end() && found->second == covariate.second;
  };
  return std::ranges::all_of(outer.covariates,
                             [&](const auto& covariate) { return isIn(covariate, inner); }) &&
         std::ranges::all_of(inner.covariates, [&](const auto& covariate) {
           return isIn(covariate, outer) || outer.factors.contains(covariate.first);
         });
}

std::optional<std::string> TermBeyond(const SavedFit& smaller, const SavedFit& larger) {
  const std::vector<SavedTerm> outer = TermsOf(larger);
  for (const SavedTerm& inner : TermsOf(smaller)) {
    const bool isSpanned =
        std::ranges::any_of(outer, [&](const SavedTerm& term) { return Spans(term, inner); });
    if (!isSpanned) return TextOf(inner);
  }
  return std::nullopt;
}

}  // namespace qvhost
