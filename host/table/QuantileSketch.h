#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qvhost {

/// A value and how many values it stands for.
struct WeightedValue {
  double value = 0.0;
  std::int64_t weight = 1;
};

/// The quantiles of values for these shares, by linear interpolation between the values at the
/// neighbouring ranks (type 7 of Hyndman and Fan, Sample quantiles in statistical packages, The
/// American Statistician 50, 1996; R's default). Sorts the values. REQUIRES: one at least; shares
/// in [0, 1].
[[nodiscard]] std::vector<double> QuantilesOf(std::vector<WeightedValue> values,
                                              std::span<const double> shares);

/// Values of which quantiles are asked for, in memory that grows with the logarithm of their number
/// (Munro and Paterson, Selection and sorting with limited storage, Theoretical Computer Science
/// 12, 1980): of a full buffer, once sorted, every other value goes on to the next level, where it
/// stands for twice as many. Of n values the rank of a quantile is wrong by at most
/// log2(n / 4096) / 8192 of n; of up to 4096 it is exact. The order of the values counts.
class QuantileSketch {
 public:
  static constexpr std::size_t kBuffer = 4096;

  void Add(double value);

  [[nodiscard]] bool IsExact() const { return levels_.size() <= 1; }
  [[nodiscard]] std::vector<WeightedValue> Values() const;

 private:
  struct Level {
    std::vector<double> values;
    bool takesSecond = false;  ///< Which of two values goes on, by turns.
  };

  std::vector<Level> levels_;
};

}  // namespace qvhost
