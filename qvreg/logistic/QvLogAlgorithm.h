#pragma once

#include <memory>
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
#include "qvreg/logistic/QvAccumStatsLogistic.h"
#include "qvreg/logistic/QvLogModel.h"
#include "qvreg/logistic/QvPatternTabulator.h"
#include "qvreg/logistic/QvRecordIterHandler.h"
#include "qvreg/logistic/QvRegOptimizer.h"
#include "qvreg/settings/QvLogRegSettings.h"

/// A logistic run over a host's records: the first pass, redundancy, the optimizer's iterations,
/// the classification; and scoring once it is built.
///
/// Borrows the settings, which must outlive it; owns everything else. The effects' variable lists
/// are read during construction only. Keeps its first error; warnings are listed once each. May
/// throw std::bad_alloc from any operation: its component turns that into a status. One thread at
/// a time, except Cancel.
class QvLogAlgorithm {
 public:
  explicit QvLogAlgorithm(const QvLogRegSettings& settings);
  QvLogAlgorithm(const QvLogAlgorithm&) = delete;
  QvLogAlgorithm& operator=(const QvLogAlgorithm&) = delete;
  ~QvLogAlgorithm() = default;

  /// The first pass and the model's set-up. 310 when built, 306 when done before, 309 when an
  /// effect names a variable that the settings do not, 318 for a dependent of one category.
  QvCommon::QvStatus CreateParameters(QvCommon::MultiPassRecordIter& iter,
                                      std::vector<QvRegrParameter>& params);
  /// Everything after; nothing without parameters.
  QvCommon::QvStatus BuildModel(QvCommon::MultiPassRecordIter& iter);
  /// The category probabilities of a record in local order and the predicted code, -1 where a level
  /// combination was never seen; none, and the probabilities untouched, for a record with a missing
  /// value. 1 when cancelled, 311 when not built, 315 when the record is too short, 316.
  QvCommon::QvStatus Score(const QvCommon::Record& record, std::vector<double>& probabilities,
                           std::optional<int>& predicted);
  /// As QvLogModel::ExpandRow, for a record that may be scored; false for any other.
  bool ExpandRow(const QvCommon::Record& record, std::vector<double>& row) const;
  bool ExpandRow(const QvCommon::Record& record, std::vector<int>& indices,
                 std::vector<double>& values) const;

  void Cancel() { fCancelInfo.SetCancel(); }
  [[nodiscard]] bool AreParametersCreated() const { return fbParametersCreated; }
  [[nodiscard]] bool IsModelBuilt() const { return fbModelBuilt; }
  [[nodiscard]] const QvCommon::QvStatus& GetStatus() const { return fStatus; }
  [[nodiscard]] const std::vector<QvCommon::QvStatus>& GetWarnings() const { return fWarnings; }
  [[nodiscard]] const QvRegRecordValidator& GetRecordValidator() const { return fValidator; }
  [[nodiscard]] const QvFactorTables& GetFactorTables() const { return fFactorTables; }
  [[nodiscard]] const std::vector<double>& GetMeanValues() const { return fMeanValues; }
  [[nodiscard]] const QvLogModel& GetModel() const { return fModel; }
  /// Null before the iterations.
  [[nodiscard]] const QvRegOptimizer* GetOptimizer() const { return fpOptimizer.get(); }
  [[nodiscard]] const QvRecordCounts& GetRecordCounts() const { return fRecordCounts; }

  void Display() const;

 private:
  /// Records what a step answered: the first error stays, a warning is listed once.
  void Note(const QvCommon::QvStatus& status);
  /// False after an error or when a stop was asked for, which is then the status.
  bool MayGoOn();
  void ProcessData(QvCommon::MultiPassRecordIter& iter);
  QvCommon::QvStatus FirstPass(QvCommon::MultiPassRecordIter& iter);
  void SetUpModel(std::vector<QvRegrParameter>& params);
  /// kNoParameters unless there is a starting value for each parameter, or none.
  [[nodiscard]] QvCommon::QvStatus CheckStartingValues() const;
  [[nodiscard]] QvRowLayout RecordLayout() const;
  QvCommon::QvStatus AccumulateXPrimeX(QvCommon::MultiPassRecordIter& iter);
  /// The classification pass, and its closing.
  QvCommon::QvStatus Classify(QvCommon::MultiPassRecordIter& iter);
  QvCommon::QvStatus ClassifyRecords(QvCommon::MultiPassRecordIter& iter);
  void CreateStatistics();
  void RunOptimizer(QvCommon::MultiPassRecordIter& iter);
  /// Lets the optimizer start from the settings' values.
  void ApplyStartingValues();
  [[nodiscard]] bool MayBeScored(const QvCommon::Record& record, QvCommon::QvStatus& status) const;

  const QvLogRegSettings& fSettings;
  QvCancelInfo fCancelInfo;
  QvRegRecordValidator fValidator;
  QvFactorTables fFactorTables;
  std::unique_ptr<QvPatternTabulator> fPatternExtractor;
  QvLogModel fModel;
  QvModelDesign fDesign;
  std::vector<double> fMeanValues;
  std::vector<double> fBeta;
  std::unique_ptr<QvAccumStatsLogistic> fpStats;
  std::unique_ptr<QvRegOptimizer> fpOptimizer;
  QvRecordCounts fRecordCounts;
  bool fbFactorTableFilled = false;
  bool fbParametersCreated = false;
  bool fbModelBuilt = false;
  QvCommon::QvStatus fStatus;
  std::vector<QvCommon::QvStatus> fWarnings;
};
