#pragma once

#include <memory>
#include <vector>

#include "qvreg/common/Record.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/settings/QvRegSettings.h"

namespace qvtest {

/// A model fitted to records through the factory. Owns the component; an operation that fails
/// throws.
class FittedModel {
 public:
  FittedModel(QvRegSettings& settings, const std::vector<QvCommon::Record>& records);

  [[nodiscard]] IQvRegComponent& Component() { return *component_; }
  [[nodiscard]] const IQvRegOutputStats& Stats() const { return *stats_; }

  [[nodiscard]] double Predict(const QvCommon::Record& record);
  /// One prediction per record.
  [[nodiscard]] std::vector<double> Predict(const std::vector<QvCommon::Record>& records);

 private:
  std::unique_ptr<IQvRegComponent> component_;
  IQvRegOutputStats* stats_ = nullptr;
};

}  // namespace qvtest
