#include "host/formula/Term.h"

#include <algorithm>
#include <cstddef>

namespace qvhost {
namespace {

bool IsFactor(const std::vector<bool>& isFactor, int variable) {
  return isFactor.at(static_cast<std::size_t>(variable));
}

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

}  // namespace qvhost
