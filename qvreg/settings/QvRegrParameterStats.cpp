#include "qvreg/settings/QvRegrParameterStats.h"

#include <cmath>

double QvRegrParameterStats::GetSqrtDeff() const {
  return fDesignEffect < 0.0 ? QvMV::gMissingValue : std::sqrt(fDesignEffect);
}
