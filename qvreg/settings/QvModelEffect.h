#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/QvExport.h"

/// One term of a model: which of the model's factors take part, with their nesting levels, and
/// which of its covariates, each with a multiplicity (its power).
///
/// Defined against an ordered list of the model's variables (record indices of the factors, then of
/// the covariates) which the effect points to but does not own: the caller keeps it alive. A copy
/// of an effect that uses variables keeps their record indices itself and does without the list;
/// lists are still compared by their address. A value; used from one thread at a time.
class QVREG_EXPORT QvModelEffect {
 public:
  /// An intercept, over no variables.
  QvModelEffect() = default;
  /// As Setup with `nModelFactors`, `nModelCovariates` and `varIndices`.
  QvModelEffect(int nModelFactors, int nModelCovariates, const std::vector<int>* varIndices);
  /// REQUIRES: the list of `other`, unless that is a copy itself. May throw std::bad_alloc.
  QvModelEffect(const QvModelEffect& other);
  /// As the copy of `other`; nothing is changed when it throws.
  QvModelEffect& operator=(const QvModelEffect& other);
  ~QvModelEffect() = default;

  /// Makes it an empty effect over the list `varIndices`, which is borrowed. REQUIRES: the list
  /// holds nModelFactors + nModelCovariates record indices.
  void Setup(int nModelFactors, int nModelCovariates, const std::vector<int>* varIndices);
  /// Takes every factor and covariate out of the effect.
  void Reset();

  /// Adds factor `var` at nesting level 0; `nested` moves the factors added before one level
  /// outward. False when `var` is no factor of the model or already in the effect.
  [[nodiscard]] bool AddNewFactor(int var, bool nested);
  /// Raises the multiplicity of covariate `var` by one and returns it; -1 when `var` is no
  /// covariate of the model.
  [[nodiscard]] int AddCovariate(int var);

  /// The nesting level of factor `var`; -1 when it is not in the effect.
  [[nodiscard]] int ContainsFactor(int var) const;
  /// The multiplicity of covariate `var`, 0 when it is not in the effect; -1 for no covariate of
  /// the model.
  [[nodiscard]] int GetCovariateMult(int var) const;
  /// The sum of all multiplicities.
  [[nodiscard]] int GetNCovariateMult() const;
  /// Record indices of the effect's factors, in the order of the model's list.
  [[nodiscard]] std::vector<int> GetFactors() const;
  /// Their nesting levels, in the same order.
  [[nodiscard]] std::vector<int> GetFactorLevels() const;
  /// Record indices of the effect's covariates, in the order of the model's list.
  [[nodiscard]] std::vector<int> GetCovariates() const;
  /// Their multiplicities, in the same order.
  [[nodiscard]] std::vector<int> GetCovMultiplicities() const;

  /// The number of factors in the effect.
  [[nodiscard]] int GetNFactors() const { return fNFactors; }
  /// The number of distinct covariates in the effect.
  [[nodiscard]] int GetNCovariates() const { return fNCovariates; }
  /// The depth of nesting: 0 without factors, 1 without nested ones.
  [[nodiscard]] int GetNLevels() const { return fNLevels; }
  /// The number of factors of the model: entries at the front of the list.
  [[nodiscard]] int GetNModelFactors() const { return fNModelFactors; }
  /// The number of covariates of the model: entries at the end of the list.
  [[nodiscard]] int GetNModelCovariates() const { return fNModelCovariates; }
  /// The main vector: per factor of the model its nesting level or -1, then per covariate its
  /// multiplicity.
  [[nodiscard]] const std::vector<int>& GetModelEffect() const { return fMainVector; }
  /// The list of the model's variables, borrowed; null before Setup. That of a copy may be gone.
  [[nodiscard]] const std::vector<int>* GetVarIndices() const { return fpVarIndices; }
  /// Borrows another list, `varIndices`, in the place of the first. REQUIRES: as Setup.
  void SetVarIndices(const std::vector<int>* varIndices) {
    fpVarIndices = varIndices;
    fOwnVariables.clear();
  }
  /// True for an effect without factors and covariates.
  [[nodiscard]] bool IsIntercept() const { return fNFactors + fNCovariates == 0; }
  /// Marks the factors as standing after the covariates in parentheses; Reset clears the mark.
  void SetFactorsInParens() { fbFactorsInParens = true; }
  /// True when SetFactorsInParens was called since the last Setup or Reset.
  [[nodiscard]] bool GetFactorsInParens() const { return fbFactorsInParens; }

  /// True when `other` has the same covariate part and all of this effect's factors and more.
  [[nodiscard]] bool IsContainedIn(const QvModelEffect& other) const;
  /// True when `other` is the same effect over the same list, nesting and parentheses included.
  [[nodiscard]] bool operator==(const QvModelEffect& other) const;

  /// Removes the slots whose flag in `keep` is false from the main vector and the model's counts
  /// (the effect's own counts and the list stay). False when a removed slot was in use.
  bool ApplyMask(const std::vector<bool>& keep);

  /// Per slot of the model's list, whether some effect uses it. REQUIRES: effects of one model, at
  /// least one.
  static std::vector<bool> CheckVariableUse(const std::vector<QvModelEffect>& effects);
  /// `factors` and `covariates` receive the record indices of the variables that `effects` use, in
  /// the order met; a covariate is listed once for each effect that uses it. Nothing changes for an
  /// empty list of effects.
  static void GetUsedVariables(const std::vector<QvModelEffect>& effects, std::vector<int>& factors,
                               std::vector<int>& covariates);

  /// Prints the effect to standard output, for diagnostics.
  void Display() const;

 protected:
  /// The first position p of `value` in v with start <= p < start + count; -1 when there is none.
  [[nodiscard]] static int FindInVector(const std::vector<int>& v, int start, int count, int value);

 private:
  /// The record indices of the slots; null before Setup.
  [[nodiscard]] const std::vector<int>* Variables() const {
    return fOwnVariables.empty() ? fpVarIndices : &fOwnVariables;
  }
  /// What a copy of this effect keeps of them.
  [[nodiscard]] std::vector<int> VariablesOfACopy() const;
  /// The record index of a slot.
  [[nodiscard]] int VariableAt(int slot) const {
    return (*Variables())[static_cast<std::size_t>(slot)];
  }
  [[nodiscard]] int FactorSlot(int var) const;
  [[nodiscard]] int CovariateSlot(int var) const;
  [[nodiscard]] int NSlots() const { return fNModelFactors + fNModelCovariates; }
  [[nodiscard]] bool IsFactorUsed(int slot) const { return At(slot) >= 0; }
  [[nodiscard]] bool IsCovariateUsed(int slot) const { return At(slot) > 0; }
  [[nodiscard]] bool IsSlotUsed(int slot) const {
    return slot < fNModelFactors ? IsFactorUsed(slot) : IsCovariateUsed(slot);
  }
  [[nodiscard]] int At(int slot) const { return fMainVector[static_cast<std::size_t>(slot)]; }
  [[nodiscard]] int& At(int slot) { return fMainVector[static_cast<std::size_t>(slot)]; }

  const std::vector<int>* fpVarIndices = nullptr;
  std::vector<int> fOwnVariables;  ///< Of a copy; empty where the list is read.
  std::vector<int> fMainVector;
  int fNModelFactors = 0;
  int fNModelCovariates = 0;
  int fNFactors = 0;
  int fNCovariates = 0;
  int fNLevels = 0;
  bool fbFactorsInParens = false;
};
