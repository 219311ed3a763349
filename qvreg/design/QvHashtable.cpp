#include "qvreg/design/QvHashtable.h"

#include <cstdint>

#include "qvreg/common/QvComponentDisplay.h"

namespace QvCommon {

int QvHashKey::ComputeHashCode() const {
  // The 64-bit finalizer of MurmurHash3 (Appleby), applied code by code.
  std::uint64_t hash = fCodes.size();
  for (const int code : fCodes) {
    hash = (hash ^ static_cast<std::uint32_t>(code)) * 0xff51afd7ed558ccdULL;
    hash ^= hash >> 33U;
    hash *= 0xc4ceb9fe1a85ec53ULL;
    hash ^= hash >> 33U;
  }
  return static_cast<int>(hash & 0x7fffffffU);
}

void QvHashKey::Display() const { QvComponentDisplay::DisplayIV("Key", fCodes); }

}  // namespace QvCommon
