#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/Record.h"
#include "qvreg/settings/QvConst.h"

/// \file
/// The check that records go through, what it finds, and how many records it found what of.

/// How many records the first pass of a run read, and what became of them; and whether the later
/// passes used as many. A record counts as many times as its record count says.
struct QvRecordCounts {
  /// All records that the iterator delivered.
  long long fRead = 0;
  /// Counted and used by the later passes.
  long long fUsed = 0;
  /// Left out for a missing number, a missing category or a missing dependent.
  long long fMissing = 0;
  /// Left out for a weight that is not above 0, or a record count that is none.
  long long fBadWeight = 0;
  /// Left out for a category code equal to the variable's number of categories.
  long long fOutOfRange = 0;
  /// What the first later pass that did not use fUsed records used: an iterator that does not
  /// deliver the same records in every pass gives a wrong model. -1 when all used as many.
  long long fUsedLater = -1;

  /// Records that a later pass used `nRecords` records.
  void NoteLaterPass(long long nRecords) {
    if (nRecords != fUsed && fUsedLater < 0) fUsedLater = nRecords;
  }
};

/// What a check found of a record.
enum class QvRecordVerdict {
  kValid,      ///< The record takes part.
  kMissing,    ///< A missing value: the record is skipped.
  kBadWeight,  ///< A weight that is not above 0, or no record count: the record is skipped.
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

  /// The check for estimation. On kError the status becomes kShortRecord (record shorter than the
  /// roles) or kBadCategory (no whole number, or above the number of categories; with the variable
  /// and the value); otherwise it is left as it was.
  QvRecordVerdict CheckRecord(const QvCommon::Record& record, QvCommon::QvStatus& status) const;
  /// The same for the `values` of a record, which are `size`, with the same `status`.
  QvRecordVerdict CheckRecord(const double* values, int size, QvCommon::QvStatus& status) const;
  /// True when `count` records, each of `size` values and `stride` behind the one before, hold all
  /// variables and no missing number. May be false where it could be true.
  [[nodiscard]] bool AreNumbersPresent(const double* values, long long stride, int size,
                                       int count) const;
  /// CheckRecord, with the same `values` and `status`, of one of the records of which
  /// AreNumbersPresent is true.
  QvRecordVerdict CheckOthers(const double* values, QvCommon::QvStatus& status) const {
    return fBounded.empty() ? QvRecordVerdict::kValid : CheckInOrder(fBounded, values, status);
  }
  /// True when CheckOthers finds each of `count` such records valid, `stride` apart, of which the
  /// first has these `values`.
  [[nodiscard]] bool AreOthersValid(const double* values, long long stride, int count) const;
  /// True when CheckRecord, which sets the `status`, finds the record valid.
  bool IsValidRecord(const QvCommon::Record& record, QvCommon::QvStatus& status) const {
    return CheckRecord(record, status) == QvRecordVerdict::kValid;
  }
  /// The check for scoring: factors and covariates only. The `status` as above, without
  /// kShortRecord. REQUIRES: the record holds every factor and covariate.
  bool IsValid4Scoring(const QvCommon::Record& record, QvCommon::QvStatus& status) const;

  /// Whether a record may count as `value` records: a whole number from 1 to 2^53, up to which
  /// doubles add up exactly.
  [[nodiscard]] static bool IsRecordCount(double value) {
    constexpr double kMost = 0x1p53;
    return value >= 1.0 && value <= kMost &&
           static_cast<double>(static_cast<long long>(value)) == value;
  }

  /// Prints the roles and the numbers of categories to standard output.
  void Display() const;

 private:
  [[nodiscard]] QvRecordVerdict CheckCategory(int var, double value,
                                              QvCommon::QvStatus& status) const;
  /// Adds a covariate behind those that there are.
  void AddCovariate(int var);
  /// The verdict of the first of these variables that is not valid.
  QvRecordVerdict CheckInOrder(const std::vector<int>& variables, const double* values,
                               QvCommon::QvStatus& status) const;
  /// Whether all of `count` values of a variable, `stride` apart, are valid by themselves.
  [[nodiscard]] bool IsColumnValid(int var, const double* values, long long stride,
                                   int count) const;
  [[nodiscard]] bool HasTargetCategories() const { return fNTargetCategories >= 1; }

  std::vector<QvConst::QvVariableType> fVariableTypes;
  /// The covariates by runs of neighbours: the first record index, and that behind the last.
  std::vector<std::pair<int, int>> fCovariateRuns;
  /// Record indices: of all other variables with a role, of those that are not any number, of all.
  std::vector<int> fOthers;
  std::vector<int> fBounded;
  std::vector<int> fAllVariables;
  int fNTargetCategories = 0;
  std::vector<int> fNCategories;
};
