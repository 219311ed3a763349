#pragma once

#include <vector>

#include "qvreg/common/QvStatus.h"
#include "qvreg/common/Record.h"
#include "qvreg/design/QvFactorTables.h"
#include "qvreg/glm/QvGLMModel.h"
#include "qvreg/settings/QvRegSettings.h"

namespace qvtest {

/// A linear model without its algorithm: factor tables filled from rows, the model set up on them,
/// and its passes one by one. Borrows the settings. No row is validated.
class ModelOnTables {
 public:
  ModelOnTables(const QvRegSettings& settings, const std::vector<std::vector<double>>& rows);
  ModelOnTables(const ModelOnTables&) = delete;
  ModelOnTables& operator=(const ModelOnTables&) = delete;
  ~ModelOnTables() = default;

  /// The second pass.
  void AddRecords();
  /// Everything from the second pass to the fit statistics; the first error.
  QvCommon::QvStatus Fit();

  QvFactorTables tables;
  QvGLMModel model;

 private:
  std::vector<QvCommon::Record> records_;
};

}  // namespace qvtest
