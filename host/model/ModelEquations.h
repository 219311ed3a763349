#pragma once

#include <vector>

namespace qvhost {

/// A covariate of a term, to a power of 1 or more; its place in the component's records.
struct EquationCovariate {
  int position = 0;
  int power = 1;
};

/// One combination of levels of a term's factors, and what it adds to each of the equations,
/// before the covariates: 0 for a parameter that is redundant.
struct EquationCell {
  std::vector<int> codes;
  std::vector<double> coefficients;
};

/// One effect of a model; the intercept is one without factors and covariates. A record whose
/// levels are in none of the cells has no prediction.
struct EquationTerm {
  std::vector<int> factors;  ///< Their places in the component's records.
  std::vector<EquationCovariate> covariates;
  std::vector<EquationCell> cells;  ///< By their codes, each once; one without factors.
};

/// What a model predicts with: the sum of its terms for each of its equations. A plain value.
struct ModelEquations {
  std::vector<EquationTerm> terms;
  std::size_t count = 1;  ///< Of a logistic model one for each category but the reference.
  /// Of a logistic model: the codes of the categories in the order of the equations, the reference
  /// last; empty for a linear one.
  std::vector<int> categories;
  /// The same as places in `categories`: the first is predicted where several are as probable.
  std::vector<std::size_t> preferred;
};

/// Reads them from what IQvRegComponent::WriteModel wrote. Throws Error (kBadInput) for other
/// bytes, and for coefficients that no double holds.
[[nodiscard]] ModelEquations EquationsOf(const std::vector<unsigned char>& component);

}  // namespace qvhost
