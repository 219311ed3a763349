#pragma once

#include <vector>

#include "qvreg/common/QvStatus.h"
#include "qvreg/common/Record.h"
#include "qvreg/data/QvCancelInfo.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/design/QvFactorTables.h"
#include "qvreg/design/QvModelDesign.h"
#include "qvreg/glm/QvGLMModel.h"
#include "qvreg/logistic/QvLogModel.h"
#include "qvreg/settings/QvLogRegSettings.h"
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

/// A logistic model without its algorithm: factor tables filled from rows, the model's design and
/// layouts set, and its stages one by one. Borrows the settings. No row is validated.
class LogModelOnTables {
 public:
  LogModelOnTables(const QvLogRegSettings& settings, const std::vector<std::vector<double>>& rows);
  LogModelOnTables(const LogModelOnTables&) = delete;
  LogModelOnTables& operator=(const LogModelOnTables&) = delete;
  ~LogModelOnTables() = default;

  /// The positions of the model's variables in a record.
  [[nodiscard]] QvRowLayout RecordLayout() const;
  /// Chooses the categories and initialises the model; the last status, warnings included.
  QvCommon::QvStatus Initialize();
  /// Initialize, every row to X'X, and the redundancy.
  void FindRedundancy();

  [[nodiscard]] const std::vector<QvCommon::Record>& Records() const { return records_; }

  const QvLogRegSettings& settings;
  QvCancelInfo cancel;
  QvRegRecordValidator validator;
  QvFactorTables tables;
  QvModelDesign design;
  QvLogModel model;

 private:
  std::vector<QvCommon::Record> records_;
};

}  // namespace qvtest
