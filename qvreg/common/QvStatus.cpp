#include "qvreg/common/QvStatus.h"

#include <type_traits>

namespace QvCommon {

static_assert(std::is_trivially_copyable_v<QvStatus>, "copying a status must never fail");

bool QvStatus::SetDiscreteDatum(unsigned index, long value) {
  if (index >= kMaxData) return false;
  fDiscrete[index] = {value, true};
  return true;
}

bool QvStatus::SetScaleDatum(unsigned index, double value) {
  if (index >= kMaxData) return false;
  fScale[index] = {value, true};
  return true;
}

bool QvStatus::GetDiscreteDatum(unsigned index, long& value) const {
  if (index >= kMaxData || !fDiscrete[index].fbSet) return false;
  value = fDiscrete[index].fValue;
  return true;
}

bool QvStatus::GetScaleDatum(unsigned index, double& value) const {
  if (index >= kMaxData || !fScale[index].fbSet) return false;
  value = fScale[index].fValue;
  return true;
}

bool QvStatus::IsIdenticalTo(const QvStatus& other) const {
  return *this == other && fDiscrete == other.fDiscrete && fScale == other.fScale;
}

}  // namespace QvCommon
