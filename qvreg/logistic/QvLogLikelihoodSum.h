#pragma once

#include "qvreg/common/QvDoubleDouble.h"
#include "qvreg/common/QvElementary.h"

/// The sum of the logarithms of probabilities, each times its row's weight. Steps near the maximum
/// change its last digits only, which a long plain sum would lose: it is a double-double.
///
/// A value. Used from one thread at a time.
class QvLogLikelihoodSum {
 public:
  /// Adds a number.
  void Add(double value) { fSum.Add({value, 0.0}); }
  /// Adds weight (-log(sum)), for a sum of at least 1 and at most 1e299. Rows of one weight that
  /// follow each other share a logarithm.
  void SubtractLog(double weight, double sum) {
    if (weight != fPendingWeight || fPendingProduct > kMostPending / sum) {
      fSum = Get();
      fPendingWeight = weight;
      fPendingProduct = 1.0;
    }
    fPendingProduct *= sum;
  }
  /// Adds weight log(1 - rest) for a small `rest`, where three terms of the series suffice: of a
  /// probability close to 1 the weight of many records would show the rounding.
  void AddLogOfRest(double weight, double rest) {
    Add(weight * (-rest * (1.0 + rest * (1.0 / 2.0 + rest / 3.0))));
  }
  void Merge(const QvLogLikelihoodSum& other) {
    *this = QvLogLikelihoodSum(Get());
    fSum.Add(other.Get());
  }
  /// The whole sum.
  [[nodiscard]] QvCommon::QvDoubleDouble Get() const {
    QvCommon::QvDoubleDouble sum = fSum;
    sum.Add({-fPendingWeight * QvCommon::QvElementary::Log(fPendingProduct), 0.0});
    return sum;
  }

  QvLogLikelihoodSum() = default;
  explicit QvLogLikelihoodSum(const QvCommon::QvDoubleDouble& sum) : fSum(sum) {}

 private:
  /// The product may grow to this.
  static constexpr double kMostPending = 1e300;

  QvCommon::QvDoubleDouble fSum;
  /// Not yet in it: minus the weight times the logarithm of the product of the latest sums.
  double fPendingWeight = 0.0;
  double fPendingProduct = 1.0;
};
