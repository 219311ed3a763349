#pragma once

#include "qvreg/QvExport.h"
#include "qvreg/settings/QvRegSettings.h"

/// A multinomial logistic run described: QvRegSettings plus the dependent's categories and the
/// convergence rules of the estimation. Setters that return bool leave the field as it was when
/// they answer false.
class QVREG_EXPORT QvLogRegSettings : public QvRegSettings {
 public:
  /// Reference category: the last one observed.
  static constexpr int kLastObserved = -1;
  /// Reference category: the first one observed.
  static constexpr int kFirstObserved = -2;

  QvLogRegSettings() = default;
  QvLogRegSettings(const QvLogRegSettings&) = default;
  QvLogRegSettings& operator=(const QvLogRegSettings&) = default;

  ~QvLogRegSettings() override = default;
  QvConst::QvRegModelType GetModelType() override;
  QvCommon::QvStatus IsValidSettings() override;
  void Display() const override;

  /// The dependent has nCategories >= 2 categories; the reference is one of them, kLastObserved or
  /// kFirstObserved.
  bool SetDependentRefCat(int refCategory, int nCategories);
  /// Report the iterations every n-th time, n >= 1.
  bool SetIterationFrequency(int n);
  /// Converged when the log-likelihood changes by less; 0 switches the criterion off.
  bool SetLLConCriterion(double criterion);
  /// Converged when the estimates change by less; 0 switches the criterion off.
  bool SetParamEstConCriterion(double criterion);
  /// At most n >= 0 Newton-Raphson iterations.
  bool SetMaxIterations(int n);
  /// At most n >= 1 step-halvings an iteration.
  bool SetMaxStepHalvingValue(int n);
  /// The iteration n >= 0 from which the late checks (such as separation) start.
  bool SetStartingIteration(int n);
  /// Whether the log-likelihood criterion is absolute.
  void SetLLFuncChange(bool absolute) { fLLAbsoluteChange = absolute; }
  /// Whether the estimates' criterion is absolute.
  void SetParamEstChange(bool absolute) { fParamEstAbsoluteChange = absolute; }
  /// Whether the data are kept in memory, grouped by covariate pattern.
  void SetUsePatternTabulator(bool use) { fUsePatternTabulator = use; }

  [[nodiscard]] int GetDependentNCategs() const { return fDependentNCategs; }
  [[nodiscard]] int GetDependentRefCateg() const { return fDependentRefCateg; }
  [[nodiscard]] int GetIterationFrequency() const { return fIterationFrequency; }
  [[nodiscard]] double GetLLConCriterion() const { return fLLConCriterion; }
  [[nodiscard]] bool GetLLFuncChange() const { return fLLAbsoluteChange; }
  [[nodiscard]] double GetParamEstConCriterion() const { return fParamEstConCriterion; }
  [[nodiscard]] bool GetParamEstChange() const { return fParamEstAbsoluteChange; }
  [[nodiscard]] int GetMaxIterations() const { return fMaxIterations; }
  [[nodiscard]] int GetMaxStepHalvingValue() const { return fMaxStepHalving; }
  [[nodiscard]] int GetStartingIteration() const { return fStartingIteration; }
  [[nodiscard]] bool GetUsePatternTabulator() const { return fUsePatternTabulator; }

 private:
  int fDependentNCategs = 2;
  int fDependentRefCateg = kLastObserved;
  double fLLConCriterion = 0.0;
  double fParamEstConCriterion = 1e-6;
  int fMaxIterations = 100;
  int fMaxStepHalving = 5;
  int fStartingIteration = 20;
  bool fLLAbsoluteChange = false;
  bool fParamEstAbsoluteChange = false;
  bool fUsePatternTabulator = false;
  int fIterationFrequency = 1;
};
