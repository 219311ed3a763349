#pragma once

#include "host/fit/FitOptions.h"
#include "host/fit/FitResult.h"
#include "host/fit/HeldOutScores.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/ModelRun.h"
#include "host/fit/RobustCovariance.h"
#include "host/formula/Formula.h"
#include "host/inference/Inference.h"
#include "host/table/CodedTable.h"

namespace qvhost {

/// Makes the result of a fit from what the library found: names, inference, warnings. Borrows
/// everything it is made of; `run` must be built.
class ResultBuilder {
 public:
  /// `robust`, null for none, takes the place of the model's own covariance matrix; records that
  /// are `heldOut`, null for none, are not among those left out.
  ResultBuilder(const Formula& formula, const ModelBinding& binding, const CodedTable& table,
                const ModelRun& run, const RobustCovariance* robust = nullptr,
                const HeldOutScores* heldOut = nullptr)
      : formula_(formula),
        binding_(binding),
        table_(table),
        run_(run),
        robust_(robust),
        heldOut_(heldOut) {}

  /// Throws Error (kRunFailed) when an estimate or a standard error is outside the range of a
  /// double.
  [[nodiscard]] FitResult Build(const FitOptions& options) const;

 private:
  void AddParameters(const FitOptions& options, const CoefficientInference& inference,
                     FitResult& result) const;
  /// Whether the likelihood determines an estimate, so that its variance means something.
  [[nodiscard]] bool IsDetermined(const ParameterResult& parameter, double variance) const;
  /// Of the estimate of a parameter, in the units of the estimation; of a linear model without the
  /// residual variance unless it is robust.
  [[nodiscard]] double VarianceOf(int parameter) const;
  void AddLinearFit(const FitOptions& options, FitResult& result) const;
  void AddLogisticFit(const FitOptions& options, FitResult& result) const;
  void AddWarnings(const FitOptions& options, FitResult& result) const;
  void AddStatus(FitResult& result) const;

  const Formula& formula_;
  const ModelBinding& binding_;
  const CodedTable& table_;
  const ModelRun& run_;
  const RobustCovariance* robust_;
  const HeldOutScores* heldOut_;
};

}  // namespace qvhost
