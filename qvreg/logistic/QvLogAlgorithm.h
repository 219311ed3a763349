#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "qvreg/component/QvRegAlgorithm.h"
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
/// are read during construction only. Keeps its first error; warnings are listed once each.
class QvLogAlgorithm : public QvRegAlgorithm {
 public:
  explicit QvLogAlgorithm(const QvLogRegSettings& settings);

  /// Also kOneCategory for a dependent of one category.
  QvCommon::QvStatus CreateParameters(QvCommon::MultiPassRecordIter& iter,
                                      std::vector<QvRegrParameter>& params) override;
  /// Redundancy, iterations and classification; does nothing without parameters.
  QvCommon::QvStatus BuildModel(QvCommon::MultiPassRecordIter& iter) override;
  [[nodiscard]] bool AreParametersCreated() const override { return fbParametersCreated; }
  [[nodiscard]] bool IsModelBuilt() const override { return fbModelBuilt; }
  /// The predicted code, -1 where a level combination was never seen, and the category
  /// probabilities in local order; both are left as they are for a record with a missing value.
  /// Also kBadCategory.
  QvCommon::QvStatus Score(const QvCommon::Record& record, double& predicted,
                           std::vector<double>& probabilities) override;
  std::unique_ptr<IQvRegOutputStats> MakeOutputStats() override;
  void Display() const override;
  std::unique_ptr<IQvPassSums> MakeSums(QvPassKind kind) override;
  void WriteTables(QvCommon::QvByteWriter& writer) const override;
  void ReadTables(QvCommon::QvByteReader& reader) override;
  void WriteState(QvPassKind kind, QvCommon::QvByteWriter& writer) const override;
  void ReadState(QvPassKind kind, QvCommon::QvByteReader& reader) override;
  QvCommon::QvStatus RunPart(QvPassKind kind, QvCommon::MultiPassRecordIter& iter,
                             IQvPassSums& sums) override;
  bool ExpandSparseRow(const QvCommon::Record& record, std::vector<int>& indices,
                       std::vector<double>& values) override;
  void SwapKeptRows(std::unique_ptr<IQvKeptRows>& rows) override;

  /// As QvLogModel::ExpandRow, for a record that may be scored; false for any other.
  bool ExpandRow(const QvCommon::Record& record, std::vector<double>& row) const;
  bool ExpandRow(const QvCommon::Record& record, std::vector<int>& indices,
                 std::vector<double>& values) const;

  [[nodiscard]] const QvRegRecordValidator& GetRecordValidator() const { return fValidator; }
  [[nodiscard]] const QvFactorTables& GetFactorTables() const { return fFactorTables; }
  [[nodiscard]] const std::vector<double>& GetMeanValues() const { return fMeanValues; }
  [[nodiscard]] const QvLogModel& GetModel() const { return fModel; }
  /// What the iterations came to; none before them.
  [[nodiscard]] const std::optional<QvOptimizationSummary>& GetOptimization() const {
    return fOptimization;
  }

 protected:
  QvCommon::QvStatus TakeSums(QvPassKind kind, IQvPassSums& sums) override;
  void FillContents(QvModelContents& contents) const override;
  [[nodiscard]] bool TakeModel(QvModelContents& contents) override;

 private:
  /// Makes the optimizer's passes by the settings' runner.
  class RunnerHandler;

  /// Records what a step answered: the first error stays, a warning is listed once.
  void Note(const QvCommon::QvStatus& status);
  /// False after an error or when a stop was asked for, which is then the status.
  bool CanContinue();
  void ProcessData(QvCommon::MultiPassRecordIter& iter);
  QvCommon::QvStatus FirstPass(QvCommon::MultiPassRecordIter& iter);
  void SetUpModel(std::vector<QvRegrParameter>& params);
  /// kNoParameters unless there is a starting value for each parameter, or none.
  [[nodiscard]] QvCommon::QvStatus CheckStartingValues() const;
  [[nodiscard]] QvRowLayout RecordLayout() const;
  [[nodiscard]] bool HasRunner() const { return fSettings.GetPassRunner() != nullptr; }
  [[nodiscard]] std::unique_ptr<QvPatternTabulator> MakeTabulator();
  /// Tells the model the tables, the effects and where rows hold the variables.
  void SetUpDesign();
  [[nodiscard]] QvRecordIterHandler RecordHandler(QvCommon::MultiPassRecordIter& iter);
  QvCommon::QvStatus AddToStatistics(QvCommon::MultiPassRecordIter& iter,
                                     QvAccumStatsLogistic& stats);
  /// Stores a part's rows, where rows are kept and these are not.
  QvCommon::QvStatus RequireRows(QvCommon::MultiPassRecordIter& iter);
  QvCommon::QvStatus AccumulateXPrimeX(QvCommon::MultiPassRecordIter& iter);
  QvCommon::QvStatus AddProducts(QvCommon::MultiPassRecordIter& iter);
  /// Chooses the dependent's categories by tables that were filled elsewhere, and prepares the
  /// model for the later passes by them; false where that cannot be.
  [[nodiscard]] bool ChooseCategories();
  [[nodiscard]] bool SetUpFromTables();
  /// The classification pass, and its closing.
  QvCommon::QvStatus Classify(QvCommon::MultiPassRecordIter& iter);
  QvCommon::QvStatus ClassifyRecords(QvCommon::MultiPassRecordIter& iter);
  void CreateStatistics();
  void RunOptimizer(QvCommon::MultiPassRecordIter& iter);
  /// Makes the optimizer start from the settings' values.
  void ApplyStartingValues(QvRegOptimizer& optimizer);
  [[nodiscard]] bool MayBeScored(const QvCommon::Record& record, QvCommon::QvStatus& status) const;

  const QvLogRegSettings& fSettings;
  QvRegRecordValidator fValidator;
  QvFactorTables fFactorTables;
  std::unique_ptr<QvPatternTabulator> fPatternExtractor;
  QvLogModel fModel;
  QvModelDesign fDesign;
  std::vector<double> fMeanValues;
  std::vector<double> fBeta;
  /// Of a worker: how the optimizer's pass begins.
  QvCommon::QvBytes fStatisticsStart;
  std::unique_ptr<QvAccumStatsLogistic> fpStats;
  std::optional<QvOptimizationSummary> fOptimization;
  bool fbFactorTableFilled = false;
  bool fbParametersCreated = false;
  bool fbModelBuilt = false;
};
