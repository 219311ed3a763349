#pragma once

#include <memory>
#include <vector>

#include "host/fit/FitOptions.h"
#include "host/fit/ModelBinding.h"
#include "host/formula/Formula.h"
#include "host/table/CodedTable.h"
#include "host/table/TableSource.h"
#include "qvreg/settings/QvRegSettings.h"

namespace qvhost {

/// A bound formula as the library wants it: roles of the record's positions, one effect for each
/// term, and what the kind of model needs besides. Owns the list of variables that the effects
/// (copies inside the library included) point to, so it must outlive every component made of its
/// settings.
class RunSettings {
 public:
  /// Throws Error (kBadInput) for a reference level that the dependent does not have.
  RunSettings(const Formula& formula, const ModelBinding& binding, const CodedTable& table,
              const TableSource& source, const FitOptions& options);
  RunSettings(const RunSettings&) = delete;
  RunSettings& operator=(const RunSettings&) = delete;

  [[nodiscard]] QvRegSettings& Get() { return *settings_; }

 private:
  void AddRoles(const ModelBinding& binding, const CodedTable& table);
  void AddEffect(const Term& term, const ModelBinding& binding);

  std::vector<int> variables_;  ///< Positions of the factors, then of the covariates.
  std::unique_ptr<QvRegSettings> settings_;
};

}  // namespace qvhost
