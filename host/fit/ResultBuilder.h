#pragma once

#include "host/fit/FitOptions.h"
#include "host/fit/FitResult.h"
#include "host/fit/LogisticFitBuilder.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/ModelRun.h"
#include "host/formula/Formula.h"
#include "host/inference/CoefficientInference.h"
#include "host/table/CodedTable.h"

namespace qvhost {

/// Turns what the library found into what a report tells: names, inference, warnings. Borrows
/// everything it is made of; `run` must be built.
class ResultBuilder {
 public:
  ResultBuilder(const Formula& formula, const ModelBinding& binding, const CodedTable& table,
                const ModelRun& run)
      : formula_(formula), binding_(binding), table_(table), run_(run) {}

  /// Throws Error (kRunFailed) when the fit found what no number can tell.
  [[nodiscard]] FitResult Build(const FitOptions& options) const;

 private:
  void AddParameters(const FitOptions& options, const CoefficientInference& inference,
                     FitResult& result) const;
  /// Whether the likelihood determines an estimate, so that its variance means something.
  [[nodiscard]] bool IsDetermined(const ParameterResult& parameter, double variance) const;
  void AddLinearFit(const FitOptions& options, FitResult& result) const;
  void AddLogisticFit(const FitOptions& options, FitResult& result) const;
  void AddWarnings(const FitOptions& options, FitResult& result) const;
  void AddStatus(FitResult& result) const;

  /// Of a logistic run.
  [[nodiscard]] LogisticFitBuilder Logistic() const;

  const Formula& formula_;
  const ModelBinding& binding_;
  const CodedTable& table_;
  const ModelRun& run_;
};

}  // namespace qvhost
