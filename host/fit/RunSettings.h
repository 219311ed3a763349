#pragma once

#include <vector>

#include "host/fit/FitOptions.h"
#include "host/fit/ModelBinding.h"
#include "host/formula/Formula.h"
#include "host/table/CodedTable.h"
#include "qvreg/settings/QvRegSettings.h"

namespace qvhost {

/// A bound formula as the library wants it: roles of the record's positions and one effect for each
/// term. Owns the list of variables that the effects (copies inside the library included) point to,
/// so it must outlive every component made of its settings.
class RunSettings {
 public:
  RunSettings(const Formula& formula, const ModelBinding& binding, const CodedTable& table,
              const FitOptions& options);
  RunSettings(const RunSettings&) = delete;
  RunSettings& operator=(const RunSettings&) = delete;

  [[nodiscard]] QvRegSettings& Get() { return settings_; }

 private:
  void AddRoles(const ModelBinding& binding, const CodedTable& table);
  void AddEffect(const Term& term, const ModelBinding& binding);

  std::vector<int> variables_;  ///< Positions of the factors, then of the covariates.
  QvRegSettings settings_;
};

}  // namespace qvhost
