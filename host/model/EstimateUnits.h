#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/model/RestoredModel.h"
#include "qvreg/component/QvModelContents.h"

/// \file
/// Estimates and covariances in the data's units, as PMML has them, and those of a component, which
/// are in units of its own. They differ by powers of two and the residual variance: most numbers
/// come back to the last bit when they are converted, and those that do not are kept as
/// corrections.

namespace qvhost {

/// Estimates and the lower triangle of their covariance, row by row. A plain value.
struct DataEstimates {
  std::vector<double> estimates;
  std::vector<double> covariance;  ///< Empty where there is none.
};

/// What a component's own numbers are made of beside them. A plain value.
struct EstimateUnits {
  /// Of the power of two that each parameter's column, and the dependent, is divided by.
  std::vector<int> exponents;
  int dependentExponent = 0;
  /// What the component's covariance is multiplied by; none without a covariance in the data's
  /// units.
  std::optional<double> variance;
  bool isScaled = false;  ///< Whether it has a covariance of columns as divided beside another.
  /// The component's covariance where the data's is not written.
  std::vector<double> covariance;
  /// Of the estimates, of the covariance that the data's is made of, and of the other one: places
  /// and numbers.
  std::string estimateCorrections;
  std::string covarianceCorrections;
  std::string hostCorrections;
};

/// Gives names to its numbers; see ExtensionFields.h.
inline constexpr auto DescribeUnits = [](auto& units, auto& fields) {
  fields("exponents", units.exponents);
  fields("dependentExponent", units.dependentExponent);
  fields.Parts("residualVariance", units.variance,
               [](auto& variance, auto& inner) { inner("variance", variance); });
  fields("dividedCovariance", units.isScaled);
  fields("covariance", units.covariance);
  fields("estimateCorrections", units.estimateCorrections);
  fields("covarianceCorrections", units.covarianceCorrections);
  fields("hostCorrections", units.hostCorrections);
};

/// A covariance in the data's units is made of models of so many parameters: an element of PMML for
/// each two takes much more room than their number.
inline constexpr std::size_t kMostCovarianceRows = 1000;

/// The estimates of a component in the data's units, and what brings its own back.
[[nodiscard]] DataEstimates ToData(const RestoredModel& model, EstimateUnits& units);

/// Whether numbers are the same to the last bit.
[[nodiscard]] bool AreSameNumbers(const std::vector<double>& a, const std::vector<double>& b);
[[nodiscard]] bool AreSameUnits(const EstimateUnits& a, const EstimateUnits& b);

/// Puts the component's own estimates and covariances into its contents. Throws Error (kBadInput)
/// for units that are not of as many parameters, or corrections of what is not there.
void FromData(const DataEstimates& data, const EstimateUnits& units, QvModelContents& contents);

}  // namespace qvhost
