#include "qvreg/common/QvBitSet.h"

#include <algorithm>
#include <string>

#include "qvreg/common/QvComponentDisplay.h"

namespace QvCommon {

QvBitSet::QvBitSet(int size) { Resize(size, false); }

void QvBitSet::Resize(int size, bool value) {
  fBits.resize(static_cast<std::size_t>(std::max(size, 0)), value);
}

bool QvBitSet::Set(int index, bool value) {
  if (index < 0 || index >= Size()) return false;
  fBits[static_cast<std::size_t>(index)] = value;
  return true;
}

bool QvBitSet::IsIn(int index) const {
  return index >= 0 && index < Size() && fBits[static_cast<std::size_t>(index)];
}

int QvBitSet::Count() const {
  return static_cast<int>(std::count(fBits.begin(), fBits.end(), true));
}

void QvBitSet::Clear() { std::fill(fBits.begin(), fBits.end(), false); }

void QvBitSet::Display() const {
  std::string bits;
  bits.reserve(fBits.size());
  for (const bool bit : fBits) bits.push_back(bit ? '1' : '0');
  QvComponentDisplay::DisplayS("Bits", bits);
}

}  // namespace QvCommon
