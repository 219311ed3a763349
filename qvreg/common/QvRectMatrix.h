#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/QvExport.h"

namespace QvCommon {

/// The elements of a rows x columns matrix of doubles, all zero at construction, kept row by row.
///
/// Owns its storage; a value: what was moved from is empty. No operation throws: a matrix that
/// could not be allocated is empty, and IsValidMatrix() is false.
class QVREG_EXPORT QvRectMatrixData {
 public:
  /// `rows` x `columns` zeros; 0 x 0 and not valid for a negative count or without memory.
  QvRectMatrixData(int rows, int columns);
  /// A copy of `other`, its validity included; empty and not valid without memory.
  QvRectMatrixData(const QvRectMatrixData& other);
  /// Takes the elements of `other`, which becomes empty.
  QvRectMatrixData(QvRectMatrixData&& other) noexcept;
  /// Becomes a copy of `other`, its validity included; empty and not valid without memory.
  QvRectMatrixData& operator=(const QvRectMatrixData& other);
  /// Takes the elements of `other`, which becomes empty.
  QvRectMatrixData& operator=(QvRectMatrixData&& other) noexcept;
  ~QvRectMatrixData() = default;

  /// The number of rows.
  [[nodiscard]] int GetNRows() const { return fNRows; }
  /// The number of columns.
  [[nodiscard]] int GetNColumns() const { return fNColumns; }
  /// Stores `value` as element (i, j), both from 0; false when there is no such element.
  bool SetElem(int i, int j, double value);
  /// Element (i, j); 0 when there is no such element.
  [[nodiscard]] double GetElem(int i, int j) const;
  /// False when memory ran out as the matrix was made or copied, or for a negative count.
  [[nodiscard]] bool IsValidMatrix() const { return fbValid; }
  /// Prints the matrix to standard output, a line per row.
  void Display() const;

 private:
  [[nodiscard]] bool HasElem(int i, int j) const {
    return i >= 0 && i < fNRows && j >= 0 && j < fNColumns;
  }
  [[nodiscard]] std::size_t IndexOf(int i, int j) const {
    return static_cast<std::size_t>(i) * static_cast<std::size_t>(fNColumns) +
           static_cast<std::size_t>(j);
  }

  int fNRows = 0;
  int fNColumns = 0;
  std::vector<double> fElements;
  bool fbValid = true;
};

/// A rectangular matrix. Nothing beyond element access is needed of it so far.
class QVREG_EXPORT QvRectMatrix : public QvRectMatrixData {
 public:
  /// As QvRectMatrixData: `rows` x `columns` zeros, or a copy of `other`.
  using QvRectMatrixData::QvRectMatrixData;
};

}  // namespace QvCommon
