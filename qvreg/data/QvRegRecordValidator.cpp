#include "qvreg/data/QvRegRecordValidator.h"

#include <algorithm>
#include <cstddef>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvKernels.h"
#include "qvreg/common/QvStatusCodes.h"

using QvCommon::QvStatus;
using QvCommon::Record;

namespace {

const char* RoleLabel(QvConst::QvVariableType type) {
  switch (type) {
    case QvConst::QvVarFreqWeight:
      return "Frequency weight";
    case QvConst::QvVarRegrWeight:
      return "Regression Weight";
    case QvConst::QvVarFactor:
      return "Factor";
    case QvConst::QvVarCovariate:
      return "Covariate";
    case QvConst::QvVarDependent:
      return "Dependent";
    case QvConst::QvVarRecordCount:
      return "Record count";
    case QvConst::QvVarNone:
      break;
  }
  return "Unspecified";
}

/// Whether `isValid(value)` holds for all of `count` values. Without a branch each, for hardly any
/// record is not valid.
template <typename IsValid>
bool AreAll(const double* values, long long stride, int count, IsValid&& isValid) {
  bool areAll = true;
  for (int r = 0; r < count; ++r) areAll &= isValid(values[r * stride]);
  return areAll;
}

/// True when one of n values may be the missing value. Without a branch each, for covariates are
/// many and seldom missing.
bool MayBeMissing(std::size_t n, const double* values) {
  // Of fewer numbers the lanes of a kernel cost more than they save.
  constexpr std::size_t kFew = 32;
  if (n < kFew) {
    return !AreAll(values, 1, static_cast<int>(n),
                   [](double value) { return !(value <= QvMV::gMissingValue); });
  }
  return QvCommon::QvKernels::Get().fFindLeast(n, values) <= QvMV::gMissingValue;
}

QvRecordVerdict CheckNumber(double value) {
  return value == QvMV::gMissingValue ? QvRecordVerdict::kMissing : QvRecordVerdict::kValid;
}

QvRecordVerdict CheckWeight(double value) {
  return value > 0.0 ? QvRecordVerdict::kValid : QvRecordVerdict::kBadWeight;
}

}  // namespace

void QvRegRecordValidator::SetRecordInfo(const std::vector<QvConst::QvVariableType>& types,
                                         const std::vector<int>& factorVars,
                                         const std::vector<int>& factorSizes,
                                         int nTargetCategories) {
  *this = QvRegRecordValidator();
  fNTargetCategories = nTargetCategories;
  fVariableTypes = types;
  for (int var = 0; var < static_cast<int>(types.size()); ++var) {
    const QvConst::QvVariableType type = types[static_cast<std::size_t>(var)];
    fAllVariables.push_back(var);
    if (type == QvConst::QvVarCovariate) AddCovariate(var);
    if (type != QvConst::QvVarCovariate && type != QvConst::QvVarNone) fOthers.push_back(var);
  }
  fNCategories.assign(types.size(), 0);
  for (std::size_t i = 0; i < factorVars.size(); ++i) {
    const auto var = static_cast<std::size_t>(factorVars[i]);
    if (var < fNCategories.size()) fNCategories[var] = factorSizes[i];
  }
  for (const int var : fOthers) {
    const bool isNumber =
        types[static_cast<std::size_t>(var)] == QvConst::QvVarDependent && !HasTargetCategories();
    if (!isNumber) fBounded.push_back(var);
  }
  if (!HasTargetCategories()) return;
  const auto dependent = std::find(types.begin(), types.end(), QvConst::QvVarDependent);
  if (dependent == types.end()) return;
  fNCategories[static_cast<std::size_t>(dependent - types.begin())] = nTargetCategories;
}

void QvRegRecordValidator::AddCovariate(int var) {
  const bool isNext = !fCovariateRuns.empty() && fCovariateRuns.back().second == var;
  if (!isNext) fCovariateRuns.emplace_back(var, var);
  ++fCovariateRuns.back().second;
}

QvRecordVerdict QvRegRecordValidator::CheckCategory(int var, double value, QvStatus& status) const {
  if (value < QvMV::gLeastCode) return QvRecordVerdict::kMissing;
  // The bound comes first: it refuses what an int cannot hold, and a value that is not a number.
  const bool isCode =
      value <= fNCategories[static_cast<std::size_t>(var)] && static_cast<int>(value) == value;
  if (isCode) return QvRecordVerdict::kValid;
  status = QvStatus(QvStatusCode::kBadCategory, false);
  status.SetDiscreteDatum(1, var);
  status.SetScaleDatum(1, value);
  return QvRecordVerdict::kError;
}

