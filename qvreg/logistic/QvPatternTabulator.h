#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "qvreg/common/QvPackedInt.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/component/IQvPassSums.h"
#include "qvreg/data/MultiPassRecordIter.h"
#include "qvreg/data/QvCancelInfo.h"
#include "qvreg/data/QvRecordExtractor.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/design/QvFactorTables.h"
#include "qvreg/design/QvHashtable.h"
#include "qvreg/logistic/IQvAccumStats.h"
#include "qvreg/logistic/IQvRegModel.h"
#include "qvreg/settings/QvLogRegSettings.h"

/// The rows of one covariate pattern, each of the same number of values, in the order appended.
/// Kept in contiguous blocks that grow by doubling and are never moved.
///
/// Owns its rows. Const operations may run on several threads at once.
class QvRowPatterns {
 public:
  explicit QvRowPatterns(int rowSize) : fRowSize(static_cast<std::size_t>(rowSize)) {}

  /// Storage for one more row, which the caller fills at once. May throw std::bad_alloc.
  double* AppendRow();
  [[nodiscard]] std::size_t GetRowCount() const { return fRowCount; }
  /// Calls `visit(const double*)` for every row in order until it answers false; its last answer.
  template <typename Visit>
  bool ForEachRow(Visit&& visit) const {
    for (const Block& block : fBlocks) {
      for (std::size_t r = 0; r < block.fUsed; ++r) {
        if (!visit(static_cast<const double*>(block.fValues.data() + r * fRowSize))) return false;
      }
    }
    return true;
  }
  void Display() const;

 private:
  struct Block {
    std::vector<double> fValues;
    std::size_t fCapacity = 0;  ///< In rows, as fUsed.
    std::size_t fUsed = 0;
  };

  std::size_t fRowSize;
  std::size_t fRowCount = 0;
  std::vector<Block> fBlocks;
};

/// The rows of some records by covariate pattern, and how the patterns' keys are packed.
class QvPatternTable : public IQvKeptRows {
 public:
  std::vector<int> fBounds;
  std::vector<int> fPackedBounds;
  QvCommon::QvPackedInt fPacker;
  QvCommon::QvHashtable<QvRowPatterns> fPatterns;
  long long fRecordCount = 0;  ///< That the rows count as.
};

class QvLogModel;

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

  /// Gives every row to the model's classification; kStageMissing before the patterns exist.
  QvCommon::QvStatus ClassifyRows(QvLogModel& model);
  /// Where a stored row holds the model's variables.
  [[nodiscard]] const QvRowLayout& GetRowLayout() const { return fRowLayout; }
  [[nodiscard]] const QvRecordCounts& GetRecordCounts() const { return fRecordCounts; }
  /// The number of distinct patterns.
  [[nodiscard]] int GetPatternCount() const { return fpRows->fPatterns.GetCount(); }
  [[nodiscard]] bool HasRows() const { return fbRowPatternsCreated; }
  /// How many records the stored rows count as.
  [[nodiscard]] long long GetRecordCount() const { return fpRows->fRecordCount; }
  /// Takes the stored rows of other records, kept from a tabulator of the same settings and tables.
  void SetRows(std::unique_ptr<QvPatternTable> rows);
  /// Gives the stored rows away; null before they exist.
  std::unique_ptr<QvPatternTable> TakeRows();

 private:
  /// False without memory.
  bool SetUpKeys();
  /// Fills fIndices from a pattern's key.
  void RebuildIndices(const QvCommon::QvHashKey& key);
  QvRowPatterns& FindOrInsertPattern();
  /// Calls `visit(const double* row)` for every row, with fIndices those of its pattern;
  /// kDataNotProcessed where it answers false, kCancelled.
  template <typename Visit>
  QvCommon::QvStatus Walk(Visit&& visit);
  QvCommon::QvStatus Keep(const QvCommon::QvStatus& status);
  void DisplayVariables() const;
  void DisplayPatterns() const;
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
  std::unique_ptr<QvCommon::QvHashKey> fpKey;
  QvRecordCounts fRecordCounts;
  bool fbFactorTableFilled = false;
  bool fbRowPatternsCreated = false;
  IQvAccumStats* fpStats = nullptr;
  IQvAheadStats* fpAhead = nullptr;  ///< The same object, where it can be computed ahead.
  const IQvRegModel* fpModel = nullptr;
  QvCommon::QvStatus fStatus;
  std::vector<QvCommon::QvStatus> fWarnings;
  /// Scratch of a record or row.
  std::vector<int> fCodes;
  std::vector<int> fPacked;
  std::vector<int> fIndices;
  std::vector<int> fSparseIndices;
  std::vector<double> fSparseValues;
};
