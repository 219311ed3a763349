#pragma once

#include <memory>
#include <new>
#include <stdexcept>
#include <vector>

#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/common/Record.h"
#include "qvreg/component/IQvPassSums.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/component/QvModelContents.h"
#include "qvreg/data/MultiPassRecordIter.h"
#include "qvreg/data/QvCancelInfo.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/settings/QvRegSettings.h"
#include "qvreg/settings/QvRegrParameter.h"

class QvRegComponent;

/// The estimation and scoring behind a component: what QvRegComponent requires of either model.
///
/// Borrows the settings, which must outlive it. May throw std::bad_alloc from any operation: the
/// component turns that into a status. One thread at a time, except Cancel.
class QvRegAlgorithm {
 public:
  explicit QvRegAlgorithm(const QvRegSettings& settings)
      : fCancelInfo(settings.GetCancelPointer()), fBaseSettings(settings) {}
  QvRegAlgorithm(const QvRegAlgorithm&) = delete;
  QvRegAlgorithm& operator=(const QvRegAlgorithm&) = delete;

  virtual ~QvRegAlgorithm() = default;
  /// The first pass and the model's set-up: kAlreadyBuilt when built, kDataProcessed when done
  /// before, kNoParameters when an effect names a variable that the settings do not.
  virtual QvCommon::QvStatus CreateParameters(QvCommon::MultiPassRecordIter& iter,
                                              std::vector<QvRegrParameter>& params) = 0;
  /// The later passes.
  virtual QvCommon::QvStatus BuildModel(QvCommon::MultiPassRecordIter& iter) = 0;
  [[nodiscard]] virtual bool AreParametersCreated() const = 0;
  [[nodiscard]] virtual bool IsModelBuilt() const = 0;
  /// Scores a record, as IQvRegComponent::Score: kCancelled, kNotBuilt, kShortRecord when the
  /// record does not hold the design. The result is not kept as the status.
  virtual QvCommon::QvStatus Score(const QvCommon::Record& record, double& predicted,
                                   std::vector<double>& values) = 0;
  /// The results of the built model; they borrow this object.
  virtual std::unique_ptr<IQvRegOutputStats> MakeOutputStats() = 0;
  virtual void Display() const = 0;

  // For workers and scorers, which run passes or score for the algorithm of another process or
  // thread. The kinds of pass must be ones of the model, and those after the first need ReadTables.

  /// Empty sums of a pass.
  virtual std::unique_ptr<IQvPassSums> MakeSums(QvPassKind kind) = 0;
  /// Writes what the first pass learned, and sets another algorithm of the same settings up by it:
  /// the `reader` fails for other settings.
  virtual void WriteTables(QvCommon::QvByteWriter& writer) const = 0;
  virtual void ReadTables(QvCommon::QvByteReader& reader) = 0;
  /// Writes and reads what else a pass needs, such as the estimates, in the same way.
  virtual void WriteState(QvPassKind kind, QvCommon::QvByteWriter& writer) const = 0;
  virtual void ReadState(QvPassKind kind, QvCommon::QvByteReader& reader) = 0;
  /// Adds the records to empty sums. REQUIRES: ReadState, and that there is a record.
  virtual QvCommon::QvStatus RunPart(QvPassKind kind, QvCommon::MultiPassRecordIter& iter,
                                     IQvPassSums& sums) = 0;
  /// The non-zeros of a record's design row, as the results of the model give them; false as they
  /// do, and for a record too short. REQUIRES: ReadTables, or parameters.
  virtual bool ExpandSparseRow(const QvCommon::Record& record, std::vector<int>& indices,
                               std::vector<double>& values) = 0;
  /// Exchanges what is kept of a part's records, null for nothing, for that of another part.
  virtual void SwapKeptRows(std::unique_ptr<IQvKeptRows>& rows) { rows.reset(); }

  /// What a QvScorer scores as this object does with. REQUIRES: IsModelBuilt.
  [[nodiscard]] QvCommon::QvBytes WriteScoring() const;
  /// The built model with its settings, but for the component's status. REQUIRES: IsModelBuilt.
  [[nodiscard]] QvModelContents GetContents() const;
  /// Becomes that model again, whose matrices it moves out; false, and this undefined, for contents
  /// that no model of the settings has. REQUIRES: an algorithm that nothing was done with.
  [[nodiscard]] bool TakeContents(QvModelContents& contents);

