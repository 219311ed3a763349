#pragma once

#include <vector>

#include "qvreg/common/QvSymMatrix.h"

namespace QvCommon {

/// A sparse vector given by parallel vectors of indices and values, which it borrows: they must
/// outlive it and keep their length. Used from one thread at a time.
class QvSparseVector {
 public:
  QvSparseVector(const std::vector<int>& indices, const std::vector<double>& values)
      : fIndices(indices), fValues(values) {}

  /// True when both vectors have one length and no index is negative. The operations below require
  /// it, and that offset plus every index lies within their arguments.
  [[nodiscard]] bool IsValid() const;
  /// True when also every index is below `bound`.
  [[nodiscard]] bool IsValidBelow(int bound) const;
  /// True when it is dense: its indices are 0 .. n - 1 in order, with a value each.
  [[nodiscard]] bool IsDense(int n) const;
  /// The sum of values[a] v[offset + indices[a]].
  [[nodiscard]] double InnerProductWithPart(const std::vector<double>& v, int offset) const;
  /// v[offset + indices[a]] += c values[a]; false, and v unchanged, when a place is missing.
  bool IncrementPart(std::vector<double>& v, int offset, double c) const;
  /// Adds c values[a] values[b] to element (indices[a], indices[b]), each unordered pair once.
  void QuadraticOuterProductIncr(QvSymMatrix& m, double c) const;
  /// The probabilities of a multinomial logit whose last of K categories is the reference: `beta`
  /// holds K - 1 blocks of p coefficients. `probabilities` is made K long and `logReference` the
  /// logarithm of its last. The predictors are shifted by the largest, so it fails, with false and
  /// both outputs unspecified, only for a predictor that is not finite, before or after the shift,
  /// or without memory.
  bool ComputeProbabilities(const std::vector<double>& beta, int K, int p,
                            std::vector<double>& probabilities, double& logReference) const;
  /// The predictors of these probabilities, the reference's being 0; false for one that is not
  /// finite, or not once the largest is subtracted. REQUIRES: K >= 1, `predictors` K long, and
  /// `isDense` as IsDense(p) answers, or false.
  bool ComputePredictors(const std::vector<double>& beta, int p, bool isDense,
                         std::vector<double>& predictors) const;
  /// The probabilities of finite predictors, the last one 0: exponentials of what each is below the
  /// largest, over their sum. REQUIRES: two vectors of one length, or the same one twice.
  static void PredictorsToProbabilities(const std::vector<double>& predictors,
                                        std::vector<double>& probabilities, double& largest,
                                        double& sum);

 private:
  const std::vector<int>& fIndices;
  const std::vector<double>& fValues;
};

}  // namespace QvCommon
