#pragma once

#include <vector>

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

  /// Two categories, the last observed one the reference, and the defaults named below.
  QvLogRegSettings() = default;
  QvLogRegSettings(const QvLogRegSettings&) = default;
  QvLogRegSettings& operator=(const QvLogRegSettings&) = default;

  ~QvLogRegSettings() override = default;
  QvConst::QvRegModelType GetModelType() override;
  QvCommon::QvStatus IsValidSettings() override;
  /// As QvRegSettings, with what this class adds.
  void Display() const override;

  /// The dependent has nCategories >= 2 categories, coded from 0; `refCategory` is one of them,
  /// kLastObserved or kFirstObserved. Where it is not called there are two: a record with code 2 is
  /// then left out, and a higher code ends the run with kBadCategory.
  [[nodiscard]] bool SetDependentRefCat(int refCategory, int nCategories);
  /// Report to the progress listener every n-th iteration, n >= 1 (1 by default), the starting
  /// values and the last one in any case.
  [[nodiscard]] bool SetIterationFrequency(int n);
  /// Converged when the log-likelihood changes by less than `criterion` >= 0; 0, the default,
  /// switches it off.
  [[nodiscard]] bool SetLLConCriterion(double criterion);
  /// Converged when the estimates change by less than `criterion` >= 0 (1e-6 by default); 0
  /// switches it off. Relative change is the largest |change| / max(|estimate|, 1e-6), absolute
  /// change the sum of all |change|.
  [[nodiscard]] bool SetParamEstConCriterion(double criterion);
  /// At most n >= 0 Newton-Raphson iterations (100 by default).
  [[nodiscard]] bool SetMaxIterations(int n);
  /// At most n >= 1 step-halvings an iteration (5 by default).
  [[nodiscard]] bool SetMaxStepHalvingValue(int n);
  /// The first iteration `n` that tests for separation, 20 by default; with 0 none does.
  [[nodiscard]] bool SetStartingIteration(int n);
  /// Starts the iterations from `values` instead of the estimates of the model without terms: a
  /// finite one per parameter, in the order of the output statistics' estimates; those of redundant
  /// parameters are not used. Empty, the default: none. False, too, without memory. Whether their
  /// number is that of the parameters shows in CreateParameters: kNoParameters (discrete datum 0:
  /// how many values there are, 1: how many parameters). The initial log-likelihood, with which the
  /// pseudo R squares compare, stays that of the default start, for one more pass. Intercepts alone
  /// have their estimates there already and ignore the values. Values from which a record's
  /// predictor leaves the range of a double end BuildModel with kStageMissing, where the data are
  /// kept in memory with kDataNotProcessed.
  [[nodiscard]] bool SetStartingValues(const std::vector<double>& values);
  /// Whether the log-likelihood criterion is `absolute`; relative by default.
  void SetLLFuncChange(bool absolute) { fLLAbsoluteChange = absolute; }
  /// Whether the estimates' criterion is `absolute`; relative by default.
  void SetParamEstChange(bool absolute) { fParamEstAbsoluteChange = absolute; }
  /// Whether to `use` a tabulator, which keeps the data in memory, every record, grouped by the
  /// levels of its factors; not by default.
  void SetUsePatternTabulator(bool use) { fUsePatternTabulator = use; }

  /// The number of categories of the dependent, at least 2.
  [[nodiscard]] int GetDependentNCategs() const { return fDependentNCategs; }
  /// The reference category as it was asked for: a code, kLastObserved or kFirstObserved.
  [[nodiscard]] int GetDependentRefCateg() const { return fDependentRefCateg; }
  /// See SetIterationFrequency.
  [[nodiscard]] int GetIterationFrequency() const { return fIterationFrequency; }
  /// See SetLLConCriterion; 0 when it is off.
  [[nodiscard]] double GetLLConCriterion() const { return fLLConCriterion; }
  /// True when the log-likelihood criterion is absolute.
  [[nodiscard]] bool GetLLFuncChange() const { return fLLAbsoluteChange; }
  /// See SetParamEstConCriterion; 0 when it is off.
  [[nodiscard]] double GetParamEstConCriterion() const { return fParamEstConCriterion; }
  /// True when the estimates' criterion is absolute.
  [[nodiscard]] bool GetParamEstChange() const { return fParamEstAbsoluteChange; }
  /// The most iterations that may be done.
  [[nodiscard]] int GetMaxIterations() const { return fMaxIterations; }
  /// The most step-halvings of one iteration.
  [[nodiscard]] int GetMaxStepHalvingValue() const { return fMaxStepHalving; }
  /// See SetStartingIteration.
  [[nodiscard]] int GetStartingIteration() const { return fStartingIteration; }
  /// See SetStartingValues; empty for none.
  [[nodiscard]] const std::vector<double>& GetStartingValues() const { return fStartingValues; }
  /// True when the data are kept in memory.
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
  std::vector<double> fStartingValues;
};
