#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/QvExport.h"

namespace QvCommon {

/// The elements of a symmetric n x n matrix of doubles, kept as its lower triangle row by row.
///
/// Owns its storage; a value. Const operations may be called from several threads at once.
class QVREG_EXPORT QvSymMatrixData {
 public:
  /// An empty matrix, order 0.
  QvSymMatrixData() = default;
  /// An n x n zero matrix, n being the `order`. When the storage cannot be allocated the order is 0
  /// and IsValidMatrix() is false.
  explicit QvSymMatrixData(int order);

  /// The order n.
  [[nodiscard]] int GetOrder() const { return fOrder; }
  /// Element (i, j); either triangle may be named. REQUIRES: 0 <= i, j < GetOrder().
  [[nodiscard]] double GetElem(int i, int j) const { return fElements[IndexOf(i, j)]; }
  /// Stores `value` as element (i, j), and so as (j, i); false when there is no such element.
  bool SetElem(int i, int j, double value);
  /// `diagonal` receives the n diagonal elements. May throw std::bad_alloc.
  void GetDiagonal(std::vector<double>& diagonal) const;
  /// False when the storage could not be allocated.
  [[nodiscard]] bool IsValidMatrix() const { return fbValid; }
  /// Prints the order and the lower triangle to standard output, a line per row.
  void Display() const;

 protected:
  /// Where row i of the lower triangle starts among the elements.
  static std::size_t RowStart(int i) {
    const auto row = static_cast<std::size_t>(i);
    return row * (row + 1) / 2;
  }
  /// Where element (i, j) is among the elements; either triangle may be named.
  static std::size_t IndexOf(int i, int j) {
    return i >= j ? RowStart(i) + static_cast<std::size_t>(j)
                  : RowStart(j) + static_cast<std::size_t>(i);
  }
  /// The i + 1 elements of row i.
  [[nodiscard]] double* Row(int i) { return fElements.data() + RowStart(i); }
  /// The i + 1 elements of row i, to read.
  [[nodiscard]] const double* Row(int i) const { return fElements.data() + RowStart(i); }
  /// Makes it a zero matrix of the given `order`; false, and nothing changed, without memory.
  bool Reset(int order);

  /// The lower triangle, row by row: n (n + 1) / 2 elements.
  std::vector<double> fElements;

 private:
  int fOrder = 0;
  bool fbValid = true;
};

}  // namespace QvCommon
