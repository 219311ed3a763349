#include "host/inference/Collinearity.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "host/inference/Inference.h"

namespace qvhost {
namespace {

using QvCommon::QvSymMatrix;
using QvCommon::QvSymMatrixData;

/// The rows and columns at these places.
QvSymMatrix Part(const QvSymMatrixData& matrix, const std::vector<int>& places) {
  QvSymMatrix part(static_cast<int>(places.size()));
  for (std::size_t i = 0; i < places.size(); ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      part.SetElem(static_cast<int>(i), static_cast<int>(j), matrix.GetElem(places[i], places[j]));
    }
  }
  return part;
}

/// Multiplies row and column i by factors[i].
void Scale(QvSymMatrix& matrix, const std::vector<double>& factors) {
  for (int i = 0; i < matrix.GetOrder(); ++i) {
    for (int j = 0; j <= i; ++j) {
      matrix.SetElem(i, j,
                     matrix.GetElem(i, j) * factors[static_cast<std::size_t>(i)] *
                         factors[static_cast<std::size_t>(j)]);
    }
  }
}

std::vector<double> DiagonalPowers(const QvSymMatrixData& matrix, double power) {
  std::vector<double> factors;
  factors.reserve(static_cast<std::size_t>(matrix.GetOrder()));
  for (int i = 0; i < matrix.GetOrder(); ++i) {
    factors.push_back(std::pow(matrix.GetElem(i, i), power));
  }
  return factors;
}

/// The same with ones on the diagonal.
QvSymMatrix Correlation(QvSymMatrix matrix) {
  Scale(matrix, DiagonalPowers(matrix, -0.5));
  return matrix;
}

/// None for a matrix that is singular, and when stopped.
std::optional<QvSymMatrix> InverseOf(QvSymMatrix matrix, const std::function<bool()>& isStopped) {
  double measure = 0.0;
  if (matrix.LTChol(0.0, measure, true, isStopped) != 0) return std::nullopt;
  if (!matrix.LTInverse(isStopped)) return std::nullopt;
  return matrix;
}

/// Of the determinant; not a number for a singular matrix.
double Logarithm(QvSymMatrix matrix) {
  double measure = 0.0;
  if (matrix.LTChol(0.0, measure, true) != 0) return std::numeric_limits<double>::quiet_NaN();
  double sum = 0.0;
  for (int i = 0; i < matrix.GetOrder(); ++i) sum += 2.0 * std::log(matrix.GetElem(i, i));
  return sum;
}

/// A symmetric matrix with one more diagonal on either side of the main one and zeros elsewhere.
struct Tridiagonal {
  std::vector<double> diagonal;
  std::vector<double> beside;
};

/// One of the same eigenvalues, by Householder's reflections (Golub and Van Loan, Matrix
/// Computations, 4th edition, 2013, section 8.3.1).
Tridiagonal ToTridiagonal(const QvSymMatrixData& matrix) {
  const auto n = static_cast<std::size_t>(matrix.GetOrder());
  std::vector<std::vector<double>> a(n, std::vector<double>(n));
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      a[i][j] = matrix.GetElem(static_cast<int>(i), static_cast<int>(j));
    }
  }
  Tridiagonal result;
  std::vector<double> v(n);
  std::vector<double> w(n);
  for (std::size_t k = 0; k + 1 < n; ++k) {
    result.diagonal.push_back(a[k][k]);
    double square = 0.0;
    for (std::size_t i = k + 1; i < n; ++i) square += a[i][k] * a[i][k];
    const double norm = a[k + 1][k] > 0.0 ? -std::sqrt(square) : std::sqrt(square);
    result.beside.push_back(norm);
    if (square == 0.0) continue;
    for (std::size_t i = k + 1; i < n; ++i) v[i] = a[i][k];
    v[k + 1] -= norm;
    const double length = std::sqrt(2.0 * (square - norm * a[k + 1][k]));
    for (std::size_t i = k + 1; i < n; ++i) v[i] /= length;
    double own = 0.0;
    for (std::size_t i = k + 1; i < n; ++i) {
      w[i] = 0.0;
      for (std::size_t j = k + 1; j < n; ++j) w[i] += 2.0 * a[i][j] * v[j];
      own += w[i] * v[i];
    }
    for (std::size_t i = k + 1; i < n; ++i) w[i] -= own * v[i];
    for (std::size_t i = k + 1; i < n; ++i) {
      for (std::size_t j = k + 1; j < n; ++j) a[i][j] -= v[i] * w[j] + w[i] * v[j];
    }
  }
  result.diagonal.push_back(a[n - 1][n - 1]);
  return result;
}

