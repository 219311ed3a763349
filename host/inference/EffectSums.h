#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "qvreg/common/QvSymMatrix.h"

namespace qvhost {

/// How a column that is redundant depends on kept ones: its parameter, and a coefficient for each
/// of the parameters that it depends on. A plain value.
struct RedundantColumn {
  std::size_t parameter = 0;
  std::vector<std::size_t> places;  ///< In increasing order.
  std::vector<double> coefficients;
};

/// What a test of hypotheses on the estimates of a model is made of: b' L' (L V L')^-1 L b and the
/// rank of L.
struct EffectSum {
  int degrees = 0;
  double sum = 0.0;
};

/// Tests of terms from the estimates b and their (unscaled) covariance matrix V alone, without
/// another fit. For a linear model the sum is that by which the residual sum of squares grows
/// when the hypotheses L b = 0 are imposed; for another one it is Wald's chi-square.
///
/// Taking the columns of a set S of terms out of the model imposes L b = 0 for all L that are 0 for
/// the kept columns that stay and orthogonal to the combinations by which redundant columns that
/// stay depend on those of S: for such a column takes the place of what it depends on.
///
/// Borrows what it is made of. One thread at a time.
class EffectSums {
 public:
  struct Parts {
    const std::vector<double>& estimates;
    const QvCommon::QvSymMatrixData& covariance;
    std::vector<bool> kept;  ///< Per parameter, whether it is not redundant.
    std::vector<int> terms;  ///< Per parameter its term; -1 for an intercept.
    std::vector<RedundantColumn> redundant;
    /// Asked now and then: true to stop, which makes all further sums none; may be empty.
    std::function<bool()> isStopped;
  };

  explicit EffectSums(Parts parts);

  /// What terms are adjusted for where others contain them.
  enum class Adjustment {
    /// Of the hypotheses on the term and those that contain it, those that the latter do not
    /// impose: their estimates are uncorrelated with those of the others.
    kWithoutContaining,
    /// Those whose coefficients are orthogonal to the coefficients of the others: without empty
    /// cells the hypotheses on means over the levels of the other factors, each with the same
    /// weight.
    kEqualWeights
  };

  /// That of a term. `containing` tells for each term whether it contains the one. None when the
  /// covariance matrix is singular, or when stopped.
  [[nodiscard]] std::optional<EffectSum> Of(int term, const std::vector<bool>& containing,
                                            Adjustment adjustment) const;

  /// Those of `count` terms, each adjusted for those before it. None as above.
  [[nodiscard]] std::optional<std::vector<EffectSum>> Sequential(int count) const;

  /// How many parameters of a term are kept.
  [[nodiscard]] int KeptOf(int term) const;

 private:
  using Places = std::vector<std::size_t>;
  using Vectors = std::vector<std::vector<double>>;
  class Factor;

  [[nodiscard]] Places KeptPlaces(const std::function<bool(int term)>& isTested) const;
  /// The combinations of redundant columns whose terms `isChosen` names, restricted to `places`;
  /// those that are 0 there are left out.
  [[nodiscard]] Vectors Combinations(const Places& places,
                                     const std::function<bool(int term)>& isChosen) const;
  /// The hypotheses of taking terms out, by their coefficients for `places`.
  [[nodiscard]] Vectors Hypotheses(const Places& places,
                                   const std::function<bool(int term)>& isTested) const;

  Parts parts_;
};

}  // namespace qvhost
