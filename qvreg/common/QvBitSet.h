#pragma once

#include <vector>

#include "qvreg/QvExport.h"

namespace QvCommon {

/// A resizable set of bits indexed from 0.
///
/// A value; distinct objects may be used from distinct threads. No operation throws: a set that
/// could not be allocated is empty, and IsValid() is false.
class QVREG_EXPORT QvBitSet {
 public:
  QvBitSet() = default;
  /// `size` bits, all clear.
  explicit QvBitSet(int size);
  /// A copy of `other`, its validity included; empty and not valid without memory.
  QvBitSet(const QvBitSet& other);
  QvBitSet(QvBitSet&& other) noexcept = default;
  /// Becomes a copy of `other`, its validity included; empty and not valid without memory.
  QvBitSet& operator=(const QvBitSet& other);
  QvBitSet& operator=(QvBitSet&& other) noexcept = default;
  ~QvBitSet() = default;

  /// Makes it `size` bits long, and so valid; existing bits stay, new ones take `value`. False, and
  /// nothing changed, without memory.
  bool Resize(int size, bool value);
  /// False when memory ran out as the set was made or copied.
  [[nodiscard]] bool IsValid() const { return fbValid; }
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
  bool fbValid = true;
};

}  // namespace QvCommon
