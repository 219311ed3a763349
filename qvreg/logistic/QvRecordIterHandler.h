#pragma once

#include <optional>
#include <vector>

#include "qvreg/common/QvStatus.h"
#include "qvreg/data/MultiPassRecordIter.h"
#include "qvreg/data/QvCancelInfo.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/logistic/IQvAccumStats.h"
#include "qvreg/logistic/QvPatternBatches.h"

class QvRecordPass;

/// Makes the optimizer's passes over a host's records: one pass over the iterator per request.
///
/// Borrows everything it is given. Used from one thread at a time.
class QvRecordIterHandler : public IQvDataHandler {
 public:
  /// The indices are positions in a record, negative for no such weight. `counts`, which may be
  /// null, records how many records each pass used.
  QvRecordIterHandler(QvCommon::MultiPassRecordIter& iter, QvCancelInfo& cancel,
                      const QvRegRecordValidator& validator, int dependentIndex,
                      int frequencyWeightIndex, int regressionWeightIndex,
                      QvRecordCounts* counts = nullptr);

  ~QvRecordIterHandler() override = default;
  void SetStatsModel(IQvAccumStats* stats, const IQvRegModel* model) override;
  void ResetAccumStats(QvConst::QvEstimationMethod method, bool separationCheck) override;
  void CleanStatsModel() override { SetStatsModel(nullptr, nullptr); }
  /// kStageMissing for a row that cannot be accumulated, kNoFurtherPass when a record is announced
  /// and not delivered, the validator's errors. When the iterator refuses the pass, what it
  /// delivers is read, and kNoRecords is the answer to the next request, which starts its pass
  /// before it answers. A cancelled pass ends early without an error: the optimizer reports it.
  QvCommon::QvStatus ComputeStatsForOptimizer(bool llOnly) override;
  [[nodiscard]] const std::vector<QvCommon::QvStatus>& GetWarnings() const override {
    return fWarnings;
  }
  /// Nothing.
  void Display() const override {}

  /// The first error kept, that of a pass that could not start included.
  [[nodiscard]] const QvCommon::QvStatus& GetStatus() const { return fStatus; }

 private:
  QvCommon::QvStatus MakePass(bool llOnly);
  /// Reads the records of a started pass; counts them in `nUsed`.
  QvCommon::QvStatus ReadRecords(QvRecordPass& pass, bool llOnly, long long& nUsed);
  bool AddRecord(const double* record, bool llOnly);
  /// The local index of the record's dependent category; -1 for one that was not observed.
  [[nodiscard]] int LocalCategory(const double* record) const;

  QvCommon::QvStatus fStatus;
  std::vector<QvCommon::QvStatus> fWarnings;
  QvCommon::MultiPassRecordIter* fpIter;
  QvCancelInfo* fpCancel;
  const IQvRegModel* fpModel = nullptr;
  const std::vector<int>* fpLocalIndices = nullptr;  ///< The model's, for the time of a pass.
  IQvAccumStats* fpStats = nullptr;
  IQvAheadStats* fpAhead = nullptr;  ///< The same object, where it can be computed ahead.
  int fDependentIndex;
  int fFrequencyWeightIndex;
  int fRegressionWeightIndex;
  const QvRegRecordValidator* fpValidator;
  QvRecordCounts* fpCounts;
  /// Where rows of one pattern can be added together.
  std::optional<QvPatternBatches> fBatches;
  /// Scratch of a row.
  std::vector<int> fIndices;
  std::vector<double> fValues;
};
