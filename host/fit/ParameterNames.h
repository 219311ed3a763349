#pragma once

#include "host/fit/FitResult.h"
#include "host/fit/ModelBinding.h"
#include "host/formula/Formula.h"
#include "host/table/CodedTable.h"
#include "qvreg/settings/QvRegrParameter.h"

namespace qvhost {

/// Gives the library's parameters their names: labels, levels and covariates. Borrows everything it
/// is made of. `intercept`: whether the model has one, which then is effect 0.
class ParameterNames {
 public:
  ParameterNames(const Formula& formula, const ModelBinding& binding, const CodedTable& table,
                 bool intercept)
      : formula_(formula), binding_(binding), table_(table), intercept_(intercept) {}

  /// A result with its names filled in and the rest at its defaults.
  [[nodiscard]] ParameterResult Name(const QvRegrParameter& parameter) const;

 private:
  void AddFactor(const Variable& variable, int position, const QvRegrParameter& parameter,
                 ParameterResult& result) const;
  void AddCovariate(const Variable& variable, int position, const QvRegrParameter& parameter,
                    ParameterResult& result) const;

  const Formula& formula_;
  const ModelBinding& binding_;
  const CodedTable& table_;
  bool intercept_;
};

}  // namespace qvhost
