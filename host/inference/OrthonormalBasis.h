#pragma once

#include <cstddef>
#include <vector>

namespace qvhost {

/// Orthonormal vectors that span what was added (Gram and Schmidt, each vector twice: Giraud,
/// Langou, Rozložník, van den Eshof, Rounding error analysis of the classical Gram-Schmidt
/// orthogonalization process, Numerische Mathematik 101, 2005). A value; one thread at a time.
class OrthonormalBasis {
 public:
  /// Below it, what is left of a vector counts as nothing.
  static constexpr double kTolerance = 1e-7;

  /// Adds a vector and returns whether it was independent: whether the vectors before left more
  /// than the share `tolerance` of it. A vector of zeros never is. REQUIRES: all of one length.
  bool Add(std::vector<double> vector, double tolerance = kTolerance);
  /// Takes the part in the span out of a vector.
  void RemoveFrom(std::vector<double>& vector) const;
  [[nodiscard]] std::size_t Size() const { return vectors_.size(); }
  /// The vector that the latest independent one added. REQUIRES: there was one.
  [[nodiscard]] const std::vector<double>& Latest() const { return vectors_.back(); }

 private:
  std::vector<std::vector<double>> vectors_;
};

/// Orthonormal vectors that span those of `length` numbers that are orthogonal to all `others`.
/// REQUIRES: others of that length.
[[nodiscard]] std::vector<std::vector<double>> OrthogonalComplement(
    std::size_t length, const std::vector<std::vector<double>>& others);

}  // namespace qvhost
