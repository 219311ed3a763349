#pragma once

#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/settings/QvConst.h"
#include "qvreg/settings/QvModelEffect.h"

class ProgressListener;
class QvQueryCancel;

/// A regression run described: the role of each record variable, the model effects, and the
/// choices of a fit. The class decides the model: this one is the linear model.
///
/// A value that a host fills and hands to the factory, which copies it. The progress listener and
/// the cancel query are borrowed: the host keeps them alive as long as any component. Used from one
/// thread at a time. A variable, named by its index in a record, plays one role only.
class QVREG_EXPORT QvRegSettings {
 public:
  QvRegSettings() = default;
  QvRegSettings(const QvRegSettings&) = default;
  QvRegSettings& operator=(const QvRegSettings&) = default;

  virtual ~QvRegSettings() = default;
  /// The model that the factory makes of these settings.
  virtual QvConst::QvRegModelType GetModelType();
  /// Success; 301 without a dependent; 302 with neither an intercept nor an effect.
  virtual QvCommon::QvStatus IsValidSettings();
  /// Names the dependent, once; false when refused.
  virtual bool SetDependent(int var);
  /// Adds a covariate; the number of covariates, or -1 when refused.
  virtual int AddCovariate(int var);
  /// Adds a copy of an effect; false only without memory.
  virtual bool AddModelEffect(const QvModelEffect& effect);
  virtual void Display() const;

  /// Adds a factor coded 0 .. nCategories - 1; the number of factors, or -1 when refused.
  int AddFactor(int var, int nCategories);
  /// Names the frequency weight; a later call replaces it, yet the earlier variable keeps its role.
  bool SetFrequencyWeightVar(int var);
  /// Names the regression weight, with the same rule.
  bool SetRegrWeightVar(int var);
  void SetInterceptUse(bool use) { fInterceptUse = use; }
  /// The share of a diagonal below which a pivot counts as zero; not checked.
  void SetTolerance(double tolerance) { fTolerance = tolerance; }
  /// 0 <= level < 1; another value is ignored.
  void SetConfidenceLevel(double level);
  /// Error degrees of freedom imposed by the host, above 0; another value is ignored.
  void SetDF(double nDegFreedom);
  void SetTestType(QvConst::QvTestType type) { fTestType = type; }
  void SetPAdjustment(QvConst::QvPAdjustMethod method) { fPAdjustment = method; }
  void SetCovbType(QvConst::QvCovbType type) { fCovbType = type; }
  void SetProgressListener(ProgressListener* listener) { fProgressListener = listener; }
  void SetCancelPointer(QvQueryCancel* query) { fCancelPointer = query; }
  /// Linear model: improve the estimates by one step of iterative refinement, taken from the
  /// residual pass in twice working precision. Off by default.
  void SetRefineEstimates(bool refine) { fRefineEstimates = refine; }

  [[nodiscard]] int GetDependent() const { return fDependVar; }
  [[nodiscard]] const std::vector<int>& GetFactors() const { return fFactors; }
  [[nodiscard]] const std::vector<int>& GetFactorSizes() const { return fFactorSizes; }
  [[nodiscard]] const std::vector<int>& GetCovariates() const { return fCovariates; }
  [[nodiscard]] int GetFrequencyWeightVar() const { return fFreqWeightVar; }
  [[nodiscard]] int GetRegrWeightVar() const { return fRegrWeightVar; }
  [[nodiscard]] bool GetInterceptUse() const { return fInterceptUse; }
  [[nodiscard]] double GetTolerance() const { return fTolerance; }
  [[nodiscard]] int GetNModelEffects() const { return static_cast<int>(fModelEffects.size()); }
  [[nodiscard]] const std::vector<QvModelEffect>& GetModelEffects() const { return fModelEffects; }
  [[nodiscard]] double GetConfidenceLevel() const { return fConfidence; }
  /// The imposed degrees of freedom; not above 0 when the model computes them.
  [[nodiscard]] double GetDF() const { return fNDegFreedom; }
  [[nodiscard]] QvConst::QvTestType GetTestType() const { return fTestType; }
  [[nodiscard]] QvConst::QvPAdjustMethod GetPAdjustment() const { return fPAdjustment; }
  [[nodiscard]] QvConst::QvCovbType GetCovbType() const { return fCovbType; }
  [[nodiscard]] ProgressListener* GetProgressListener() const { return fProgressListener; }
  [[nodiscard]] QvQueryCancel* GetCancelPointer() const { return fCancelPointer; }
  /// The role of each record variable, up to the last one that has any.
  [[nodiscard]] const std::vector<QvConst::QvVariableType>& GetVariableTypes() const {
    return fVariableType;
  }
  /// False when a setter that ran out of memory left a variable without its role, which the checks
  /// of records go by.
  [[nodiscard]] bool AreRolesComplete() const;
  [[nodiscard]] bool GetRefineEstimates() const { return fRefineEstimates; }

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
  std::vector<QvConst::QvVariableType> fVariableType;
  QvConst::QvCovbType fCovbType = QvConst::QvCovbDefault;
  bool fRefineEstimates = false;
};
