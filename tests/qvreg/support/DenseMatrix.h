#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/common/QvBitSet.h"
#include "qvreg/common/QvSymMatrix.h"

namespace qvtest {

/// A plain rectangular matrix in long double, against which the packed matrices are checked.
class DenseMatrix {
 public:
  DenseMatrix(int rows, int columns);
  /// Every element of a symmetric matrix, both triangles.
  explicit DenseMatrix(const QvCommon::QvSymMatrix& matrix);
  static DenseMatrix Identity(int order);

  [[nodiscard]] int Rows() const { return rows_; }
  [[nodiscard]] int Columns() const { return columns_; }
  [[nodiscard]] long double operator()(int i, int j) const { return elements_[IndexOf(i, j)]; }
  [[nodiscard]] long double& operator()(int i, int j) { return elements_[IndexOf(i, j)]; }

  [[nodiscard]] DenseMatrix Transposed() const;
  [[nodiscard]] DenseMatrix operator*(const DenseMatrix& other) const;
  /// The rows and columns whose bit is set.
  [[nodiscard]] DenseMatrix Block(const QvCommon::QvBitSet& keep) const;
  /// The inverse, by Gauss-Jordan elimination with row exchanges.
  [[nodiscard]] DenseMatrix Inverse() const;
  /// The largest absolute element.
  [[nodiscard]] double Largest() const;
  /// The largest absolute difference to a matrix of the same shape.
  [[nodiscard]] double LargestDifference(const DenseMatrix& other) const;

 private:
  [[nodiscard]] std::size_t IndexOf(int i, int j) const {
    return static_cast<std::size_t>(i) * static_cast<std::size_t>(columns_) +
           static_cast<std::size_t>(j);
  }

  int rows_;
  int columns_;
  std::vector<long double> elements_;
};

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

/// Log-likelihood, scores and information of a multinomial logit, each straight from its definition
/// in long double over dense rows: what the library's sums are checked against. K categories, the
/// last one the reference; p coefficients per other category.
class MultinomialSums {
 public:
  MultinomialSums(int p, int K, const std::vector<double>& estimates);

  /// Adds a dense row with its category and weight.
  void Add(const std::vector<double>& row, int category, double weight);
  /// The K probabilities of a row.
  [[nodiscard]] std::vector<long double> Probabilities(const std::vector<double>& row) const;

  [[nodiscard]] long double LogLikelihood() const { return logLikelihood_; }
  /// (K - 1) p scores, as a matrix of one column.
  [[nodiscard]] const DenseMatrix& Scores() const { return scores_; }
  [[nodiscard]] const DenseMatrix& Information() const { return information_; }

 private:
  int p_;
  int categories_;
  std::vector<double> estimates_;
  long double logLikelihood_ = 0.0L;
  DenseMatrix scores_;
  DenseMatrix information_;
};

}  // namespace qvtest
