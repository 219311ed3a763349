#pragma once

#include <vector>

namespace QvCommon {

/// Packs sequences of bounded non-negative ints into as few non-negative ints as distinguish them
/// (one at least, unless the sequences are empty), and back: a sequence is a number in mixed radix,
/// and the packed ints are its digits to the base 2^31, the least significant one first.
///
/// A value; const operations may run on several threads at once.
class QvPackedInt {
 public:
  QvPackedInt() = default;

  /// Prepares for sequences of `count` ints of which position i holds 0 .. ranges[first + i] - 1.
  /// False, and nothing changed, when a range is missing or below 1, or without memory.
  bool SetForSequence(int count, int first, const std::vector<int>& ranges);
  /// The number of ints that a packed sequence takes.
  [[nodiscard]] int GetPackedSize() const { return fPackedSize; }
  /// Packs the first `count` of `values`; `append` keeps what `packed` holds and adds to it,
  /// otherwise it is replaced. False, and `packed` unchanged, for a value outside its range.
  bool Pack(const std::vector<int>& values, std::vector<int>& packed, bool append) const;
  /// The inverse of Pack without `append`; false, and `values` unchanged, for a wrong length.
  bool Unpack(std::vector<int>& values, const std::vector<int>& packed) const;
  /// The ranges packed as values are, though each is one beyond its position's largest. A number
  /// beyond an int's range reads as the largest int.
  [[nodiscard]] std::vector<int> PackRanges() const;
  void Display() const;

 private:
  std::vector<int> fRanges;
  /// How many ints a packed sequence takes.
  int fPackedSize = 0;
};

}  // namespace QvCommon
