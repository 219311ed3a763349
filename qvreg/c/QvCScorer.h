#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "qvreg/c/QvCCall.h"
#include "qvreg/c/QvCComponent.h"
#include "qvreg/common/Record.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/parallel/QvScorer.h"

/// Checks records against a built model, and scores them. Borrows the run; used from one thread at
/// a time.
class QvCScorer {
 public:
  /// By the component, on its thread, for records of `recordSize` values. Throws the refusal
  /// without a model, and for records that are too short for it.
  QvCScorer(QvCRun& run, std::size_t recordSize);
  /// By what WriteScoring of the component wrote, on any thread: independent of the component but
  /// for its results, and not cancelled with it.
  QvCScorer(QvCRun& run, std::size_t recordSize, const std::vector<unsigned char>& scoring);

  /// The number of probabilities of a record: 0 for a linear model.
  [[nodiscard]] std::size_t NProbabilities() const { return fNProbabilities; }
  /// The record to fill before one of the following.
  [[nodiscard]] double* Record() { return fRecord.GetAll(); }
  [[nodiscard]] const QvCommon::Record& GetRecord() const { return fRecord; }

  /// Predicts when the record is valid; the qvreg_verdict. `predicted` receives the missing value
  /// unless there is a prediction. Throws the refusal of a status that is an error.
  std::int32_t Score(double& predicted);
  /// Of the record that was scored last, when its verdict was QVREG_VERDICT_VALID.
  [[nodiscard]] const std::vector<double>& Probabilities() const { return fProbabilities; }

  /// The non-zeros of the record's design row, by parameters in ascending order; for the logistic
  /// model those of one equation, some of which may be 0 or name the parameter -1. False for a
  /// record that has none. Throws as Score. The values of a linear model are divided as the scaled
  /// results are.
  bool Expand(std::vector<int>& places, std::vector<double>& values);

 private:
  [[nodiscard]] bool IsValid() const;

  QvCRun& fRun;
  IQvRegOutputStats& fStats;
  QvCommon::Record fRecord;
  std::size_t fNProbabilities = 0;
  std::vector<double> fProbabilities;
  std::unique_ptr<QvScorer> fOwn;  ///< Null for the component.
};

/// What ended the scoring of many records, with the record, from 1 on, that did.
[[nodiscard]] QvCRefusal QvCAtRecord(const QvCRefusal& refusal, std::size_t record);
