#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "qvreg/c/QvCList.h"
#include "qvreg/c/QvCRefusal.h"
#include "qvreg/common/QvSymMatrix.h"

/// The covariance matrix at hand, or the refusal of one that the model does not have.
inline const QvCommon::QvSymMatrixData& QvCRequireCovariance(
    const QvCommon::QvSymMatrixData* covariance) {
  if (covariance != nullptr) return *covariance;
  throw QvCRefusal(QVREG_NOT_SERVED,
                   "The model has no covariance matrix; look at how its iterations ended.");
}

/// Copies an n x n matrix to a host's buffer whose rows begin `rowStride` elements apart, at least
/// n; throws the refusal for a smaller or an endless stride or a buffer that is too short. `count`,
/// which may be null, receives what the buffer must hold. `element(i, j)` answers an element.
template <typename Element>
void QvCCopyMatrix(std::size_t n, std::size_t rowStride, double* elements, std::size_t capacity,
                   std::size_t* count, Element&& element) {
  if (rowStride < n) {
    throw QvCRefusal(QVREG_BAD_ARGUMENT, "The row stride is " + std::to_string(rowStride) +
                                             ", less than the " + std::to_string(n) +
                                             " elements of a row; pass at least that.");
  }
  if (n > 1 && rowStride > (static_cast<std::size_t>(PTRDIFF_MAX) / sizeof(double) - n) / (n - 1)) {
    throw QvCRefusal(QVREG_BAD_ARGUMENT, "The row stride is " + std::to_string(rowStride) +
                                             ", and no memory holds such a matrix; pass the "
                                             "distance of its rows in doubles.");
  }
  const QvCList list(n == 0 ? 0 : (n - 1) * rowStride + n, capacity, count);
  if (!list.IsWanted(elements)) return;
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) elements[i * rowStride + j] = element(i, j);
  }
}

/// Copies the lower triangle of an n x n matrix row by row to a host's buffer, as QvCCopyMatrix.
template <typename Element>
void QvCCopyPacked(std::size_t n, double* elements, std::size_t capacity, std::size_t* count,
                   Element&& element) {
  const QvCList list(n * (n + 1) / 2, capacity, count);
  if (!list.IsWanted(elements)) return;
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j <= i; ++j) *elements++ = element(i, j);
  }
}
