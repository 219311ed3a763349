#pragma once

#include <utility>
#include <vector>

#include "qvreg/component/QvModelContents.h"

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
  /// All, and replaces all by that of a design of `size` columns: false, and this undefined, for
  /// another one. May throw std::bad_alloc.
  [[nodiscard]] std::vector<QvRedundantContents> GetContents() const;
  [[nodiscard]] bool TakeContents(const std::vector<QvRedundantContents>& contents, int size);

 private:
  struct Column {
    int fIndex = 0;
    std::vector<std::pair<int, double>> fCoefficients;
  };

  std::vector<Column> fColumns;
};
