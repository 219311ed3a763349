#pragma once

#include <array>

#include "qvreg/QvExport.h"
#include "qvreg/common/Constants.h"

/// What the output statistics report of one parameter: a plain record, in the parameters' order.
/// The library fills the parameter index, the estimate, the redundant flag and the effect index;
/// the other fields are the host's.
struct QVREG_EXPORT QvRegrParameterStats {
  int fParameterIndex = -1;
  double fEstimate = QvMV::gMissingValue;
  bool fbRedundant = true;
  std::array<double, 4> fStatistics{QvMV::gMissingValue, QvMV::gMissingValue, QvMV::gMissingValue,
                                    QvMV::gMissingValue};
  double fCount = 0.0;
  double fStatistic = QvMV::gMissingValue;
  double fDesignEffect = QvMV::gMissingValue;
  int fEffectIndex = -1;
  double fLastStatistic = QvMV::gMissingValue;

  /// The square root of the design effect; the missing value when that is missing or negative.
  [[nodiscard]] double GetSqrtDeff() const;
};