/// Whether some eigenvalue is larger, by the signs of the pivots of matrix - value (Sylvester).
bool HasLarger(const Tridiagonal& matrix, double value) {
  double pivot = 1.0;
  for (std::size_t i = 0; i < matrix.diagonal.size(); ++i) {
    const double beside = i == 0 ? 0.0 : matrix.beside[i - 1];
    pivot = matrix.diagonal[i] - value - beside * beside / pivot;
    if (pivot > 0.0) return true;
    if (pivot == 0.0) pivot = -std::numeric_limits<double>::min();
  }
  return false;
}

std::optional<double> ConditionNumber(const QvSymMatrix& correlation,
                                      const std::function<bool()>& isStopped) {
  if (correlation.GetOrder() > Collinearity::kMostColumns) return std::nullopt;
  std::optional<QvSymMatrix> products = InverseOf(correlation, isStopped);
  if (!products) return std::nullopt;
  // The inverse of the products of columns of length 1: its own largest eigenvalue is known to
  // more digits than the smallest of the products.
  QvSymMatrix inverse = correlation;
  Scale(inverse, DiagonalPowers(*products, 0.5));
  const double square =
      LargestEigenvalue(Correlation(std::move(*products))) * LargestEigenvalue(inverse);
  return Finite(std::sqrt(square));
}

}  // namespace

double LargestEigenvalue(const QvSymMatrixData& matrix) {
  const Tridiagonal tridiagonal = ToTridiagonal(matrix);
  // Within the largest sum of absolute values of a row.
  double high = 0.0;
  const std::size_t n = tridiagonal.diagonal.size();
  for (std::size_t i = 0; i < n; ++i) {
    double sum = std::abs(tridiagonal.diagonal[i]);
    if (i > 0) sum += std::abs(tridiagonal.beside[i - 1]);
    if (i + 1 < n) sum += std::abs(tridiagonal.beside[i]);
    high = std::max(high, sum);
  }
  double low = -high;
  constexpr int kHalvings = 80;
  for (int step = 0; step < kHalvings; ++step) {
    const double middle = low + 0.5 * (high - low);
    (HasLarger(tridiagonal, middle) ? low : high) = middle;
  }
  return high;
}

Collinearity FindCollinearity(const CollinearityInput& input) {
  const auto isStopped = input.isStopped ? input.isStopped : [] { return false; };
  std::vector<int> all;
  std::vector<int> withoutIntercept;
  std::vector<std::vector<int>> byTerm(static_cast<std::size_t>(input.termCount));
  for (std::size_t i = 0; i < input.kept.size(); ++i) {
    if (!input.kept[i]) continue;
    all.push_back(static_cast<int>(i));
    if (input.terms[i] < 0) continue;
    byTerm[static_cast<std::size_t>(input.terms[i])].push_back(
        static_cast<int>(withoutIntercept.size()));
    withoutIntercept.push_back(static_cast<int>(i));
  }
  Collinearity result;
  result.terms.resize(byTerm.size());
  if (all.empty()) return result;
  result.conditionNumber = ConditionNumber(Correlation(Part(input.covariance, all)), isStopped);
  const QvSymMatrix correlation = Correlation(Part(input.covariance, withoutIntercept));
  const auto products = withoutIntercept.empty() ? std::nullopt : InverseOf(correlation, isStopped);
  for (std::size_t term = 0; term < byTerm.size(); ++term) {
    VarianceInflation& inflation = result.terms[term];
    inflation.degrees = static_cast<int>(byTerm[term].size());
    if (inflation.degrees == 0 || !products) continue;
    // The determinant of the others over that of all is that of the term's part of the inverse.
    const double logarithm =
        Logarithm(Part(correlation, byTerm[term])) + Logarithm(Part(*products, byTerm[term]));
    inflation.factor = Finite(std::exp(logarithm));
    inflation.errorPerParameter = Finite(std::exp(logarithm / (2.0 * inflation.degrees)));
  }
  return result;
}

}  // namespace qvhost
