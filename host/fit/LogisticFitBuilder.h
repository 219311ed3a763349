#pragma once

#include <vector>

#include "host/fit/FitOptions.h"
#include "host/fit/FitResult.h"
#include "host/fit/OptimizationEnding.h"
#include "host/table/CodedTable.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "qvreg/settings/QvLogRegSettings.h"

namespace qvhost {

/// Turns what the library found of a logistic model into what a report tells. Borrows everything it
/// is made of.
class LogisticFitBuilder {
 public:
  LogisticFitBuilder(const QvLogOutputStats& output, const QvLogRegSettings& settings,
                     const OptimizationEnding& ending, const CodedColumn& dependent)
      : output_(output), settings_(settings), ending_(ending), dependent_(dependent) {}

  /// All but the parameters.
  [[nodiscard]] LogisticFit Build() const;

  /// The level that the parameter at this position of all parameters speaks of.
  [[nodiscard]] const std::string& CategoryOf(int parameter) const;

 private:
  void AddLevels(LogisticFit& fit) const;
  void AddEnding(LogisticFit& fit) const;
  void AddQuality(LogisticFit& fit) const;
  void AddClassification(LogisticFit& fit) const;
  [[nodiscard]] const std::string& LevelText(int category) const;

  const QvLogOutputStats& output_;
  const QvLogRegSettings& settings_;
  const OptimizationEnding& ending_;
  const CodedColumn& dependent_;
};

}  // namespace qvhost
