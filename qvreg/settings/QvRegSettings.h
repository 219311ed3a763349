#pragma once

#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/settings/QvConst.h"
#include "qvreg/settings/QvModelEffect.h"

class IQvPassRunner;
class ProgressListener;
class QvQueryCancel;

/// A regression run described: the role of each record variable, the model effects, and the
/// choices of a fit. The class decides the model: this one is the linear model.
///
/// A value that a host fills and hands to the factory, which copies it. The progress
/// listener, the cancel query and the pass runner are borrowed: the host keeps them alive as long
/// as any component. Used from one thread at a time. A variable, named by its index in a record,
/// plays one role only. A host checks the result of every setter that has one: what was refused is
/// not part of the model.
class QVREG_EXPORT QvRegSettings {
 public:
  /// No roles and no effects; an intercept.
  QvRegSettings() = default;
  QvRegSettings(const QvRegSettings&) = default;
  QvRegSettings& operator=(const QvRegSettings&) = default;

  virtual ~QvRegSettings() = default;
  /// The model that the factory makes of these settings.
  virtual QvConst::QvRegModelType GetModelType();
  /// Success; kNoDependent without a dependent; kEmptyModel with neither an intercept nor an
  /// effect.
  virtual QvCommon::QvStatus IsValidSettings();
  /// Makes `var` the dependent, once; false when refused.
  [[nodiscard]] virtual bool SetDependent(int var);
  /// Adds `var` as a covariate; the number of covariates, or -1 when refused.
  [[nodiscard]] virtual int AddCovariate(int var);
  /// Adds a copy of `effect`, whose variables are not checked; false only without memory. The copy
  /// does not need the effect's list of variables any more.
  [[nodiscard]] virtual bool AddModelEffect(const QvModelEffect& effect);
  /// Prints roles, effects and choices to standard output, for diagnostics.
  virtual void Display() const;

  /// Adds `var` as a factor with codes 0 .. nCategories - 1, at least one; the number of factors,
  /// or -1 when refused.
  [[nodiscard]] int AddFactor(int var, int nCategories);
  /// Makes `var` the frequency weight; false when refused. A later call replaces it, yet
  /// records in which the earlier variable is missing or not above 0 are still left out.
  [[nodiscard]] bool SetFrequencyWeightVar(int var);
  /// Makes `var` the regression weight, with the same rule.
  [[nodiscard]] bool SetRegrWeightVar(int var);
  /// Makes `var` the record count, once; false when refused. A host that hands out identical
  /// records once, their number multiplied into the frequency weight, tells the same number here:
  /// wherever records are counted (QvRecordCounts, unweighted counts by category, which break ties
  /// of a classification) a record counts as so many, a whole number from 1 to 2^53. It is never a
  /// weight. A record whose count is anything else is left out, as for a weight that is not above
  /// 0.
  [[nodiscard]] bool SetRecordCountVar(int var);
  /// Whether to `use` an intercept; the model has one by default.
  void SetInterceptUse(bool use) { fInterceptUse = use; }
  /// Sets the `tolerance`: the share of a diagonal below which a pivot counts as zero. 1e-12 by
  /// default; not checked.
  void SetTolerance(double tolerance) { fTolerance = tolerance; }
  /// The confidence level, for the host's intervals: 0 <= level < 1, 0.95 by default; another value
  /// is ignored.
  void SetConfidenceLevel(double level);
  /// Imposes the error degrees of freedom, nDegFreedom > 0; another value is ignored.
  void SetDF(double nDegFreedom);
  /// Carries the `type` of test for the host.
  void SetTestType(QvConst::QvTestType type) { fTestType = type; }
  /// Carries the `method` of adjusting p values for the host.
  void SetPAdjustment(QvConst::QvPAdjustMethod method) { fPAdjustment = method; }
  /// Carries the `type` of covariance matrix for the host.
  void SetCovbType(QvConst::QvCovbType type) { fCovbType = type; }
  /// Borrows the `listener` that is notified of iterations; null, the default, for none.
  void SetProgressListener(ProgressListener* listener) { fProgressListener = listener; }
  /// Borrows the `query` that can stop a run; null, the default, for none.
  void SetCancelPointer(QvQueryCancel* query) { fCancelPointer = query; }
  /// Borrows the `runner` that makes the passes; null, the default, for none: the component then
  /// reads the iterator that it is given, on the calling thread. With one the iterator is not used.
  void SetPassRunner(IQvPassRunner* runner) { fPassRunner = runner; }
  /// Linear model: whether to `refine` the estimates by iterative refinement in double-double, the
  /// first step of which is taken from the residual pass. Off by default.
  void SetRefineEstimates(bool refine);
  /// Linear model: has the estimates refined by at most `n` steps, or for 0 not at all; false for a
  /// negative n. Each step beyond the first reads the records again, and is taken only while the
  /// last one changed an estimate by more than 1e-11 of it and steps shrink. 1, the default,
  /// applies once SetRefineEstimates switches refinement on.
  [[nodiscard]] bool SetMaxRefinements(int n);

