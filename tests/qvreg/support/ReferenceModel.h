#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace qvtest {

/// A covariate and its power in a term.
struct CovariatePower {
  std::string column;
  int power = 1;
};

/// One effect of a model, by column names.
struct ReferenceTerm {
  std::vector<std::string> factors;
  std::vector<CovariatePower> covariates;
  /// Each factor is nested in those before it.
  bool nested = false;
};

/// The model of a reference case, written out effect by effect: what the case's formula says, in
/// the library's terms.
struct ReferenceModel {
  /// File name under the folder of reference values, without its ending.
  std::string name;
  std::string dependent;
  bool intercept = true;
  std::vector<ReferenceTerm> terms;

  /// The model's factors, in the order of their first appearance.
  [[nodiscard]] std::vector<std::string> Factors() const;
  /// The model's covariates, in the order of their first appearance.
  [[nodiscard]] std::vector<std::string> Covariates() const;
};

/// How a failing test names its case.
void PrintTo(const ReferenceModel& model, std::ostream* out);

/// Every case of the reference values.
[[nodiscard]] std::vector<ReferenceModel> ReferenceModels();

}  // namespace qvtest
