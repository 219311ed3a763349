#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

#include "qvreg/common/QvStatus.h"
#include "qvreg/data/MultiPassRecordIter.h"
#include "qvreg/data/QvCancelInfo.h"
#include "qvreg/data/QvRecordExtractor.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/design/QvFactorTables.h"
#include "qvreg/design/QvPatternDesign.h"
#include "qvreg/logistic/IQvAccumStats.h"
#include "qvreg/logistic/IQvRegModel.h"
#include "qvreg/logistic/QvPanelPredictions.h"
#include "qvreg/logistic/QvPatternTable.h"
#include "qvreg/settings/QvLogRegSettings.h"

class QvLogModel;

/// Rows on their way to statistics that take them together.
struct QvRowBatch {
  std::size_t fCount = 0;
  std::vector<double> fValues;  ///< Of kMostRows rows.
  std::array<int, IQvPatternStats::kMostRows> fCategories{};
  std::array<double, IQvPatternStats::kMostRows> fWeights{};
  std::array<const double*, IQvPatternStats::kMostRows> fRows{};  ///< As they are stored.
};

/// Keeps the analysis values of every valid record in memory, grouped by its pattern of level
/// combinations, from which the passes of the optimizer are made: the host's data are read twice in
/// all.
///
/// A stored row holds the dependent's local index, the covariates and the weights. Borrows
/// settings, factor tables, validator and cancel information; owns the rows. It keeps its first
/// error, and does nothing once it has one. Used from one thread at a time.
class QvPatternTabulator : public IQvDataHandler {
 public:
  QvPatternTabulator(const QvLogRegSettings& settings, QvFactorTables& tables,
                     const QvRegRecordValidator& validator, QvCancelInfo& cancel);

  ~QvPatternTabulator() override = default;
  void SetStatsModel(IQvAccumStats* stats, const IQvRegModel* model) override;
  void ResetAccumStats(QvConst::QvEstimationMethod method, bool separationCheck) override;
  void CleanStatsModel() override { SetStatsModel(nullptr, nullptr); }
  /// kDataNotProcessed before the patterns exist or for a row that cannot be accumulated,
  /// kCancelled.
  QvCommon::QvStatus ComputeStatsForOptimizer(bool llOnly) override;
  [[nodiscard]] const std::vector<QvCommon::QvStatus>& GetWarnings() const override {
    return fWarnings;
  }
  void Display() const override;

  /// The first pass over the host's data: fills the factor tables. kStageMissing when done before,
  /// kNoRecords without a valid record, kNothingToFit without positive weight.
  virtual QvCommon::QvStatus FillFactorTables(QvCommon::MultiPassRecordIter& iter);
  /// The second: stores the rows. REQUIRES: categories chosen in the model, parameter indices
  /// created. kDataNotProcessed when done before.
  virtual QvCommon::QvStatus CreateRowPatterns(QvCommon::MultiPassRecordIter& iter,
                                               const IQvRegModel& model);
  /// Gives every row to the model's cross-products; kStageMissing before the patterns exist.
  virtual QvCommon::QvStatus AddRowsToXPrimeX(IQvRegModel& model);
  /// Stores one valid record; false for a level combination that the factor tables do not hold.
  virtual bool AddRecord(const QvCommon::Record& record);
  /// The same for a record's values.
  bool AddValues(const double* record);

  /// Gives every row to the model's classification; kStageMissing before the patterns exist.
  QvCommon::QvStatus ClassifyRows(QvLogModel& model);
  /// Where a stored row holds the model's variables.
  [[nodiscard]] const QvRowLayout& GetRowLayout() const { return fRowLayout; }
  [[nodiscard]] const QvRecordCounts& GetRecordCounts() const { return fRecordCounts; }
  /// The number of distinct patterns.
  [[nodiscard]] int GetPatternCount() const { return fpRows->GetPatternCount(); }
  [[nodiscard]] bool HasRows() const { return fbRowPatternsCreated; }
  /// How many records the stored rows count as.
  [[nodiscard]] long long GetRecordCount() const { return fpRows->GetRecordCount(); }
  /// Takes the stored rows of other records, kept from a tabulator of the same settings and tables.
  void SetRows(std::unique_ptr<QvPatternTable> rows);
  /// Gives the stored rows away; null before they exist.
  std::unique_ptr<QvPatternTable> TakeRows();

