#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/QvExport.h"

namespace QvCommon {

/// A symmetric matrix of cross-products in twice working precision, kept while its rounded sum is
/// swept, so that what the sweep leaves of a diagonal can be computed again without its rounding.
///
/// Owns its elements; a value. Const operations may run together.
class QVREG_EXPORT QvExactProducts {
 public:
  /// Holds nothing.
  QvExactProducts() = default;
  /// The elements are sums of a `high` and a `low` part, both lower triangles row by row and of the
  /// same size.
  QvExactProducts(std::vector<double> high, std::vector<double> low);

  /// True when it holds no matrix.
  [[nodiscard]] bool IsEmpty() const { return fHigh.empty(); }

  /// c' A c, rounded once, where c holds `coefficients` in the places `rows` and 0 elsewhere.
  /// REQUIRES: increasing rows of the matrix, and as many coefficients.
  [[nodiscard]] double QuadraticForm(const std::vector<int>& rows,
                                     const std::vector<double>& coefficients) const;

 private:
  std::vector<double> fHigh;
  std::vector<double> fLow;
};

}  // namespace QvCommon
