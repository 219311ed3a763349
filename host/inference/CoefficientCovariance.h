#pragma once

#include <cstddef>
#include <limits>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "qvreg/common/QvSymMatrix.h"

namespace qvhost {

/// The estimates of a model and their covariance matrix, residual variance included, in the units
/// that reports use: those of the data. One row per parameter, in the order of the parameters of
/// the library and of a report; a redundant parameter has the estimate 0 and zeros in its row.
///
/// Computes elements from a matrix that it borrows, in whatever units that is, so that it takes no
/// memory of the size of a matrix. Immutable; any number of threads may use one.
class CoefficientCovariance {
 public:
  /// What it is made of. A plain value but for the matrix, which is borrowed.
  struct Parts {
    std::vector<double> estimates;  ///< In the units of the matrix.
    std::vector<bool> kept;         ///< False for a redundant parameter.
    /// An estimate times 2 to the power of its exponent is in the data's units.
    std::vector<int> exponents;
    const QvCommon::QvSymMatrixData* matrix = nullptr;
    /// What the matrix is multiplied by: the residual variance of a linear model in the units of
    /// the matrix, 1 for one that is a covariance matrix. None where there is no such variance.
    std::optional<double> variance = 1.0;
    /// Of the variance, for Student's t and F; infinite for the normal distribution.
    double degreesOfFreedom = std::numeric_limits<double>::infinity();
  };

  /// REQUIRES: as many of each as the order of the matrix.
  explicit CoefficientCovariance(Parts parts) : parts_(std::move(parts)) {}

  [[nodiscard]] std::size_t Size() const { return parts_.estimates.size(); }
  [[nodiscard]] bool IsKept(std::size_t parameter) const { return parts_.kept[parameter]; }
  /// False for a linear model that leaves no residual degree of freedom: it has estimates only.
  [[nodiscard]] bool HasMatrix() const { return parts_.variance.has_value(); }
  [[nodiscard]] double DegreesOfFreedom() const { return parts_.degreesOfFreedom; }
  /// What the matrix is multiplied by; none without a matrix.
  [[nodiscard]] std::optional<double> Variance() const { return parts_.variance; }
  /// Per parameter the power of two that takes it from the units of the matrix to the data's.
  [[nodiscard]] const std::vector<int>& Exponents() const { return parts_.exponents; }

  /// Infinite, or 0, where no double holds it.
  [[nodiscard]] double Estimate(std::size_t parameter) const;
  /// The element of two parameters; likewise. NaN without a matrix.
  [[nodiscard]] double At(std::size_t row, std::size_t column) const;

  /// A linear combination of the estimates.
  struct Combination {
    std::optional<double> value;
    std::optional<double> stdError;  ///< None without a matrix.
  };
  /// That of `weights` for the `parameters`; entries are none where they are not finite. Costs the
  /// square of their number. REQUIRES: as many of both, each parameter once.
  [[nodiscard]] Combination Combine(std::span<const std::size_t> parameters,
                                    std::span<const double> weights) const;

 private:
  Parts parts_;
};

}  // namespace qvhost
