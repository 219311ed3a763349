#pragma once

#include <array>

#include "qvreg/QvExport.h"
#include "qvreg/common/Constants.h"

/// What the output statistics report of one parameter: a plain record, in the parameters' order.
/// The library fills the parameter index, the estimate, the redundant flag and the effect index;
/// the other fields are the host's.
struct QVREG_EXPORT QvRegrParameterStats {
  /// Position among the parameters, from 0; -1 before it is filled.
  int fParameterIndex = -1;
  /// The estimate; 0 for a redundant parameter.
  double fEstimate = QvMV::gMissingValue;
  /// True for a parameter that depends on earlier ones and was dropped.
  bool fbRedundant = true;
  /// The host's: four statistics.
  std::array<double, 4> fStatistics{QvMV::gMissingValue, QvMV::gMissingValue, QvMV::gMissingValue,
                                    QvMV::gMissingValue};
  /// The host's: a count or a sum.
  double fCount = 0.0;
  /// The host's: a statistic.
  double fStatistic = QvMV::gMissingValue;
  /// The host's: the design effect, a ratio of variances.
  double fDesignEffect = QvMV::gMissingValue;
  /// Position of the parameter's effect, as QvRegrParameter::GetEffectIndex.
  int fEffectIndex = -1;
  /// The host's: one more statistic.
  double fLastStatistic = QvMV::gMissingValue;

  /// The square root of the design effect; the missing value when that is missing or negative.
  [[nodiscard]] double GetSqrtDeff() const;
};
