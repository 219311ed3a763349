#pragma once

#include <optional>
#include <vector>

#include "qvreg/common/QvStatus.h"
#include "qvreg/common/Record.h"
#include "qvreg/data/MultiPassRecordIter.h"
#include "qvreg/data/QvCancelInfo.h"
#include "qvreg/data/QvRecordCounts.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/design/QvFactorTables.h"
#include "qvreg/design/QvModelDesign.h"
#include "qvreg/glm/QvGLMModel.h"
#include "qvreg/settings/QvRegSettings.h"
#include "qvreg/settings/QvRegrParameter.h"

/// The passes of a linear model over a host's records: level combinations and means;
/// cross-products, then their sweep; residuals, again for each further step of refinement, then
/// the fit.
///
/// Borrows the settings, which must outlive it; owns validator, factor tables and model. The
/// effects' variable lists are read during construction only. May throw std::bad_alloc from any
/// operation: its component turns that into a status. One thread at a time, except Cancel.
class QvGLMAlgorithm {
 public:
  explicit QvGLMAlgorithm(const QvRegSettings& settings);
  QvGLMAlgorithm(const QvGLMAlgorithm&) = delete;
  QvGLMAlgorithm& operator=(const QvGLMAlgorithm&) = delete;
  ~QvGLMAlgorithm() = default;

  /// The first pass and the model's set-up. 310 when built, 306 when done before, 309 when an
  /// effect names a variable that the settings do not.
  QvCommon::QvStatus CreateParameters(QvCommon::MultiPassRecordIter& iter,
                                      std::vector<QvRegrParameter>& params);
  /// The second pass and those of the residuals. 309 without parameters, 310 when built.
  QvCommon::QvStatus BuildModel(QvCommon::MultiPassRecordIter& iter);
  /// The predicted value of a record; 1 when cancelled, 311 when not built, 315 when the record is
  /// too short. The result is not kept.
  QvCommon::QvStatus Score(const QvCommon::Record& record, double& predicted);
  /// The design row of a record; false as QvGLMModel::ExpandRow, or for a record too short.
  bool ExpandRow(const QvCommon::Record& record, std::vector<double>& row);

  void Cancel() { fCancelInfo.SetCancel(); }
  [[nodiscard]] bool AreParametersCreated() const { return fModel.HasMatrix(); }
  [[nodiscard]] bool IsDataProcessed() const { return fbDataProcessed; }
  [[nodiscard]] bool IsModelBuilt() const { return fbModelBuilt; }
  [[nodiscard]] const QvCommon::QvStatus& GetStatus() const { return fStatus; }
  [[nodiscard]] const std::vector<QvCommon::QvStatus>& GetWarnings() const { return fWarnings; }
  [[nodiscard]] const QvRegRecordValidator& GetRecordValidator() const { return fValidator; }
  [[nodiscard]] const QvFactorTables& GetFactorTables() const { return fFactorTables; }
  /// The covariates' means, then the dependent's.
  [[nodiscard]] const std::vector<double>& GetMeanValues() const { return fMeanValues; }
  [[nodiscard]] const QvGLMModel& GetModel() const { return fModel; }
  [[nodiscard]] const QvRecordCounts& GetRecordCounts() const { return fRecordCounts; }

  void Display() const;

 private:
  void SetUpFactorTables();
  /// The first pass.
  QvCommon::QvStatus ProcessData(QvCommon::MultiPassRecordIter& iter);
  /// The later passes: calls `step(const double*)` for every record that the first pass counted;
  /// 313 where it answers false.
  template <typename Step>
  QvCommon::QvStatus ForEachRecord(QvCommon::MultiPassRecordIter& iter, Step&& step);
  QvCommon::QvStatus Estimate(QvCommon::MultiPassRecordIter& iter);
  /// True when the record holds every factor and covariate.
  [[nodiscard]] bool HoldsDesign(const QvCommon::Record& record) const;

  const QvRegSettings& fSettings;
  QvCancelInfo fCancelInfo;
  QvRegRecordValidator fValidator;
  QvFactorTables fFactorTables;
  std::vector<double> fMeanValues;
  QvGLMModel fModel;
  QvModelDesign fDesign;
  bool fbDataProcessed = false;
  bool fbModelBuilt = false;
  QvRecordCounts fRecordCounts;
  QvCommon::QvStatus fStatus;
  std::vector<QvCommon::QvStatus> fWarnings;
};