QvRecordVerdict QvRegRecordValidator::CheckRecord(const Record& record, QvStatus& status) const {
  return CheckRecord(record.GetAll(), record.Size(), status);
}

QvRecordVerdict QvRegRecordValidator::CheckRecord(const double* values, int size,
                                                  QvStatus& status) const {
  if (static_cast<int>(fVariableTypes.size()) > size) {
    status = QvStatus(QvStatusCode::kShortRecord, false);
    return QvRecordVerdict::kError;
  }
  bool mayBeMissing = false;
  for (const auto& [first, end] : fCovariateRuns) {
    mayBeMissing |= MayBeMissing(static_cast<std::size_t>(end - first), values + first);
  }
  return CheckInOrder(mayBeMissing ? fAllVariables : fOthers, values, status);
}

bool QvRegRecordValidator::AreNumbersPresent(const double* values, long long stride, int size,
                                             int count) const {
  return size >= static_cast<int>(fVariableTypes.size()) && stride == size &&
         !MayBeMissing(static_cast<std::size_t>(count) * static_cast<std::size_t>(size), values);
}

bool QvRegRecordValidator::IsColumnValid(int var, const double* values, long long stride,
                                         int count) const {
  switch (fVariableTypes[static_cast<std::size_t>(var)]) {
    case QvConst::QvVarFactor:
    case QvConst::QvVarDependent:
      return AreAll(
          values, stride, count,
          [most = static_cast<double>(fNCategories[static_cast<std::size_t>(var)])](double value) {
            const bool isWithin = (value >= QvMV::gLeastCode) & (value <= most);
            // What an int cannot hold is not converted.
            return isWithin & (static_cast<int>(isWithin ? value : 0.0) == value);
          });
    case QvConst::QvVarFreqWeight:
    case QvConst::QvVarRegrWeight:
      return AreAll(values, stride, count, [](double value) { return value > 0.0; });
    default:
      return AreAll(values, stride, count, [](double value) { return IsRecordCount(value); });
  }
}

bool QvRegRecordValidator::AreOthersValid(const double* values, long long stride, int count) const {
  return std::all_of(fBounded.begin(), fBounded.end(),
                     [&](int var) { return IsColumnValid(var, values + var, stride, count); });
}

QvRecordVerdict QvRegRecordValidator::CheckInOrder(const std::vector<int>& variables,
                                                   const double* values, QvStatus& status) const {
  for (const int var : variables) {
    const double value = values[var];
    QvRecordVerdict verdict = QvRecordVerdict::kValid;
    switch (fVariableTypes[static_cast<std::size_t>(var)]) {
      case QvConst::QvVarFactor:
        verdict = CheckCategory(var, value, status);
        break;
      case QvConst::QvVarDependent:
        verdict = HasTargetCategories() ? CheckCategory(var, value, status) : CheckNumber(value);
        break;
      case QvConst::QvVarCovariate:
        verdict = CheckNumber(value);
        break;
      case QvConst::QvVarFreqWeight:
      case QvConst::QvVarRegrWeight:
        verdict = CheckWeight(value);
        break;
      case QvConst::QvVarRecordCount:
        verdict = IsRecordCount(value) ? QvRecordVerdict::kValid : QvRecordVerdict::kBadWeight;
        break;
      case QvConst::QvVarNone:
        break;
    }
    if (verdict != QvRecordVerdict::kValid) return verdict;
  }
  return QvRecordVerdict::kValid;
}

bool QvRegRecordValidator::IsValid4Scoring(const Record& record, QvStatus& status) const {
  for (int var = 0; var < static_cast<int>(fVariableTypes.size()); ++var) {
    const QvConst::QvVariableType type = fVariableTypes[static_cast<std::size_t>(var)];
    QvRecordVerdict verdict = QvRecordVerdict::kValid;
    if (type == QvConst::QvVarFactor) verdict = CheckCategory(var, record[var], status);
    if (type == QvConst::QvVarCovariate) verdict = CheckNumber(record[var]);
    if (verdict != QvRecordVerdict::kValid) return false;
  }
  return true;
}

void QvRegRecordValidator::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "Variable roles in QvRegRecordValidator");
  for (std::size_t var = 0; var < fVariableTypes.size(); ++var) {
    QvComponentDisplay::DisplayI("Variable index", static_cast<int>(var));
    QvComponentDisplay::DisplayS("Type", RoleLabel(fVariableTypes[var]));
  }
  QvComponentDisplay::DisplayI("Number of target categories", fNTargetCategories);
  QvComponentDisplay::DisplayIV("Numbers of factor categories", fNCategories);
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvRegRecordValidator display end");
}
