#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qvreg/c/QvCReport.h"
#include "qvreg/c/QvCRun.h"
#include "qvreg/common/Record.h"

/// Scores records with a built model into buffers of the host. Borrows the run; used from one
/// thread at a time.
class QvCScorer {
 public:
  /// For records of `recordSize` values. Throws the refusal without a model, and for records that
  /// are too short for it.
  QvCScorer(QvCRun& run, std::size_t recordSize);

  /// The number of probabilities of a record: 0 for a linear model.
  [[nodiscard]] std::size_t NProbabilities() const { return fNProbabilities; }
  /// Throws the refusal unless a buffer, null when not wanted, holds those of all records.
  void RequireRoom(const double* probabilities, std::size_t capacity, std::size_t nRecords) const;

  /// The record to fill before Score.
  [[nodiscard]] double* Record() { return fRecord.GetAll(); }
  /// Writes the prediction, and the probabilities unless they are null; answers the qvreg_verdict.
  /// Throws the refusal that a status comes to, and writes nothing then.
  std::int32_t Score(double& predicted, double* probabilities);

 private:
  /// Checks the record and, when it is valid, predicts; the qvreg_verdict.
  std::int32_t Judge(double& predicted);
  /// True when the model gives a prediction for the record.
  bool Predict(double& predicted);

  QvCRun& fRun;
  IQvRegOutputStats& fStats;
  QvCommon::Record fRecord;
  std::size_t fNProbabilities = 0;
  std::vector<double> fProbabilities;
};
