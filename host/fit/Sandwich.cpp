#include "host/fit/Sandwich.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <new>
#include <vector>

#include "host/Error.h"
#include "host/Threads.h"

namespace qvhost {

namespace {

constexpr std::size_t kRows = 16;  ///< Of a product that are computed together.
constexpr std::size_t kTile = 512;

/// A square matrix by rows.
struct Square {
  std::size_t order;
  std::vector<double> elements;
};

/// The rows and columns that count.
std::vector<int> RowsOf(const QvCommon::QvSymMatrixData& bread) {
  std::vector<int> rows;
  for (int i = 0; i < bread.GetOrder(); ++i) {
    if (bread.GetElem(i, i) != 0.0) rows.push_back(i);
  }
  return rows;
}

Square Gather(const QvCommon::QvSymMatrixData& matrix, const std::vector<int>& rows) {
  Square square{rows.size(), std::vector<double>(rows.size() * rows.size())};
  double* element = square.elements.data();
  for (const int i : rows) {
    for (const int j : rows) *element++ = matrix.GetElem(i, j);
  }
  return square;
}

/// `count` rows of a product: `left` has these rows of the left factor, `result` receives them.
void Multiply(const double* left, std::size_t count, const Square& right, double* result) {
  const std::size_t order = right.order;
  for (std::size_t first = 0; first < order; first += kTile) {
    const std::size_t width = std::min(kTile, order - first);
    std::array<double, kRows * kTile> tile{};
    for (std::size_t k = 0; k < order; ++k) {
      const double* from = right.elements.data() + k * order + first;
      for (std::size_t row = 0; row < count; ++row) {
        const double factor = left[row * order + k];
        if (factor == 0.0) continue;
        double* to = tile.data() + row * kTile;
        for (std::size_t j = 0; j < width; ++j) to[j] += factor * from[j];
      }
    }
    for (std::size_t row = 0; row < count; ++row) {
      std::copy_n(tile.data() + row * kTile, width, result + row * order + first);
    }
  }
}

}  // namespace

QvCommon::QvSymMatrix Sandwich(const QvCommon::QvSymMatrixData& bread,
                               const QvCommon::QvSymMatrixData& filling, int threads,
                               const Interrupt& interrupt) {
  QvCommon::QvSymMatrix result(bread.GetOrder());
  if (!result.IsValidMatrix()) throw std::bad_alloc();
  const std::vector<int> rows = RowsOf(bread);
  const Square outer = Gather(bread, rows);
  const Square inner = Gather(filling, rows);
  const std::size_t order = rows.size();
  ForEachOnThreads(threads, (order + kRows - 1) / kRows, [&](std::size_t block) {
    if (interrupt.Requested()) throw Cancelled();
    const std::size_t first = block * kRows;
    const std::size_t count = std::min(kRows, order - first);
    std::vector<double> half(count * order);
    std::vector<double> whole(count * order);
    Multiply(outer.elements.data() + first * order, count, inner, half.data());
    Multiply(half.data(), count, outer, whole.data());
    for (std::size_t i = 0; i < count; ++i) {
      for (std::size_t j = 0; j <= first + i; ++j) {
        result.SetElem(rows[first + i], rows[j], whole[i * order + j]);
      }
    }
  });
  return result;
}

}  // namespace qvhost
