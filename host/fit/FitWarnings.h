#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/fit/FitResult.h"
#include "host/fit/ModelBinding.h"
#include "host/formula/Formula.h"
#include "host/table/CodedTable.h"
#include "qvreg/component/IQvRegOutputStats.h"

namespace qvhost {

/// Finds what the user should know before trusting a fit: factors of one level or of levels that
/// look like numbers, empty cells, redundant covariates, no residual left, nearly dependent
/// columns. How a logistic model's estimation ended is reported by OptimizationWarnings. Borrows
/// everything it is made of.
class FitWarnings {
 public:
  FitWarnings(const Formula& formula, const ModelBinding& binding, const CodedTable& table,
              const IQvRegOutputStats& output, const FitResult& result)
      : formula_(formula), binding_(binding), table_(table), output_(output), result_(result) {}

  /// One or two sentences for each thing found.
  [[nodiscard]] std::vector<std::string> Find() const;

 private:
  using Sentences = std::vector<std::string>;

  void FindRecords(Sentences& found) const;
  void FindFactors(Sentences& found) const;
  void FindEmptyCells(Sentences& found) const;
  void FindNonFinite(Sentences& found) const;
  void FindRedundantCovariates(Sentences& found) const;
  void FindResidual(Sentences& found) const;
  void FindNearlyDependent(Sentences& found) const;
  void FindDependentLevels(Sentences& found) const;
  void FindBases(Sentences& found) const;
  void FindZerosAndOnes(Sentences& found) const;

  /// The number of parameters of a linear predictor: all, or those of one level of a logistic
  /// model.
  [[nodiscard]] std::size_t PredictorSize() const;
  /// The value of a covariate that has but one.
  [[nodiscard]] std::optional<std::string> OnlyValue(const ParameterResult& parameter) const;
  [[nodiscard]] int ActiveLevels(int variable) const;
  [[nodiscard]] long long ParametersOf(std::size_t term) const;

  const Formula& formula_;
  const ModelBinding& binding_;
  const CodedTable& table_;
  const IQvRegOutputStats& output_;
  const FitResult& result_;
};

}  // namespace qvhost