  void Cancel() { fCancelInfo.SetCancel(); }
  [[nodiscard]] const QvCommon::QvStatus& GetStatus() const { return fStatus; }
  [[nodiscard]] const std::vector<QvCommon::QvStatus>& GetWarnings() const { return fWarnings; }
  [[nodiscard]] const QvRecordCounts& GetRecordCounts() const { return fRecordCounts; }

 protected:
  /// Makes a pass: by the settings' runner, whose sums TakeSums then receives, or without one by
  /// `local()`, which reads the iterator at hand. The status of either.
  template <typename Local>
  QvCommon::QvStatus RunPass(QvPassKind kind, Local&& local) {
    if (fBaseSettings.GetPassRunner() == nullptr) return local();
    const std::unique_ptr<IQvPassSums> sums = MakeSums(kind);
    const QvCommon::QvStatus status = RequestPass(kind, *sums);
    return status.IsError() ? status : TakeSums(kind, *sums);
  }
  /// Has the runner make a pass, whose sums replace `sums`. REQUIRES: a runner.
  QvCommon::QvStatus RequestPass(QvPassKind kind, IQvPassSums& sums);
  /// Takes the sums of a whole pass, made by MakeSums, as if its records had been added here; the
  /// status that this would have had.
  virtual QvCommon::QvStatus TakeSums(QvPassKind kind, IQvPassSums& sums) = 0;
  /// GetContents and TakeContents of what a model has of its own.
  virtual void FillContents(QvModelContents& contents) const = 0;
  [[nodiscard]] virtual bool TakeModel(QvModelContents& contents) = 0;
  /// Forgets what was counted: after a further pass fUsedLater tells how many records it used.
  void CountAnew() {
    fRecordCounts = {};
    fRecordCounts.fUsed = -1;
  }

  QvCancelInfo fCancelInfo;
  QvRecordCounts fRecordCounts;
  QvCommon::QvStatus fStatus;
  std::vector<QvCommon::QvStatus> fWarnings;

 private:
  /// What a request for the pass has in common with others of the run.
  [[nodiscard]] QvCommon::QvBytes BaseOf(QvPassKind kind) const;

  const QvRegSettings& fBaseSettings;
  QvCommon::QvBytes fBase;  ///< Of the latest request.
  bool fbBaseHasTables = false;
};

/// Has a component, with which nothing was done, become the model of such contents, whose settings
/// are equal to its own, and moves their matrices out: false for any other. May throw
/// std::bad_alloc.
[[nodiscard]] bool TakeContents(QvRegComponent& component, QvModelContents& contents);

/// Runs an operation of a component and returns its status; an allocation that fails inside it
/// becomes kTooManyParameters. What a host's code throws passes through.
template <typename Operation>
QvCommon::QvStatus GuardOperation(Operation&& operation) {
  try {
    return operation();
  } catch (const std::bad_alloc&) {
    return {QvStatusCode::kTooManyParameters, false};
  } catch (const std::length_error&) {
    return {QvStatusCode::kTooManyParameters, false};
  }
}

/// Runs a diagnostic display; what memory that ran out leaves unprinted is lost.
template <typename Print>
void GuardDisplay(Print&& print) {
  GuardOperation([&] {
    print();
    return QvCommon::QvStatus();
  });
}

/// As GuardOperation, for an operation whose result becomes the component's status: nothing is done
/// while that is an error, and an exception of the host's code leaves kRecordMissing.
template <typename Operation>
QvCommon::QvStatus RunOperation(QvCommon::QvStatus& status, Operation&& operation) {
  if (status.IsError()) return status;
  try {
    status = GuardOperation(operation);
  } catch (...) {
    status = QvCommon::QvStatus(QvStatusCode::kRecordMissing, false);
    throw;
  }
  return status;
}

/// Copies the settings `given` to a component's `own` and makes the algorithm that borrows the
/// copy; none where the copy's own check fails. The status of that check.
template <typename Algorithm, typename Settings>
QvCommon::QvStatus StartAlgorithm(const Settings& given, Settings& own,
                                  std::unique_ptr<QvRegAlgorithm>& algorithm) {
  return GuardOperation([&] {
    own = given;
    const QvCommon::QvStatus status = own.IsValidSettings();
    if (!status.IsError()) algorithm = std::make_unique<Algorithm>(own);
    return status;
  });
}
