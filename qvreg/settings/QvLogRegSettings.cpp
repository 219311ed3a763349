#include "qvreg/settings/QvLogRegSettings.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "qvreg/common/QvComponentDisplay.h"

namespace {

/// Stores a value that is at least `least`; false, and nothing stored, otherwise (a NaN included).
template <typename T>
bool StoreAtLeast(T& field, T value, T least) {
  if (!(value >= least)) return false;
  field = value;
  return true;
}

}  // namespace

QvConst::QvRegModelType QvLogRegSettings::GetModelType() { return QvConst::QvRegModelLogistic; }

QvCommon::QvStatus QvLogRegSettings::IsValidSettings() { return QvRegSettings::IsValidSettings(); }

bool QvLogRegSettings::SetDependentRefCat(int refCategory, int nCategories) {
  if (nCategories < 2 || refCategory < kFirstObserved || refCategory >= nCategories) return false;
  fDependentRefCateg = refCategory;
  fDependentNCategs = nCategories;
  return true;
}

bool QvLogRegSettings::SetIterationFrequency(int n) {
  return StoreAtLeast(fIterationFrequency, n, 1);
}

bool QvLogRegSettings::SetLLConCriterion(double criterion) {
  return StoreAtLeast(fLLConCriterion, criterion, 0.0);
}

bool QvLogRegSettings::SetParamEstConCriterion(double criterion) {
  return StoreAtLeast(fParamEstConCriterion, criterion, 0.0);
}

bool QvLogRegSettings::SetMaxIterations(int n) { return StoreAtLeast(fMaxIterations, n, 0); }

bool QvLogRegSettings::SetMaxStepHalvingValue(int n) { return StoreAtLeast(fMaxStepHalving, n, 1); }

bool QvLogRegSettings::SetStartingIteration(int n) {
  return StoreAtLeast(fStartingIteration, n, 0);
}

bool QvLogRegSettings::SetStartingValues(const std::vector<double>& values) {
  if (!std::all_of(values.begin(), values.end(), [](double v) { return std::isfinite(v); })) {
    return false;
  }
  try {
    fStartingValues = std::vector<double>(values);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void QvLogRegSettings::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvLogRegSettings display start");
  QvRegSettings::Display();
  QvComponentDisplay::DisplayI("N of Dependent Categories", fDependentNCategs);
  QvComponentDisplay::DisplayI("Dependent Var reference Category", fDependentRefCateg);
  QvComponentDisplay::DisplayD("Log-Likelihood Function Convergence Criterion", fLLConCriterion);
  QvComponentDisplay::DisplayD("Parameter Estimates Convergence Criterion", fParamEstConCriterion);
  QvComponentDisplay::DisplayI("Maximum number of Iteration", fMaxIterations);
  QvComponentDisplay::DisplayI("Maximum Step-Halving Allowed", fMaxStepHalving);
  QvComponentDisplay::DisplayI("Staring Iteration", fStartingIteration);
  QvComponentDisplay::DisplayB("Log-Likelihood Function absolute change", fLLAbsoluteChange);
  QvComponentDisplay::DisplayB("Parameter Estimates absolute change", fParamEstAbsoluteChange);
  QvComponentDisplay::DisplayI("Show Iteration history frequency", fIterationFrequency);
  if (!fStartingValues.empty()) {
    QvComponentDisplay::DisplayDV("Starting values", fStartingValues, true);
  }
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvLogRegSettings display end");
}
