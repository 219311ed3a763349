#include "qvreg/settings/QvModelEffect.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

#include "qvreg/common/QvComponentDisplay.h"

namespace {

bool Contains(const std::vector<int>& v, int value) {
  return std::find(v.begin(), v.end(), value) != v.end();
}

}  // namespace

QvModelEffect::QvModelEffect(int nModelFactors, int nModelCovariates,
                             const std::vector<int>* varIndices) {
  Setup(nModelFactors, nModelCovariates, varIndices);
}

QvModelEffect::QvModelEffect(const QvModelEffect& other)
    : fpVarIndices(other.fpVarIndices),
      fOwnVariables(other.VariablesOfACopy()),
      fMainVector(other.fMainVector),
      fNModelFactors(other.fNModelFactors),
      fNModelCovariates(other.fNModelCovariates),
      fNFactors(other.fNFactors),
      fNCovariates(other.fNCovariates),
      fNLevels(other.fNLevels),
      fbFactorsInParens(other.fbFactorsInParens) {}

QvModelEffect& QvModelEffect::operator=(const QvModelEffect& other) {
  if (this == &other) return *this;
  std::vector<int> variables = other.VariablesOfACopy();
  fMainVector = std::vector<int>(other.fMainVector);
  fOwnVariables = std::move(variables);
  fpVarIndices = other.fpVarIndices;
  fNModelFactors = other.fNModelFactors;
  fNModelCovariates = other.fNModelCovariates;
  fNFactors = other.fNFactors;
  fNCovariates = other.fNCovariates;
  fNLevels = other.fNLevels;
  fbFactorsInParens = other.fbFactorsInParens;
  return *this;
}

std::vector<int> QvModelEffect::VariablesOfACopy() const {
  // An effect that uses no variable does not read the list, which a host may fill later.
  if (!fOwnVariables.empty() || fpVarIndices == nullptr || IsIntercept()) return fOwnVariables;
  const std::size_t size = std::min(fpVarIndices->size(), static_cast<std::size_t>(NSlots()));
  return {fpVarIndices->begin(), fpVarIndices->begin() + static_cast<std::ptrdiff_t>(size)};
}

void QvModelEffect::Setup(int nModelFactors, int nModelCovariates,
                          const std::vector<int>* varIndices) {
  fNModelFactors = std::max(nModelFactors, 0);
  fNModelCovariates = std::max(nModelCovariates, 0);
  SetVarIndices(varIndices);
  Reset();
}

void QvModelEffect::Reset() {
  fMainVector.assign(static_cast<std::size_t>(fNModelFactors), -1);
  fMainVector.resize(static_cast<std::size_t>(NSlots()), 0);
  fNFactors = 0;
  fNCovariates = 0;
  fNLevels = 0;
  fbFactorsInParens = false;
}

int QvModelEffect::FindInVector(const std::vector<int>& v, int start, int count, int value) {
  // A sum of two ints may be more than an int holds.
  const long long end =
      std::min(static_cast<long long>(start) + count, static_cast<long long>(v.size()));
  for (int p = start; p < end; ++p) {
    if (v[static_cast<std::size_t>(p)] == value) return p;
  }
  return -1;
}

int QvModelEffect::FactorSlot(int var) const {
  return Variables() == nullptr ? -1 : FindInVector(*Variables(), 0, fNModelFactors, var);
}

int QvModelEffect::CovariateSlot(int var) const {
  return Variables() == nullptr
             ? -1
             : FindInVector(*Variables(), fNModelFactors, fNModelCovariates, var);
}

bool QvModelEffect::AddNewFactor(int var, bool nested) {
  const int slot = FactorSlot(var);
  if (slot < 0 || IsFactorUsed(slot)) return false;
  if (nested) {
    for (int other = 0; other < fNModelFactors; ++other) {
      if (IsFactorUsed(other)) ++At(other);
    }
    ++fNLevels;
  }
  At(slot) = 0;
  ++fNFactors;
  if (fNFactors == 1) fNLevels = 1;
  return true;
}

int QvModelEffect::AddCovariate(int var) {
  const int slot = CovariateSlot(var);
  if (slot < 0) return -1;
  const int multiplicity = ++At(slot);
  if (multiplicity == 1) ++fNCovariates;
  return multiplicity;
}

int QvModelEffect::ContainsFactor(int var) const {
  const int slot = FactorSlot(var);
  return slot < 0 ? -1 : At(slot);
}

int QvModelEffect::GetCovariateMult(int var) const {
  const int slot = CovariateSlot(var);
  return slot < 0 ? -1 : At(slot);
}

int QvModelEffect::GetNCovariateMult() const {
  return std::accumulate(fMainVector.begin() + fNModelFactors, fMainVector.end(), 0);
}

