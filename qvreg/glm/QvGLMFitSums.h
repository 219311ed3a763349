#pragma once

#include <cstddef>

#include "qvreg/common/QvBytes.h"
#include "qvreg/common/QvDoubleDouble.h"
#include "qvreg/common/QvKernels.h"

/// The weighted sums of squares behind the fit statistics of a linear model: of the residuals, and
/// of the dependent about its mean, or about 0.
///
/// The mean at hand is rounded. The sum of the deviations from it gives what that adds to the sum
/// of their squares (Chan, Golub, LeVeque, Algorithms for computing the sample variance, The
/// American Statistician 37, 1983); in double-double the difference of the two has all digits, also
/// of a dependent whose spread is a few roundings of its mean. Used from one thread at a time.
class QvGLMFitSums {
 public:
  /// About 0.
  QvGLMFitSums() = default;
  /// About the mean, of which `mean` is the rounded value.
  explicit QvGLMFitSums(double mean) : fMean(mean), fbCentred(true) {}

  /// Adds a record's weight w, dependent y and residual.
  void Add(double w, double y, double residual);
  /// The same for n <= 64 records, arrays of 64 each. REQUIRES: usual numbers and weights.
  void AddMany(std::size_t n, const double* weights, const double* ys, const double* residuals,
               const QvCommon::QvKernels& kernels);
  /// Adds the sums of further records about the same mean.
  void Merge(const QvGLMFitSums& other);
  /// Appends the sums to the `writer`; reads sums about the same mean, or the `reader` fails.
  void Write(QvCommon::QvByteWriter& writer) const;
  void Read(QvCommon::QvByteReader& reader);
  /// The sum of w times the square of the residual.
  [[nodiscard]] double GetResidualSum() const { return fResiduals.Value(); }
  /// The sum of w times the square of the deviation; 0 about the mean of a constant.
  [[nodiscard]] double GetTotalSum() const;

 private:
  void NoteDependent(double y);
  /// The same of those whose weight is not 0.
  void NoteDependents(std::size_t n, const double* weights, const double* ys);

  double fMean = 0.0;
  bool fbCentred = false;
  bool fbEmpty = true;
  bool fbConstant = true;
  double fFirst = 0.0;
  QvCommon::QvDoubleDouble fResiduals;
  QvCommon::QvDoubleDouble fSquares;
  QvCommon::QvDoubleDouble fDeviations;
  QvCommon::QvDoubleDouble fWeights;
};
