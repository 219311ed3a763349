#pragma once

#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/design/QvFactorCounts.h"

class QvGLMAlgorithm;
class QvRegSettings;

/// The results of a linear model. Holds copies of all that it reports; ExpandRow and Cancel go
/// through the component's algorithm, which it borrows.
class QVREG_EXPORT QvGLMOutputStats : public IQvRegOutputStats {
 public:
  /// Copies the results of `algorithm`, whose model is built, with the degrees of freedom that the
  /// `settings` may impose. May throw std::bad_alloc: its component turns that into
  /// a status.
  QvGLMOutputStats(const QvRegSettings& settings, QvGLMAlgorithm& algorithm);
  QvGLMOutputStats(const QvGLMOutputStats&) = default;
  QvGLMOutputStats& operator=(const QvGLMOutputStats&) = default;

  ~QvGLMOutputStats() override = default;
  QvConst::QvRegModelType GetModelType() override { return QvConst::QvRegModelGLM; }
  [[nodiscard]] const QvFactorCounts& GetFactorCounts() const override { return fFactorCounts; }
  [[nodiscard]] const std::vector<double>& GetMeanValues() const override { return fMeanValues; }
  [[nodiscard]] const std::vector<double>& GetParamEstimates() const override {
    return fParamEstimates;
  }
  [[nodiscard]] const std::vector<QvRegrParameter>& GetParameters() const override {
    return fParameters;
  }
  [[nodiscard]] double GetTotalFreqWeight() const override { return fTotalFreqWeight; }
  [[nodiscard]] double GetTotalRegrWeight() const override { return fTotalRegrWeight; }
  [[nodiscard]] double GetNDegFreedom() const override { return fNDegFreedom; }
  [[nodiscard]] double GetModelFitStat(QvConst::QvModelFitStat stat) const override;
  [[nodiscard]] const QvCommon::QvSymMatrixData* GetCovarianceMatrix() const override {
    return &fCovariance;
  }
  [[nodiscard]] const std::vector<QvRegrParameterStats>& GetParamStats() const override {
    return fParamStats;
  }
  [[nodiscard]] const QvCommon::QvBitSet& GetRedundancyIndicators() const override {
    return fRedundancy;
  }
  [[nodiscard]] const QvRegRecordValidator& GetRecordValidator() const override {
    return fRecordValidator;
  }
  bool ExpandRow(const QvCommon::Record& record, std::vector<double>& row) const override;
  void Cancel() override;
  void Display() const override;
  bool GetRedundantCombination(int parameter, std::vector<double>& combination) const override;

  /// How many records the run read, used and left out.
  [[nodiscard]] const QvRecordCounts& GetRecordCounts() const { return fRecordCounts; }
  /// One bit per parameter, set for one whose column was not finite: some value of it, or a sum of
  /// its weighted products with itself or with the dependent, is infinite or not a number. Such a
  /// parameter is redundant, and the fit is that of the model without it. A weight that is not
  /// finite concerns all; the fit statistics are then the missing value.
  [[nodiscard]] const QvCommon::QvBitSet& GetNonFiniteParameters() const;
  /// False when some value of the dependent was not finite, or when weights made an estimate or a
  /// sum of squares too large: both fit statistics are then the missing value, and the estimates 0
  /// unless only a sum of squares is concerned.
  [[nodiscard]] bool IsDependentFinite() const;

  /// Numbers of unusual size go through the estimation divided by powers of two, which rounds
  /// nothing: a column, or the dependent, whose largest absolute value in the records used is not
  /// from 2^-20 to 2^20. All else that these statistics report is in the host's units, where an
  /// estimate or an element of the covariance matrix that no double holds is infinite or 0. The
  /// following hold it in every case, and equal the others where every exponent is 0.
  ///
  /// Per parameter the exponent e of the power of two that its column was divided by. All columns
  /// of an effect share it: those of a factor's level whose numbers are smaller than another's by a
  /// factor of 2^500 or more may still underflow, and count as redundant.
  [[nodiscard]] const std::vector<int>& GetParameterExponents() const;
  /// The exponent f of the power of two that the dependent was divided by.
  [[nodiscard]] int GetDependentExponent() const;
  /// The estimates times 2^(e - f); always finite.
  [[nodiscard]] const std::vector<double>& GetScaledEstimates() const;
  /// The covariance matrix with the element in row i and column j times 2^(e_i + e_j).
  [[nodiscard]] const QvCommon::QvSymMatrixData* GetScaledCovarianceMatrix() const;
  /// The root mean square error times 2^-f; its plain form is missing where it is too large for a
  /// double, and 0 where it is too small.
  [[nodiscard]] double GetScaledRootMeanSquareError() const;
  /// The root of the mean square of the dependent, about its mean where the model has an intercept
  /// and about 0 otherwise, times 2^-f: R square is 1 less the square of the ratio of the error to
  /// it. The missing value where that of the error is.
  [[nodiscard]] double GetScaledRootMeanSquareTotal() const;
  /// The non-zeros of the design row of `record`: `indices` receives their parameters in ascending
  /// order, `values` each times 2^-e. False as ExpandRow, with which it shares the scratch space.
  /// Allocates nothing once the vectors are large enough.
  bool ExpandScaledRow(const QvCommon::Record& record, std::vector<int>& indices,
                       std::vector<double>& values) const;

 private:
  void FillParamStats();

  std::vector<double> fMeanValues;
  QvFactorCounts fFactorCounts;
  std::vector<QvRegrParameter> fParameters;
  std::vector<double> fParamEstimates;
  double fTotalFreqWeight;
  double fTotalRegrWeight;
  double fNDegFreedom;
  double fRootMeanSquareError;
  double fMultipleRSquare;
  std::vector<QvRegrParameterStats> fParamStats;
  QvCommon::QvBitSet fRedundancy;
  QvCommon::QvBitSet fNonFinite;
  bool fbDependentFinite;
  QvCommon::QvSymMatrix fCovariance;
  std::vector<int> fExponents;
  int fDependentExponent;
  std::vector<double> fScaledEstimates;
  /// Empty where every exponent is 0.
  QvCommon::QvSymMatrix fScaledCovariance;
  double fScaledError;
  QvRegRecordValidator fRecordValidator;
  QvRecordCounts fRecordCounts;
  QvGLMAlgorithm* fpAlgorithm;
};
