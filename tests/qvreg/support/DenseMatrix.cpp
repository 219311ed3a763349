#include "tests/qvreg/support/DenseMatrix.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace qvtest {

DenseMatrix::DenseMatrix(int rows, int columns)
    : rows_(rows),
      columns_(columns),
      elements_(static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns)) {}

DenseMatrix::DenseMatrix(const QvCommon::QvSymMatrix& matrix)
    : DenseMatrix(matrix.GetOrder(), matrix.GetOrder()) {
  for (int i = 0; i < rows_; ++i) {
    for (int j = 0; j < columns_; ++j) (*this)(i, j) = matrix.GetElem(i, j);
  }
}

DenseMatrix DenseMatrix::Identity(int order) {
  DenseMatrix identity(order, order);
  for (int i = 0; i < order; ++i) identity(i, i) = 1.0L;
  return identity;
}

DenseMatrix DenseMatrix::Transposed() const {
  DenseMatrix transposed(columns_, rows_);
  for (int i = 0; i < rows_; ++i) {
    for (int j = 0; j < columns_; ++j) transposed(j, i) = (*this)(i, j);
  }
  return transposed;
}

DenseMatrix DenseMatrix::operator*(const DenseMatrix& other) const {
  DenseMatrix product(rows_, other.columns_);
  for (int i = 0; i < rows_; ++i) {
    for (int j = 0; j < other.columns_; ++j) {
      for (int k = 0; k < columns_; ++k) product(i, j) += (*this)(i, k) * other(k, j);
    }
  }
  return product;
}

DenseMatrix DenseMatrix::Block(const QvCommon::QvBitSet& keep) const {
  std::vector<int> kept;
  for (int i = 0; i < keep.Size(); ++i) {
    if (keep.IsIn(i)) kept.push_back(i);
  }
  const auto order = static_cast<int>(kept.size());
  DenseMatrix block(order, order);
  for (int i = 0; i < order; ++i) {
    for (int j = 0; j < order; ++j) {
      block(i, j) = (*this)(kept[static_cast<std::size_t>(i)], kept[static_cast<std::size_t>(j)]);
    }
  }
  return block;
}

DenseMatrix DenseMatrix::Inverse() const {
  DenseMatrix left = *this;
  DenseMatrix right = Identity(rows_);
  for (int k = 0; k < rows_; ++k) {
    int best = k;
    for (int i = k + 1; i < rows_; ++i) {
      if (std::fabs(left(i, k)) > std::fabs(left(best, k))) best = i;
    }
    const long double pivot = left(best, k);
    for (int j = 0; j < rows_; ++j) {
      std::swap(left(k, j), left(best, j));
      std::swap(right(k, j), right(best, j));
      left(k, j) /= pivot;
      right(k, j) /= pivot;
    }
    for (int i = 0; i < rows_; ++i) {
      const long double factor = i == k ? 0.0L : left(i, k);
      for (int j = 0; j < rows_; ++j) {
        left(i, j) -= factor * left(k, j);
        right(i, j) -= factor * right(k, j);
      }
    }
  }
  return right;
}

double DenseMatrix::Largest() const { return LargestDifference(DenseMatrix(rows_, columns_)); }

double DenseMatrix::LargestDifference(const DenseMatrix& other) const {
  long double largest = 0.0L;
  for (int i = 0; i < rows_; ++i) {
    for (int j = 0; j < columns_; ++j) {
      const long double difference = std::fabs((*this)(i, j) - other(i, j));
      // A difference that is not a number must not look small.
      if (std::isnan(difference)) return std::numeric_limits<double>::infinity();
      largest = std::max(largest, difference);
    }
  }
  return static_cast<double>(largest);
}

MultinomialSums::MultinomialSums(int p, int K, const std::vector<double>& estimates)
    : p_(p),
      categories_(K),
      estimates_(estimates),
      scores_((K - 1) * p, 1),
      information_((K - 1) * p, (K - 1) * p) {}

std::vector<long double> MultinomialSums::Probabilities(const std::vector<double>& row) const {
  std::vector<long double> probabilities(static_cast<std::size_t>(categories_), 1.0L);
  long double sum = 1.0L;
  for (int c = 0; c + 1 < categories_; ++c) {
    long double predictor = 0.0L;
    for (int k = 0; k < p_; ++k) {
      predictor += static_cast<long double>(estimates_[static_cast<std::size_t>(c * p_ + k)]) *
                   static_cast<long double>(row[static_cast<std::size_t>(k)]);
    }
    probabilities[static_cast<std::size_t>(c)] = std::exp(predictor);
    sum += std::exp(predictor);
  }
  for (long double& probability : probabilities) probability /= sum;
  return probabilities;
}

void MultinomialSums::Add(const std::vector<double>& row, int category, double weight) {
  const std::vector<long double> pi = Probabilities(row);
  const auto w = static_cast<long double>(weight);
  logLikelihood_ += w * std::log(pi[static_cast<std::size_t>(category)]);
  for (int a = 0; a < (categories_ - 1) * p_; ++a) {
    const int r = a / p_;
    const long double piR = pi[static_cast<std::size_t>(r)];
    const auto xa = static_cast<long double>(row[static_cast<std::size_t>(a % p_)]);
    scores_(a, 0) += w * ((r == category ? 1.0L : 0.0L) - piR) * xa;
    for (int b = 0; b < (categories_ - 1) * p_; ++b) {
      const int s = b / p_;
      const auto xb = static_cast<long double>(row[static_cast<std::size_t>(b % p_)]);
      const long double h = (r == s ? piR : 0.0L) - piR * pi[static_cast<std::size_t>(s)];
      information_(a, b) += w * h * xa * xb;
    }
  }
}

}  // namespace qvtest