std::vector<int> QvModelEffect::GetFactors() const {
  std::vector<int> factors;
  for (int slot = 0; slot < fNModelFactors; ++slot) {
    if (IsFactorUsed(slot)) factors.push_back(VariableAt(slot));
  }
  return factors;
}

std::vector<int> QvModelEffect::GetFactorLevels() const {
  std::vector<int> levels;
  for (int slot = 0; slot < fNModelFactors; ++slot) {
    if (IsFactorUsed(slot)) levels.push_back(At(slot));
  }
  return levels;
}

std::vector<int> QvModelEffect::GetCovariates() const {
  std::vector<int> covariates;
  for (int slot = fNModelFactors; slot < NSlots(); ++slot) {
    if (IsCovariateUsed(slot)) covariates.push_back(VariableAt(slot));
  }
  return covariates;
}

std::vector<int> QvModelEffect::GetCovMultiplicities() const {
  std::vector<int> multiplicities;
  for (int slot = fNModelFactors; slot < NSlots(); ++slot) {
    if (IsCovariateUsed(slot)) multiplicities.push_back(At(slot));
  }
  return multiplicities;
}

bool QvModelEffect::IsContainedIn(const QvModelEffect& other) const {
  if (fNFactors >= other.fNFactors || fNCovariates != other.fNCovariates ||
      fNModelFactors != other.fNModelFactors || fNModelCovariates != other.fNModelCovariates ||
      fpVarIndices != other.fpVarIndices) {
    return false;
  }
  const auto covariates = fMainVector.begin() + fNModelFactors;
  const auto hasFactor = [](int slot, int otherSlot) { return slot < 0 || otherSlot >= 0; };
  return std::equal(fMainVector.begin(), covariates, other.fMainVector.begin(), hasFactor) &&
         std::equal(covariates, fMainVector.end(), other.fMainVector.begin() + fNModelFactors);
}

bool QvModelEffect::operator==(const QvModelEffect& other) const {
  return fNFactors == other.fNFactors && fNCovariates == other.fNCovariates &&
         fNModelFactors == other.fNModelFactors && fNModelCovariates == other.fNModelCovariates &&
         fNLevels == other.fNLevels && fpVarIndices == other.fpVarIndices &&
         fbFactorsInParens == other.fbFactorsInParens && fMainVector == other.fMainVector;
}

bool QvModelEffect::ApplyMask(const std::vector<bool>& keep) {
  bool isUnused = true;
  for (int slot = NSlots() - 1; slot >= 0; --slot) {
    const bool isKept =
        static_cast<std::size_t>(slot) < keep.size() && keep[static_cast<std::size_t>(slot)];
    if (isKept) continue;
    if (IsSlotUsed(slot)) isUnused = false;
    fMainVector.erase(fMainVector.begin() + slot);
    --(slot < fNModelFactors ? fNModelFactors : fNModelCovariates);
  }
  return isUnused;
}

std::vector<bool> QvModelEffect::CheckVariableUse(const std::vector<QvModelEffect>& effects) {
  if (effects.empty()) return {};
  std::vector<bool> used(static_cast<std::size_t>(effects.front().NSlots()), false);
  for (const QvModelEffect& effect : effects) {
    for (int slot = 0; slot < effect.NSlots(); ++slot) {
      if (effect.IsSlotUsed(slot)) used[static_cast<std::size_t>(slot)] = true;
    }
  }
  return used;
}

void QvModelEffect::GetUsedVariables(const std::vector<QvModelEffect>& effects,
                                     std::vector<int>& factors, std::vector<int>& covariates) {
  if (effects.empty()) return;
  factors.clear();
  covariates.clear();
  const std::vector<int>* variables = effects.front().Variables();
  if (variables == nullptr) return;
  for (const QvModelEffect& effect : effects) {
    for (int slot = 0; slot < effect.NSlots(); ++slot) {
      if (!effect.IsSlotUsed(slot)) continue;
      const int var = (*variables)[static_cast<std::size_t>(slot)];
      // A covariate is looked up among the factors too, so it repeats once per effect.
      if (Contains(factors, var)) continue;
      (slot < effect.fNModelFactors ? factors : covariates).push_back(var);
    }
  }
}

void QvModelEffect::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "Begin QvModelEffect object display.");
  QvComponentDisplay::DisplayI("Factors in model", fNModelFactors);
  QvComponentDisplay::DisplayI("Factors in effect", fNFactors);
  QvComponentDisplay::DisplayI("Nesting levels", fNLevels);
  QvComponentDisplay::DisplayI("Covariates in model", fNModelCovariates);
  QvComponentDisplay::DisplayB("Factor after Covariates in ()?", fbFactorsInParens);
  QvComponentDisplay::DisplayI("Covariates in effect", fNCovariates);
  QvComponentDisplay::DisplayIV("The main vector", fMainVector);
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "End QvModelEffect object display.");
}
