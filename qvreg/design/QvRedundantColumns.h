#pragma once

#include <utility>
#include <vector>

#include "qvreg/common/QvBytes.h"

/// How the redundant columns of a design depend on the columns before them that are kept: each is a
/// linear combination of those. A value.
class QvRedundantColumns {
 public:
  void Clear() { fColumns.clear(); }
  /// Adds the combination for column `column`: its coefficients on the columns `kept`. What is no
  /// more than rounding counts as 0: a coefficient that, times the root of its column's sum of
  /// squares, is below 1e-10 of the largest such product. `diagonal` has those sums. REQUIRES: in
  /// increasing order of the columns; as many of `kept` as coefficients. May throw std::bad_alloc.
  void Add(int column, const std::vector<int>& kept, const std::vector<double>& coefficients,
           const std::vector<double>& diagonal);
  /// `combination`, made of `size` zeros, receives the coefficients in the places of their columns.
  /// False, and all of them 0, for a column that was not added. May throw std::bad_alloc.
  bool Get(int column, int size, std::vector<double>& combination) const;
  /// Writes all, and replaces all by what was written of a design of `size` columns: the `reader`
  /// fails for another one. May throw std::bad_alloc.
  void Write(QvCommon::QvByteWriter& writer) const;
  void Read(int size, QvCommon::QvByteReader& reader);

 private:
  struct Column {
    int fIndex = 0;
    std::vector<std::pair<int, double>> fCoefficients;
  };

  std::vector<Column> fColumns;
};
