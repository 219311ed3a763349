#pragma once

#include <memory>
#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/data/MultiPassRecordIter.h"
#include "qvreg/data/QvCancelInfo.h"

/// \file
/// Who makes the passes over the records, where that is not the library on the calling thread.

/// Makes passes over records that are divided into parts, anywhere: on threads, in processes, on
/// machines. A component whose settings name a runner asks it for every pass and does not touch the
/// iterators that it is given.
///
/// A host implements it, or uses QvThreadRunner. Borrowed by the settings: it must outlive every
/// component made of them. Called on the thread that called the component.
class QVREG_EXPORT IQvPassRunner {
 public:
  virtual ~IQvPassRunner() = default;
  /// Has each part's records go through the pass that the `request` describes (QvPassWorker::Run)
  /// and merges the answers along one fixed tree over the part numbers (QvPassWorker::Merge), so
  /// that the result does not depend on who is ready first. `answer` receives the bytes of the
  /// last merge. `cancel` says when to stop: a run that may take long asks it often.
  ///
  /// Any status but success ends the run. A runner answers kCancelled, or what it met itself; what
  /// a worker met is part of its answer.
  virtual QvCommon::QvStatus Run(const std::vector<unsigned char>& request, QvCancelInfo& cancel,
                                 std::vector<unsigned char>& answer) = 0;
};

/// Records that are divided into parts, numbered from 0. The division must be the same in every
/// pass; what it is shows in the last digits of the results.
class QVREG_EXPORT IQvRecordParts {
 public:
  virtual ~IQvRecordParts() = default;
  /// The number of parts, at least 1, which may be empty.
  [[nodiscard]] virtual int GetPartCount() const = 0;
  /// Opens a part. May be called from several threads at once; the iterator is then used on the
  /// thread that called. Null where the part cannot be opened; the run then ends with kNoRecords.
  /// To say why, throw.
  [[nodiscard]] virtual std::unique_ptr<QvCommon::MultiPassRecordIter> OpenPart(int part) = 0;
};
