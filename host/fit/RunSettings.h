#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/fit/FitOptions.h"
#include "host/fit/GroupedRecords.h"
#include "host/fit/Interrupt.h"
#include "host/fit/ModelBinding.h"
#include "host/formula/Formula.h"
#include "host/table/CodedTable.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/settings/QvRegSettings.h"

namespace qvhost {

/// The library's code of the reference level of a logistic model: that of the level `reference`
/// (see FindLevel), or one of the library's own codes for `first`, `last` and an empty text (the
/// last). Throws Error (kBadInput) when the dependent has no such level, with those that it has.
[[nodiscard]] int FindReferenceLevel(const std::string& reference, const CodedColumn& dependent);

/// Tells which records these settings use, or would use without the role of position `apart`.
[[nodiscard]] QvRegRecordValidator ValidatorOf(const QvRegSettings& settings, int apart = -1);

/// The library's settings for a bound formula: roles of the record's positions, one effect for each
/// term, and the options of the kind of model. Owns the list of variables that the effects
/// are built over; the copies in the settings and in components do without it.
class RunSettings {
 public:
  /// Throws Error (kBadInput) for a reference level that the dependent does not have.
  RunSettings(const Formula& formula, const ModelBinding& binding, const CodedTable& table,
              const FitOptions& options);
  RunSettings(const RunSettings&) = delete;
  RunSettings& operator=(const RunSettings&) = delete;

  /// Makes the first level of the dependent the reference of a logistic model when the user chose
  /// none and two levels occur in the records used: so a model of 0 and 1 is one of 1. Reads the
  /// table until a third level is met; `progress` is called every few thousand records with the
  /// number read, and may be empty. Throws Cancelled when interrupted, Error (kRunFailed) when the
  /// table cannot be read to its end.
  void SettleReference(const CodedTable& table, const std::function<void(long long)>& progress,
                       const Interrupt& interrupt);

  /// The settings of a logistic model for its grouped records, in place of the table's.
  void UseGroups(const GroupedRecords& grouped, const LogisticOptions& options);

  [[nodiscard]] QvRegSettings& Get() { return *settings_; }

 private:
  void AddRoles(const ModelBinding& binding, const CodedTable& table);
  void AddEffect(const Term& term, const ModelBinding& binding);

  std::vector<int> variables_;  ///< Positions of the factors, then of the covariates.
  bool isReferenceChosen_;      ///< By the user.
  std::unique_ptr<QvRegSettings> settings_;
};

}  // namespace qvhost
