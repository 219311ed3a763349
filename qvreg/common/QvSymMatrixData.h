#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/QvExport.h"

namespace QvCommon {

/// The elements of a symmetric n x n matrix of doubles, kept as its lower triangle row by row.
///
/// Owns its storage; a value: what was moved from is empty. Const operations may be called from
/// several threads at once. No operation throws: a matrix that could not be allocated is empty, and
/// IsValidMatrix() is false.
class QVREG_EXPORT QvSymMatrixData {
 public:
  /// An empty matrix, order 0.
  QvSymMatrixData() = default;
  /// An n x n zero matrix, n being the `order`. When the storage cannot be allocated the order is 0
  /// and IsValidMatrix() is false.
  explicit QvSymMatrixData(int order);
  /// A copy of `other`, its validity included; empty and not valid without memory.
  QvSymMatrixData(const QvSymMatrixData& other);
  /// Takes the elements of `other`, which becomes empty.
  QvSymMatrixData(QvSymMatrixData&& other) noexcept;
  /// Becomes a copy of `other`, its validity included; empty and not valid without memory.
  QvSymMatrixData& operator=(const QvSymMatrixData& other);
  /// Takes the elements of `other`, which becomes empty.
  QvSymMatrixData& operator=(QvSymMatrixData&& other) noexcept;
  ~QvSymMatrixData() = default;

  /// The order n.
  [[nodiscard]] int GetOrder() const { return fOrder; }
  /// Element (i, j); either triangle may be named. 0 when there is no such element.
  [[nodiscard]] double GetElem(int i, int j) const {
    return HasElem(i, j) ? fElements[IndexOf(i, j)] : 0.0;
  }
  /// Stores `value` as element (i, j), and so as (j, i); false when there is no such element.
  bool SetElem(int i, int j, double value);
  /// `diagonal` receives the n diagonal elements; false, and nothing changed, without memory.
  bool GetDiagonal(std::vector<double>& diagonal) const;
  /// False when memory ran out as the matrix was made or copied.
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
  /// Makes it a zero matrix of the given `order`, and so valid; false, and nothing changed, without
  /// memory.
  bool Reset(int order);
  /// Makes it empty and not valid.
  void Invalidate();

  /// The lower triangle, row by row: n (n + 1) / 2 elements.
  std::vector<double> fElements;

 private:
  [[nodiscard]] bool HasElem(int i, int j) const {
    return i >= 0 && i < fOrder && j >= 0 && j < fOrder;
  }

  int fOrder = 0;
  bool fbValid = true;
};

}  // namespace QvCommon
