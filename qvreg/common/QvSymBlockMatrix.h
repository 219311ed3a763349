#pragma once

#include <vector>

#include "qvreg/common/QvSymMatrix.h"

namespace QvCommon {

/// A symmetric matrix of r x r blocks of order m, of which the blocks (i, j) with j <= i are kept,
/// each a symmetric matrix: the (r m) x (r m) matrix whose block (j, i) is the transpose of (i, j).
///
/// Owns its blocks; a value: what was moved from is empty, and so is a copy without memory. Used
/// from one thread at a time.
class QvSymBlockMatrix {
 public:
  QvSymBlockMatrix() = default;
  QvSymBlockMatrix(const QvSymBlockMatrix& other);
  QvSymBlockMatrix(QvSymBlockMatrix&& other) noexcept;
  QvSymBlockMatrix& operator=(const QvSymBlockMatrix& other);
  QvSymBlockMatrix& operator=(QvSymBlockMatrix&& other) noexcept;
  ~QvSymBlockMatrix() = default;

  /// Makes r block rows of m x m zero blocks; false, and nothing changed, for a negative count or
  /// without memory.
  bool SetNRows(int r, int m);
  /// Sets every element to zero; the shape stays.
  void Clear();
  /// Block (i, j), to be updated in place. REQUIRES: 0 <= j <= i < r. Valid until SetNRows.
  [[nodiscard]] QvSymMatrix& GetElemSSRef(int i, int j) { return fBlocks[BlockIndex(i, j)]; }
  /// Block after block in the order (0, 0), (1, 0), (1, 1), (2, 0), ..., to be updated in place; as
  /// many as there are must stay.
  [[nodiscard]] std::vector<QvSymMatrix>& GetBlocks() { return fBlocks; }
  [[nodiscard]] const std::vector<QvSymMatrix>& GetBlocks() const { return fBlocks; }
  /// Writes the whole matrix into `out`, block row i at rows i m and on; 0, or 1 without memory.
  int CopyToSymMatrix(QvSymMatrix& out) const;
  /// Adds the whole matrix to `out`, laid out the same; false, and nothing changed, for another
  /// order.
  bool AddToSymMatrix(QvSymMatrix& out) const;
  /// Adds `other`. REQUIRES: the same shape.
  void Add(const QvSymBlockMatrix& other);
  /// Appends all blocks to the `writer`. May throw std::bad_alloc.
  void Write(QvByteWriter& writer) const;
  /// Replaces them by those of a matrix of the same shape; the `reader` fails for any other.
  void Read(QvByteReader& reader);
  void Display() const;

 private:
  /// Calls visit(i, j, element) for every element that is kept.
  template <typename Visit>
  void ForEachElem(Visit&& visit) const;
  static std::size_t BlockIndex(int i, int j) {
    const auto row = static_cast<std::size_t>(i);
    return row * (row + 1) / 2 + static_cast<std::size_t>(j);
  }

  int fNRows = 0;
  int fBlockOrder = 0;
  std::vector<QvSymMatrix> fBlocks;
};

}  // namespace QvCommon
