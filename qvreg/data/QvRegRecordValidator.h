#pragma once

/// \file
/// The check that records go through, and what it finds.

#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/Record.h"
#include "qvreg/settings/QvConst.h"

/// What a check found of a record.
enum class QvRecordVerdict {
  kValid,      ///< The record takes part.
  kMissing,    ///< A missing value: the record is skipped.
  kBadWeight,  ///< A weight that is not above 0: the record is skipped.
  kError       ///< The status says why the pass must end.
};

/// Decides whether a record takes part in estimation or scoring, from the roles of its variables.
/// A value; const operations may run on several threads at once.
class QVREG_EXPORT QvRegRecordValidator {
 public:
  /// `types` has the role of every record variable; `factorSizes` the number of categories of each
  /// of the `factorVars`; `nTargetCategories`, 1 or more, makes the dependent a categorical one.
  void SetRecordInfo(const std::vector<QvConst::QvVariableType>& types,
                     const std::vector<int>& factorVars, const std::vector<int>& factorSizes,
                     int nTargetCategories);

  /// The check for estimation. On kError the status becomes 315 (record shorter than the roles) or
  /// 316 (no whole number, or above the number of categories; with the variable and the value);
  /// otherwise it is left as it was.
  QvRecordVerdict CheckRecord(const QvCommon::Record& record, QvCommon::QvStatus& status) const;
  /// True when CheckRecord, which sets the `status`, finds the record valid.
  bool IsValidRecord(const QvCommon::Record& record, QvCommon::QvStatus& status) const {
    return CheckRecord(record, status) == QvRecordVerdict::kValid;
  }
  /// The check for scoring: factors and covariates only. The `status` as above, without 315.
  /// REQUIRES: the record holds every factor and covariate.
  bool IsValid4Scoring(const QvCommon::Record& record, QvCommon::QvStatus& status) const;

  /// Prints the roles and the numbers of categories to standard output.
  void Display() const;

 private:
  [[nodiscard]] QvRecordVerdict CheckCategory(int var, double value,
                                              QvCommon::QvStatus& status) const;
  /// The verdict of the first of these variables that is not valid.
  QvRecordVerdict CheckInOrder(const std::vector<int>& variables, const QvCommon::Record& record,
                               QvCommon::QvStatus& status) const;
  [[nodiscard]] bool HasTargetCategories() const { return fNTargetCategories >= 1; }

  std::vector<QvConst::QvVariableType> fVariableTypes;
  /// Record indices: of the covariates, of all other variables with a role, of all.
  std::vector<int> fCovariates;
  std::vector<int> fOthers;
  std::vector<int> fAllVariables;
  int fNTargetCategories = 0;
  std::vector<int> fNCategories;
};
