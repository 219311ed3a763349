#pragma once

#include <vector>

#include "tests/qvreg/c/CModel.h"

namespace qvtest {

/// One valid handle of each kind, of a small logistic or linear model: y over a factor and a
/// covariate.
struct CEveryKind {
  explicit CEveryKind(bool isLogistic);

  /// Record positions.
  enum Variable { kY, kFactor, kX, kWidth };

  std::vector<QvCommon::Record> records;
  CColumns columns;
  CSettings settings;
  CEffect effect;
  CSource source;
  CComponent component;
  CParameters parameters;
  CResults results;
};

}  // namespace qvtest
