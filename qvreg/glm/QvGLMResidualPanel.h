#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "qvreg/common/QvDoubleDouble.h"
#include "qvreg/common/QvKernels.h"
#include "qvreg/glm/QvGLMFitSums.h"

/// Up to 64 dense rows of a linear model, whose residuals are computed together: in double-double
/// for a refinement, and so is its gradient; else from predictions rounded once, which leave no
/// residual where estimates are off by less than a prediction shows. Owns its rows. Used from one
/// thread at a time.
class QvGLMResidualPanel {
 public:
  explicit QvGLMResidualPanel(const QvCommon::QvKernels& kernels = QvCommon::QvKernels::Get())
      : fpKernels(&kernels) {}

  /// Makes room for rows of p values, and is empty. May throw std::bad_alloc.
  void SetUp(std::size_t p);
  [[nodiscard]] bool IsFull() const { return fCount == QvCommon::QvKernels::kRows; }
  /// Adds a row with its dependent and weight, and returns where its p values are to be written.
  /// Null, and not added, where the weight or an estimate is not usual (see QvKernels). REQUIRES:
  /// not full; usual values and dependent; p estimates, the same for all rows of a panel.
  double* Append(double y, double weight, const std::vector<double>& estimates);
  /// Adds the rows to the sums of squares and, unless that is empty, to the gradient: the sum of
  /// weight times residual times row, p numbers. The panel is then empty.
  void AddTo(const std::vector<double>& estimates, QvGLMFitSums& sums,
             std::vector<QvCommon::QvDoubleDouble>& gradient);

 private:
  using Numbers = std::array<double, QvCommon::QvKernels::kRows>;

  void AddToGradient(std::vector<QvCommon::QvDoubleDouble>& gradient);

  const QvCommon::QvKernels* fpKernels;
  std::size_t fCount = 0;
  bool fbUsualEstimates = false;
  std::size_t fStride = 0;       ///< p, rounded up to whole lanes.
  std::vector<double> fRows;     ///< 64, each a stride apart.
  std::vector<double> fColumns;  ///< The same as columns of 64.
  Numbers fDependents{};
  Numbers fWeights{};
  Numbers fHigh{};  ///< Residuals, in double-double.
  Numbers fLow{};
  std::vector<double> fSumHigh;  ///< Scratch: of the gradient.
  std::vector<double> fSumLow;
};
