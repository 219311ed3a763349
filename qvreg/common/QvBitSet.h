#pragma once

#include <vector>

#include "qvreg/QvExport.h"

namespace QvCommon {

/// A resizable set of bits indexed from 0. A value; distinct objects may be used from distinct
/// threads.
class QVREG_EXPORT QvBitSet {
 public:
  QvBitSet() = default;
  /// `size` bits, all clear.
  explicit QvBitSet(int size);

  /// Makes it `size` bits long; existing bits stay, new ones take `value`. May throw
  /// std::bad_alloc, with the set unchanged.
  void Resize(int size, bool value);
  /// The number of bits.
  [[nodiscard]] int Size() const { return static_cast<int>(fBits.size()); }
  /// Sets bit `index` to `value`; false when there is no such bit.
  bool Set(int index, bool value);
  /// True when bit `index` exists and is set.
  [[nodiscard]] bool IsIn(int index) const;
  /// The number of set bits.
  [[nodiscard]] int Count() const;
  /// Clears every bit; the size stays.
  void Clear();
  /// Prints the bits to standard output as one line of 0 and 1.
  void Display() const;

 private:
  std::vector<bool> fBits;
};

}  // namespace QvCommon
