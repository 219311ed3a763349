#pragma once

/// \file
/// A component and what is made of it: its parameters and its results.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "qvreg/c/QvCCall.h"
#include "qvreg/c/QvCColumns.h"
#include "qvreg/c/QvCPasses.h"
#include "qvreg/c/QvCSettings.h"
#include "qvreg/c/QvCSource.h"
#include "qvreg/common/Record.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/settings/QvRegrParameter.h"

/// A component together with what it borrows, as its handle and those of its results share it; and
/// the report of the operation that ended it, which says more than the component's status.
///
/// Used from one thread at a time, but Cancel from any.
class QvCRun {
 public:
  /// Copies the settings. Throws the refusal when they are not valid, or their runner cannot be
  /// made.
  explicit QvCRun(const QvCSettings& settings);
  /// Takes a restored component over.
  explicit QvCRun(std::unique_ptr<IQvRegComponent> component);
  QvCRun(const QvCRun&) = delete;
  QvCRun& operator=(const QvCRun&) = delete;
  ~QvCRun() = default;

  [[nodiscard]] IQvRegComponent& Component() { return *fComponent; }
  /// False, too, when the run has failed.
  [[nodiscard]] bool IsBuilt() const { return !fFailure && fComponent->IsModelBuilt(); }
  [[nodiscard]] const QvCSettings& Settings() const { return fSettings; }
  void Cancel() { fComponent->Cancel(); }
  /// Holds the component for the length of a call that may call the host back; throws the refusal
  /// when another call has it.
  [[nodiscard]] QvCInUse Use() { return {fbInUse, "component"}; }

  /// The source that a host passed to an operation; null where a runner makes the passes instead.
  /// Throws the refusal of a handle that is none, of a null one only where it is needed.
  [[nodiscard]] std::shared_ptr<QvCSource> SourceOf(qvreg_source* source) const;
  /// The operations of the component that read records: the source of SourceOf. Throw the refusal
  /// when the component or the source is in use.
  QvCReport CreateParameters(QvCSource* source, std::vector<QvRegrParameter>& parameters);
  QvCReport Build(QvCSource* source);

  /// The component's status, or what ended the run where that says more.
  [[nodiscard]] QvCReport Status();
  /// The results. Throws the refusal when there are none.
  [[nodiscard]] IQvRegOutputStats& Results();
  /// Writes the counts of records to a host's structure, which it checks.
  void CopyRecordCounts(qvreg_record_counts* counts) const;
  /// How many values a record must have to be scored.
  [[nodiscard]] int DesignRecordSize() const;
  /// Those of a host's `count` columns that scoring reads. Throws the refusal when there are too
  /// few, or one of them is none.
  [[nodiscard]] QvCColumns DesignColumns(const qvreg_typed_column* columns, std::size_t count,
                                         std::size_t nRecords) const;
  /// What a QvScorer scores with as the component does. Throws the refusal without a model.
  [[nodiscard]] std::vector<unsigned char> Scoring();
  /// How many values a record must have to be estimated from.
  [[nodiscard]] int FullRecordSize() const;

 private:
  [[nodiscard]] QvRecordCounts RecordCounts() const;
  template <typename Operation>
  QvCReport Run(QvCSource* source, Operation&& operation);
  /// Takes the report of a step that reads records for the component's; none after an error.
  template <typename Step>
  QvCReport Settle(Step&& step);
  /// The report of a status that an operation over `source` ended with.
  [[nodiscard]] QvCReport Explain(const QvCommon::QvStatus& status, const QvCSource& source) const;
  /// The report of an error with the number of the record that it is about; `size` is how many
  /// values the records have.
  [[nodiscard]] QvCReport AtRecord(QvCReport report, std::int64_t record, int size) const;
  /// The error of passes that did not use as many records as the first one; otherwise success.
  [[nodiscard]] QvCReport CheckPasses() const;

  /// Before the component, which borrows from them.
  QvCSettings fSettings;
  std::unique_ptr<QvCRunner> fRunner;  ///< Null for none.
  std::unique_ptr<IQvRegComponent> fComponent;
  std::optional<QvCReport> fFailure;  ///< Of the operation that ended the run.
  bool fbInUse = false;
};

struct qvreg_component final : QvCHandle<0x7176636f6d700004> {
  static constexpr const char* kName = "a component";

  explicit qvreg_component(std::shared_ptr<QvCRun> run) : fRun(std::move(run)) {}

  /// A call that may call the host back holds a copy, so that a callback may destroy the handle.
  std::shared_ptr<QvCRun> fRun;
};

struct qvreg_parameters final : QvCHandle<0x7176706172610005> {
  static constexpr const char* kName = "parameters";

  std::vector<QvRegrParameter> fParameters;
};

struct qvreg_results final : QvCHandle<0x7176726573750006> {
  static constexpr const char* kName = "results";

  qvreg_results(std::shared_ptr<QvCRun> run, IQvRegOutputStats& stats)
      : fRun(std::move(run)), fStats(stats) {}

  std::shared_ptr<QvCRun> fRun;
  IQvRegOutputStats& fStats;  ///< The run's.
};

/// A host's record as one of the library. Throws the refusal for a record that is too long, or
/// shorter than `needed`.
[[nodiscard]] QvCommon::Record QvCMakeRecord(const double* values, std::size_t size, int needed);
