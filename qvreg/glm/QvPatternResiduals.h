#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "qvreg/common/QvDoubleDouble.h"
#include "qvreg/common/QvKernels.h"
#include "qvreg/design/QvPatternSums.h"
#include "qvreg/glm/QvGLMResiduals.h"

/// The residuals of records whose design rows share most of their columns: the estimates of a
/// pattern's columns are added once for each of its few distinct values, and the gradient of a
/// refinement is summed over these values, pattern by pattern. Residuals are those of
/// QvGLMResidualPanel. Used from one thread at a time.
class QvPatternResiduals : public QvPatternSums {
 public:
  explicit QvPatternResiduals(const QvCommon::QvKernels& kernels = QvCommon::QvKernels::Get())
      : fpKernels(&kernels) {}

  /// Holds no record, of designs of so many parameters. `isRefined`: whether there is a gradient.
  /// As QvRecordPatterns::SetUp otherwise.
  void SetUp(const QvDesignRow& row, const QvFactorTables& tables, std::size_t nParameters,
             bool isRefined);
  /// Adds records with their weights and dependents, as many of the first as it answers; all while
  /// it is open. REQUIRES: usual numbers and weights (see QvKernels), and estimates, which are, as
  /// the sums, the same until MoveTo. May throw std::bad_alloc.
  std::size_t Add(std::span<const double* const> records, const double* weights,
                  const double* dependents, const std::vector<double>& estimates,
                  QvGLMFitSums& sums, std::vector<QvCommon::QvDoubleDouble>& gradient);
  /// Adds all that was not yet added to the sums of squares and the gradient, and holds no record.
  void MoveTo(QvGLMFitSums& sums, std::vector<QvCommon::QvDoubleDouble>& gradient);

 protected:
  void AddPanel() override;
  void Begin(int pattern, double* entry) override;
  void Move(int pattern, const double* entry) override;

 private:
  /// Brings values and coefficients of the panel's rows into columns.
  void FillColumns();
  void AddToGradients();

  const QvCommon::QvKernels* fpKernels;
  const std::vector<double>* fpEstimates = nullptr;
  QvGLMFitSums* fpSums = nullptr;
  std::vector<QvCommon::QvDoubleDouble>* fpGradient = nullptr;
  bool fbRefined = false;
  std::vector<int> fNumbers;  ///< Of the parameters.
  /// An entry has the coefficients of a row's values, so many, then what they lost to rounding;
  /// then the gradient, in whole lanes, and what that lost.
  std::size_t fNValues = 0;
  std::size_t fNLanes = 0;
  std::vector<double> fColumns;  ///< Scratch: 64 numbers for each value.
  std::vector<double> fCoefficients;
  std::vector<double> fCoefficientLows;
  Numbers fHigh{};  ///< Residuals, in double-double.
  Numbers fLow{};
};
