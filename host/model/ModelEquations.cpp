#include "host/model/ModelEquations.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <numeric>
#include <tuple>

#include "host/Error.h"
#include "host/fit/ScaledEstimates.h"
#include "host/model/RestoredModel.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/design/QvFactorCounts.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace qvhost {
namespace {

using Statistics = const IQvRegOutputStats&;

/// Puts the parameters of one equation, a block of the model's, into terms. The effects are the
/// same in all of them.
class TermBuilder {
 public:
  void Add(const QvRegrParameter& parameter, std::size_t equation, std::size_t equations,
           double coefficient) {
    const auto [place, isNew] = places_.try_emplace(parameter.GetEffectIndex(), terms_.size());
    if (isNew) terms_.push_back(TermOf(parameter));
    cells_.resize(terms_.size());
    std::vector<double>& coefficients = cells_[place->second][parameter.GetCategories()];
    coefficients.resize(equations, 0.0);
    coefficients[equation] = coefficient;
  }

  [[nodiscard]] std::vector<EquationTerm> Finish() {
    for (std::size_t i = 0; i < terms_.size(); ++i) {
      for (auto& [codes, coefficients] : cells_[i]) {
        terms_[i].cells.push_back({codes, std::move(coefficients)});
      }
    }
    return std::move(terms_);
  }

 private:
  static EquationTerm TermOf(const QvRegrParameter& parameter) {
    EquationTerm term;
    term.factors = parameter.GetFactors();
    const std::vector<int>& powers = parameter.GetCovariateMultiplicities();
    for (std::size_t i = 0; i < powers.size(); ++i) {
      term.covariates.push_back({parameter.GetCovariates()[i], powers[i]});
    }
    return term;
  }

  std::vector<EquationTerm> terms_;
  std::map<int, std::size_t> places_;  ///< By the number of the effect.
  std::vector<std::map<std::vector<int>, std::vector<double>>> cells_;
};

/// The estimate in the data's units, of one in those of the estimation.
double CoefficientOf(double scaled, int power) {
  const double coefficient = std::ldexp(scaled, power);
  if (scaled == 0.0 || std::isnormal(coefficient)) return coefficient;
  throw Error(
      ExitCode::kBadInput,
      "A coefficient of the model is beyond the range of the numbers of a database; fit the "
      "model to numbers in other units.");
}

/// As the library chooses between categories that are as probable.
std::vector<std::size_t> PreferredOf(const QvLogOutputStats& output) {
  const std::vector<int>& codes = output.GetDependCategories();
  const QvFactorCounts::Counts* const counts = output.GetFactorCounts().GetDependCountsPtr();
  std::vector<std::size_t> order(codes.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  const auto rank = [&](std::size_t place) {
    const auto& [weighted, unweighted] = counts->at(static_cast<std::size_t>(codes[place]));
    return std::tuple(-weighted, -unweighted, codes[place]);
  };
  std::ranges::sort(order, {}, rank);
  return order;
}

ModelEquations ReadEquations(Statistics output) {
  ModelEquations equations;
  if (const auto* const logistic = dynamic_cast<const QvLogOutputStats*>(&output)) {
    equations.categories = logistic->GetDependCategories();
    equations.count = equations.categories.size() - 1;
    equations.preferred = PreferredOf(*logistic);
  }
  const ScaledEstimates estimates = ScaledEstimatesOf(output);
  const std::vector<QvRegrParameter>& parameters = output.GetParameters();
  const std::size_t basic = parameters.size() / equations.count;
  TermBuilder terms;
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    const double coefficient = CoefficientOf(estimates.estimates[i], estimates.PowerOf(i));
    terms.Add(parameters[i], i / basic, equations.count, coefficient);
  }
  equations.terms = terms.Finish();
  return equations;
}

}  // namespace

ModelEquations EquationsOf(const std::vector<unsigned char>& component) {
  return ReadEquations(RestoredModel::OfBytes(component).Output());
}

}  // namespace qvhost
