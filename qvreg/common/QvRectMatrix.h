#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/QvExport.h"

namespace QvCommon {

/// The elements of a rows x columns matrix of doubles, all zero at construction, kept row by row.
///
/// Owns its storage; a value. When the storage cannot be allocated both counts are 0, and every
/// SetElem answers false.
class QVREG_EXPORT QvRectMatrixData {
 public:
  /// `rows` x `columns` zeros; 0 x 0 for a negative count or without memory.
  QvRectMatrixData(int rows, int columns);

  /// The number of rows.
  [[nodiscard]] int GetNRows() const { return fNRows; }
  /// The number of columns.
  [[nodiscard]] int GetNColumns() const { return fNColumns; }
  /// Stores `value` as element (i, j), both from 0; false when there is no such element.
  bool SetElem(int i, int j, double value);
  /// Element (i, j); 0 when there is no such element.
  [[nodiscard]] double GetElem(int i, int j) const;
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
};

/// A rectangular matrix. Nothing beyond element access is needed of it so far.
class QVREG_EXPORT QvRectMatrix : public QvRectMatrixData {
 public:
  /// As QvRectMatrixData: `rows` x `columns` zeros.
  using QvRectMatrixData::QvRectMatrixData;
};

}  // namespace QvCommon
