#pragma once

#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/Record.h"
#include "qvreg/data/MultiPassRecordIter.h"
#include "qvreg/settings/QvConst.h"
#include "qvreg/settings/QvRegrParameter.h"

class IQvRegOutputStats;
class QvRegSettings;

/// One regression model, estimated over a host's records and then used to score others.
///
/// Made by QvRegFactory and owned by the host, which deletes it through the destructor. It copies
/// the settings; iterators are borrowed for the length of a call. It keeps a status: once that is
/// an error, every later operation does nothing and returns it, and a new component is needed. No
/// exception of the library's own leaves an operation: an allocation that fails gives the status
/// kTooManyParameters. What a host's iterator, listener or query throws passes through and leaves
/// the component in error, with status kRecordMissing.
///
/// All operations belong to one thread at a time, except Cancel, which may come from any.
class QVREG_EXPORT IQvRegComponent {
 public:
  IQvRegComponent() = default;
  IQvRegComponent(const IQvRegComponent&) = delete;
  IQvRegComponent& operator=(const IQvRegComponent&) = delete;

  virtual ~IQvRegComponent() = default;
  /// The model that this component estimates.
  virtual QvConst::QvRegModelType GetModelType() = 0;
  /// Reads the records of `iter` once and fills `params` with the model's parameters in design
  /// order. Optional: BuildModel does it where it was not done. Where the settings name a pass
  /// runner, `iter` is not read here nor there. The result becomes the component's
  /// status: kDataProcessed when done before, kAlreadyBuilt when the model is built, kCancelled,
  /// kTooManyParameters, kNoRecords, kNoParameters, kRecordMissing, kShortRecord, kBadCategory.
  virtual QvCommon::QvStatus CreateParameters(QvCommon::MultiPassRecordIter& iter,
                                              std::vector<QvRegrParameter>& params) = 0;
  /// Estimates the model from the records of `iter`. The result becomes the component's status:
  /// kAlreadyBuilt when it is built, kCancelled, otherwise the codes of the passes over the data.
  virtual QvCommon::QvStatus BuildModel(QvCommon::MultiPassRecordIter& iter) = 0;
  /// False, too, while the status is an error.
  [[nodiscard]] virtual bool IsModelBuilt() const = 0;
  /// The results, made on the first call and owned by the component. Without a built model an
  /// error: the linear model's is kNotBuilt and leaves `stats` as it was, the logistic model's is
  /// kAlreadyBuilt and makes `stats` null, as any of its errors does.
  virtual QvCommon::QvStatus GetOutputStats(IQvRegOutputStats*& stats) = 0;
  /// The component's own copy of the settings.
  [[nodiscard]] virtual const QvRegSettings& GetCompSettings() const = 0;
  /// Scores one `record`; of the logistic model see QvLogComponent. Before the model is built it
  /// writes nothing and answers the component's status, success included: ask IsModelBuilt. The
  /// linear model sets `predicted` to the predicted value, or to the missing value where a level
  /// combination was never seen, and leaves `values` as it was; it does not validate the record:
  /// see QvRegRecordValidator::IsValid4Scoring. kCancelled after a cancel, kShortRecord for a
  /// record too short for the design, kTooManyParameters without memory; the status is not kept as
  /// the component's status.
  virtual QvCommon::QvStatus Score(const QvCommon::Record& record, double& predicted,
                                   std::vector<double>& values) = 0;
  /// Asks a running pass to stop before its next record, with status kCancelled. Any thread.
  virtual void Cancel() = 0;
  /// The status: that of the settings until the first operation, then that of the latest operation
  /// that stores one.
  virtual QvCommon::QvStatus GetStatus() = 0;
  /// The warnings so far, in the order raised.
  virtual std::vector<QvCommon::QvStatus> GetWarnings() = 0;
  /// Prints settings, model and results to standard output, for diagnostics.
  virtual void Display() const = 0;
  /// Fills `bytes` with what a QvScorer scores as this component does with, on other threads or
  /// machines. kNotBuilt before the model is built, or its error; kTooManyParameters without
  /// memory. The status is not kept as the component's status.
  virtual QvCommon::QvStatus WriteScoring(std::vector<unsigned char>& bytes) = 0;
  /// Fills `bytes` with the built model: settings but for what they borrow, parameters, results. Of
  /// these QvRegFactory::RestoreComponent makes a component that scores and reports bit by bit as
  /// this one, in this version of the library and later ones with the same first number, on any
  /// machine. kNotBuilt before the model is built, or its error; kTooManyParameters without memory.
  /// The status is not kept as the component's status.
  virtual QvCommon::QvStatus WriteModel(std::vector<unsigned char>& bytes) = 0;
};
