#pragma once

#include <memory>
#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/data/MultiPassRecordIter.h"
#include "qvreg/data/QvCancelInfo.h"

/// Computes for a run that another thread, process or machine makes: what a pass request asks of
/// the records at hand, as bytes.
///
/// It keeps what it unpacked of a run, and for a model that keeps its records in memory (see
/// QvLogRegSettings::SetUsePatternTabulator) the rows of every part that it saw, until a request of
/// another run comes; rows that it never saw are read from the iterator. Nothing else is kept: any
/// worker can answer any request.
///
/// Used from one thread at a time; several workers are independent.
class QVREG_EXPORT QvPassWorker {
 public:
  /// Borrows the `query` that can stop a pass, asked before every record; null for none.
  explicit QvPassWorker(QvQueryCancel* query = nullptr);
  QvPassWorker(const QvPassWorker&) = delete;
  QvPassWorker& operator=(const QvPassWorker&) = delete;
  ~QvPassWorker();

  /// Runs the pass that `request` describes over the records of `iter`, those of part number
  /// `part`, which may be none. `answer` receives what it learned, or the error that it met
  /// (kCancelled, kBadCategory, kShortRecord, kTooManyParameters without memory, ...): both are
  /// answers, to be merged. The status: success when there is an answer; kUnreadableMessage for
  /// bytes that are no request; kTooManyParameters without memory for one. What the iterator throws
  /// passes through.
  QvCommon::QvStatus Run(const std::vector<unsigned char>& request, int part,
                         QvCommon::MultiPassRecordIter& iter, std::vector<unsigned char>& answer);
  /// Merges two answers to the request, `first` of the lower part numbers and `second`, into
  /// `merged`, which may be either. An error among them is the result, the first one of two.
  /// kUnreadableMessage for bytes that are no answers to it, kTooManyParameters without memory.
  ///
  /// For the same results on any number of machines the answers are merged in pairs of
  /// neighbours: parts 0 and 1, 2 and 3, ..., then these pairs, and so on, one without a neighbour
  /// as it is.
  QvCommon::QvStatus Merge(const std::vector<unsigned char>& request,
                           const std::vector<unsigned char>& first,
                           const std::vector<unsigned char>& second,
                           std::vector<unsigned char>& merged);

 private:
  struct QVREG_NO_EXPORT State;
  std::unique_ptr<State> fpState;
};