  /// Record index of the dependent; -1 until it is set.
  [[nodiscard]] int GetDependent() const { return fDependVar; }
  /// Record indices of the factors, in the order added.
  [[nodiscard]] const std::vector<int>& GetFactors() const { return fFactors; }
  /// The number of categories of each factor.
  [[nodiscard]] const std::vector<int>& GetFactorSizes() const { return fFactorSizes; }
  /// Record indices of the covariates, in the order added.
  [[nodiscard]] const std::vector<int>& GetCovariates() const { return fCovariates; }
  /// Record index of the frequency weight; -1 for none.
  [[nodiscard]] int GetFrequencyWeightVar() const { return fFreqWeightVar; }
  /// Record index of the regression weight; -1 for none.
  [[nodiscard]] int GetRegrWeightVar() const { return fRegrWeightVar; }
  /// Record index of the record count; -1 for none: every record counts as one.
  [[nodiscard]] int GetRecordCountVar() const { return fRecordCountVar; }
  /// Whether the model has an intercept.
  [[nodiscard]] bool GetInterceptUse() const { return fInterceptUse; }
  /// See SetTolerance.
  [[nodiscard]] double GetTolerance() const { return fTolerance; }
  /// The number of effects, the intercept not among them.
  [[nodiscard]] int GetNModelEffects() const { return static_cast<int>(fModelEffects.size()); }
  /// The effects, in the order added.
  [[nodiscard]] const std::vector<QvModelEffect>& GetModelEffects() const { return fModelEffects; }
  /// The confidence level, from 0 to below 1.
  [[nodiscard]] double GetConfidenceLevel() const { return fConfidence; }
  /// The imposed degrees of freedom; not above 0 when the model computes them.
  [[nodiscard]] double GetDF() const { return fNDegFreedom; }
  /// Carried for the host.
  [[nodiscard]] QvConst::QvTestType GetTestType() const { return fTestType; }
  /// Carried for the host.
  [[nodiscard]] QvConst::QvPAdjustMethod GetPAdjustment() const { return fPAdjustment; }
  /// Carried for the host.
  [[nodiscard]] QvConst::QvCovbType GetCovbType() const { return fCovbType; }
  /// The host's listener; null for none.
  [[nodiscard]] ProgressListener* GetProgressListener() const { return fProgressListener; }
  /// The host's cancel query; null for none.
  [[nodiscard]] QvQueryCancel* GetCancelPointer() const { return fCancelPointer; }
  /// The runner of the passes; null for none.
  [[nodiscard]] IQvPassRunner* GetPassRunner() const { return fPassRunner; }
  /// The role of each record variable, up to the last one that has any.
  [[nodiscard]] const std::vector<QvConst::QvVariableType>& GetVariableTypes() const {
    return fVariableType;
  }
  /// False when a setter that ran out of memory left a variable without its role, which the checks
  /// of records go by.
  [[nodiscard]] bool AreRolesComplete() const;
  /// See SetRefineEstimates.
  [[nodiscard]] bool GetRefineEstimates() const { return fRefineEstimates; }
  /// The most steps of refinement, if GetRefineEstimates; see SetMaxRefinements.
  [[nodiscard]] int GetMaxRefinements() const { return fMaxRefinements; }

 private:
  [[nodiscard]] bool HasRole(int var, QvConst::QvVariableType role) const;
  /// True when `var` is an index that has no role yet.
  [[nodiscard]] bool IsFree(int var) const;
  /// Gives a free variable its role; false, and the table emptied, without memory.
  bool AssignRole(int var, QvConst::QvVariableType role);

  int fDependVar = -1;
  std::vector<int> fFactors;
  std::vector<int> fFactorSizes;
  std::vector<int> fCovariates;
  int fFreqWeightVar = -1;
  int fRegrWeightVar = -1;
  bool fInterceptUse = true;
  double fTolerance = 1e-12;
  std::vector<QvModelEffect> fModelEffects;
  double fConfidence = 0.95;
  double fNDegFreedom = -1.0;
  QvConst::QvTestType fTestType = QvConst::QvTestDefault;
  QvConst::QvPAdjustMethod fPAdjustment = QvConst::QvPAdjustDefault;
  ProgressListener* fProgressListener = nullptr;
  QvQueryCancel* fCancelPointer = nullptr;
  IQvPassRunner* fPassRunner = nullptr;
  std::vector<QvConst::QvVariableType> fVariableType;
  QvConst::QvCovbType fCovbType = QvConst::QvCovbDefault;
  bool fRefineEstimates = false;
  int fMaxRefinements = 1;
  int fRecordCountVar = -1;
};
