#pragma once

#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/QvRectMatrix.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/logistic/QvIterationReporter.h"

class QvLogAlgorithm;
class QvLogRegSettings;

/// The results of a logistic model. Reads its component's storage, so it must not outlive that.
///
/// K observed categories, the reference last; parameters are in blocks of P, one block per
/// non-reference category.
class QVREG_EXPORT QvLogOutputStats : public IQvRegOutputStats {
 public:
  /// Gathers the results of `algorithm`, whose model is built, with the degrees of freedom that
  /// the `settings` may impose. May throw std::bad_alloc: its component turns that into
  /// a status.
  QvLogOutputStats(const QvLogRegSettings& settings, QvLogAlgorithm& algorithm);
  QvLogOutputStats(const QvLogOutputStats&) = default;
  QvLogOutputStats& operator=(const QvLogOutputStats&) = default;

  ~QvLogOutputStats() override = default;
  QvConst::QvRegModelType GetModelType() override { return QvConst::QvRegModelLogistic; }
  [[nodiscard]] const QvFactorCounts& GetFactorCounts() const override;
  [[nodiscard]] const std::vector<double>& GetMeanValues() const override;
  [[nodiscard]] const std::vector<double>& GetParamEstimates() const override;
  [[nodiscard]] const std::vector<QvRegrParameter>& GetParameters() const override;
  [[nodiscard]] double GetTotalFreqWeight() const override { return fTotalFreqWeight; }
  [[nodiscard]] double GetTotalRegrWeight() const override { return fTotalRegrWeight; }
  [[nodiscard]] double GetNDegFreedom() const override { return fNDegFreedom; }
  [[nodiscard]] double GetModelFitStat(QvConst::QvModelFitStat stat) const override;
  [[nodiscard]] const QvCommon::QvSymMatrixData* GetCovarianceMatrix() const override;
  [[nodiscard]] const std::vector<QvRegrParameterStats>& GetParamStats() const override {
    return fParamStats;
  }
  [[nodiscard]] const QvCommon::QvBitSet& GetRedundancyIndicators() const override {
    return fRedundancy;
  }
  [[nodiscard]] const QvRegRecordValidator& GetRecordValidator() const override;
  /// As the interface, `row` sized to all parameters: the values stand in the first P. Without the
  /// dependent; false, too, for a record with a missing or unusable value.
  bool ExpandRow(const QvCommon::Record& record, std::vector<double>& row) const override;
  void Cancel() override;
  void Display() const override;
  bool GetRedundantCombination(int parameter, std::vector<double>& combination) const override;

  /// `indices` receives the record's basic parameter, below P, of each effect, and `values` its
  /// design value; false as above.
  bool ExpandRow(const QvCommon::Record& record, std::vector<int>& indices,
                 std::vector<double>& values) const;
  /// The codes of the observed categories, the reference last.
  [[nodiscard]] const std::vector<int>& GetDependCategories() const;
  /// Their sums of frequency weights, in the same order.
  [[nodiscard]] const std::vector<double>& GetDependCategoryWeights() const;
  /// K x K sums of frequency weights: rows observed, columns predicted, the order above.
  [[nodiscard]] const QvCommon::QvRectMatrix* GetClassificationTable() const;
  /// The number of iterations done.
  [[nodiscard]] int GetIterations() const;
  /// The step-halvings of all iterations together.
  [[nodiscard]] int GetStepHalvings() const;
  /// How the iterations ended.
  [[nodiscard]] QvOptimizationOutcome GetOutcome() const;
  /// The log-likelihood at the default starting values: the intercepts of the model without terms,
  /// or zeros where the model has no intercept.
  [[nodiscard]] double GetInitialLL() const;
  /// The log-likelihood at the estimates.
  [[nodiscard]] double GetFinalLL() const;
  /// The last change of the log-likelihood, relative or absolute as the settings say.
  [[nodiscard]] double GetLLChange() const;
  /// The last change of the scaled estimates, relative or absolute as the settings say.
  [[nodiscard]] double GetParameterChange() const;
  /// One bit per parameter, set for one whose column was not finite: some value of it, or the
  /// weighted sum of its squares, is infinite or not a number. Such a parameter is redundant, and
  /// the fit is that of the model without it. A weight that is not finite concerns all.
  [[nodiscard]] const QvCommon::QvBitSet& GetNonFiniteParameters() const;
  /// How many records the run read, used and left out.
  [[nodiscard]] const QvRecordCounts& GetRecordCounts() const;

  /// Columns of unusual size go through the estimation divided by powers of two, which rounds
  /// nothing: those whose largest absolute value in the records used is not from 2^-20 to 2^20. All
  /// else that these statistics report is in the host's units, where an estimate or an element of
  /// the covariance matrix that no double holds is infinite or 0. The following hold it in every
  /// case, and equal the others where every exponent is 0.
  ///
  /// Per parameter the exponent e of the power of two that its column was divided by. All columns
  /// of an effect share it: those of a factor's level whose numbers are smaller than another's by a
  /// factor of 2^500 or more may still underflow, and count as redundant.
  [[nodiscard]] const std::vector<int>& GetParameterExponents() const;
  /// The estimates times 2^e.
  [[nodiscard]] const std::vector<double>& GetScaledEstimates() const;
  /// The covariance matrix with the element in row i and column j times 2^(e_i + e_j); may be null.
  [[nodiscard]] const QvCommon::QvSymMatrixData* GetScaledCovarianceMatrix() const;

 private:
  void FillParamStats();

  QvLogAlgorithm* fpAlgorithm;
  double fTotalFreqWeight;
  double fTotalRegrWeight;
  double fNDegFreedom;
  double fCoxSnellRSquare;
  double fNagelkerkeRSquare;
  double fMcFaddenRSquare;
  std::vector<QvRegrParameterStats> fParamStats;
  QvCommon::QvBitSet fRedundancy;
  QvCommon::QvBitSet fNonFinite;
};