 private:
  /// Calls `visitPlace(std::size_t)`, which answers a status, for every place of the walk, with
  /// fIndices those of its pattern, until one is an error; the last status.
  template <typename VisitPlace>
  QvCommon::QvStatus WalkPlaces(VisitPlace&& visitPlace);
  /// Calls `visitRow(const double* row)` for every row; kDataNotProcessed where it answers false,
  /// kCancelled.
  template <typename VisitRow>
  QvCommon::QvStatus Walk(VisitRow&& visitRow);
  /// The same for the rows of the pattern in a place of the walk.
  template <typename VisitRow>
  QvCommon::QvStatus WalkAt(std::size_t place, VisitRow&& visitRow);
  /// The same with `visitPanel(const QvStoredRows&)` for those that are kept in panels.
  template <typename VisitPanel, typename VisitRow>
  QvCommon::QvStatus WalkAt(std::size_t place, VisitPanel&& visitPanel, VisitRow&& visitRow);
  /// Visits each row of a panel by itself, until one is refused; whether none was.
  template <typename VisitRow>
  bool VisitRows(const QvStoredRows& rows, VisitRow&& visitRow);
  [[nodiscard]] int CategoryOf(const double* row) const {
    return QvFactorCounts::CategoryIndex(row[fRowLayout.fDependent], 0);
  }
  /// Adds a row by itself to the optimizer's pass; false when it is refused.
  bool AddRow(const double* row, bool llOnly);
  /// Adds a pattern to statistics that take its rows together.
  QvCommon::QvStatus AddPattern(std::size_t place, bool llOnly);
  /// Adds a pattern's rows of which only categories and weights differ.
  QvCommon::QvStatus AddAlikeRows(std::size_t place, bool llOnly);
  /// Adds a pattern's rows in batches, between BeginPattern and EndPattern.
  QvCommon::QvStatus AddBatches(std::size_t place, bool llOnly);
  bool AddBatch(bool llOnly);
  bool AddPanel(const QvStoredRows& rows, bool llOnly);
  /// Takes the weights of a panel's rows to fPanelWeights.
  void FindWeights(const QvStoredRows& rows);
  void ClassifyPanel(QvLogModel& model, const QvStoredRows& rows);
  QvCommon::QvStatus Keep(const QvCommon::QvStatus& status);
  void DisplayVariables() const;
  void DisplayPatterns() const;
  /// Takes a record's level combinations to fCodes; false where the factor tables lack one.
  bool FindCodes(const double* record);
  [[nodiscard]] double RowWeight(const double* row) const;

  const QvLogRegSettings& fSettings;
  QvFactorTables& fFactorTables;
  const QvRegRecordValidator& fValidator;
  QvCancelInfo& fCancel;
  /// Copies a record's analysis values into a stored row.
  QvRecordExtractor fExtractor;
  std::vector<int> fCategories;
  std::vector<int> fLocalCategories;
  QvRowLayout fRowLayout;
  std::unique_ptr<QvPatternTable> fpRows = std::make_unique<QvPatternTable>();
  QvRecordCounts fRecordCounts;
  bool fbFactorTableFilled = false;
  bool fbRowPatternsCreated = false;
  IQvAccumStats* fpStats = nullptr;
  IQvAheadStats* fpAhead = nullptr;  ///< The same object, where it can be computed ahead.
  const IQvRegModel* fpModel = nullptr;
  /// The same statistics, where they take the rows of a pattern together and the model's design is
  /// known.
  IQvPatternStats* fpPatternStats = nullptr;
  QvPatternDesign fDesign;
  QvPanelPredictions fPredictions;
  QvCommon::QvStatus fStatus;
  std::vector<QvCommon::QvStatus> fWarnings;
  /// Scratch of a record or row.
  std::vector<double> fRow;
  std::vector<int> fCodes;
  std::vector<int> fIndices;
  std::vector<int> fSparseIndices;
  std::vector<double> fSparseValues;
  QvRowBatch fBatch;
  std::array<double, QvStoredRows::kPanelRows> fPanelWeights{};
  std::vector<double> fAlikeWeights;  ///< By category.
  std::vector<long long> fAlikeRows;
};
