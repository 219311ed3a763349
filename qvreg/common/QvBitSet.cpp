#include "qvreg/common/QvBitSet.h"

#include <algorithm>
#include <cstdio>
#include <exception>

namespace QvCommon {

QvBitSet::QvBitSet(int size) { fbValid = Resize(size, false); }

QvBitSet::QvBitSet(const QvBitSet& other) { *this = other; }

QvBitSet& QvBitSet::operator=(const QvBitSet& other) {
  if (this == &other) return *this;
  try {
    fBits = other.fBits;
    fbValid = other.fbValid;
  } catch (const std::exception&) {
    fBits.clear();
    fbValid = false;
  }
  return *this;
}

bool QvBitSet::Resize(int size, bool value) {
  try {
    fBits.resize(static_cast<std::size_t>(std::max(size, 0)), value);
  } catch (const std::exception&) {
    return false;
  }
  return fbValid = true;
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
  std::printf("Bits: ");
  for (const bool bit : fBits) std::printf("%c", bit ? '1' : '0');
  std::printf("\n");
}

}  // namespace QvCommon
