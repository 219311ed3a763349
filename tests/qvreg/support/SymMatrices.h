#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/common/QvSymMatrix.h"

namespace qvtest {

/// A symmetric matrix from the rows of its lower triangle.
[[nodiscard]] inline QvCommon::QvSymMatrix SymMatrixOf(
    const std::vector<std::vector<double>>& lowerRows) {
  QvCommon::QvSymMatrix matrix(static_cast<int>(lowerRows.size()));
  for (std::size_t i = 0; i < lowerRows.size(); ++i) {
    for (std::size_t j = 0; j < lowerRows[i].size(); ++j) {
      matrix.SetElem(static_cast<int>(i), static_cast<int>(j), lowerRows[i][j]);
    }
  }
  return matrix;
}

/// The rows of its lower triangle, for exact comparison.
[[nodiscard]] inline std::vector<std::vector<double>> LowerRows(
    const QvCommon::QvSymMatrix& matrix) {
  std::vector<std::vector<double>> rows;
  for (int i = 0; i < matrix.GetOrder(); ++i) {
    rows.emplace_back();
    for (int j = 0; j <= i; ++j) rows.back().push_back(matrix.GetElem(i, j));
  }
  return rows;
}

}  // namespace qvtest
