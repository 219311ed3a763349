#pragma once

#include <vector>

class QvFactorTables;
class QvPatternTabulator;

namespace QvCommon {

/// A fixed-length vector of ints used as a key of a hash table, with its hash code kept beside it.
///
/// Whoever fills a key writes its codes in place and then stores the hash code; tables compare
/// hash codes before codes and never compute one. A value; used from one thread at a time.
class QvHashKey {
 public:
  /// `length` codes, all 0. May throw std::bad_alloc.
  explicit QvHashKey(int length) : fCodes(static_cast<std::size_t>(length > 0 ? length : 0)) {}

  [[nodiscard]] int GetLength() const { return static_cast<int>(fCodes.size()); }
  /// REQUIRES: 0 <= index < GetLength().
  [[nodiscard]] int operator[](int index) const { return fCodes[static_cast<std::size_t>(index)]; }
  [[nodiscard]] int& operator[](int index) { return fCodes[static_cast<std::size_t>(index)]; }

  /// The stored hash code; 0 until SetHashCode.
  [[nodiscard]] int GetHashCode() const { return fHashCode; }
  /// Stores a hash code. REQUIRES: hashCode >= 0.
  void SetHashCode(int hashCode) { fHashCode = hashCode; }

  /// Same length and same codes; the stored hash code does not matter.
  friend bool operator==(const QvHashKey& a, const QvHashKey& b) { return a.fCodes == b.fCodes; }
  /// Lexicographic, the first code most significant.
  friend bool operator<(const QvHashKey& a, const QvHashKey& b) { return a.fCodes < b.fCodes; }

  void Display() const;

 private:
  // Those who fill keys compute the hash code.
  friend class ::QvFactorTables;
  friend class ::QvPatternTabulator;

  /// A well-mixed function of every code; never negative.
  [[nodiscard]] int ComputeHashCode() const;

  std::vector<int> fCodes;
  int fHashCode = 0;
};

}  // namespace QvCommon
