#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "host/table/CodedTable.h"
#include "qvreg/component/IQvPassRunner.h"
#include "qvreg/data/MultiPassRecordIter.h"
#include "qvreg/parallel/QvThreadRunner.h"

namespace qvhost {

/// The records of a coded table in parts, which threads read at the same time, each at its own
/// place of the table's file. How many parts there are depends on the table and the model alone, so
/// that results do too.
///
/// Borrows the table, which must outlive it. Parts may be opened and read on any thread; what they
/// throw is Error (kRunFailed), for a file that cannot be read.
class SpoolParts : public IQvRecordParts {
 public:
  /// For a model of about so many parameters.
  SpoolParts(const CodedTable& table, long long parameters);

  [[nodiscard]] int GetPartCount() const override { return count_; }
  [[nodiscard]] std::unique_ptr<QvCommon::MultiPassRecordIter> OpenPart(int part) override;

  /// How many records were delivered since StartCounting; about so many while parts are read.
  [[nodiscard]] long long Delivered() const { return delivered_.load(std::memory_order_relaxed); }
  void StartCounting() { delivered_ = 0; }

 private:
  const CodedTable& table_;
  int count_;
  std::atomic<long long> delivered_ = 0;
};

/// Makes the library's passes over a coded table on threads, and tells how far each pass is.
///
/// Borrows the table, which must outlive it. One run at a time; belongs to the thread that made it.
class SpoolRunner : public IQvPassRunner {
 public:
  /// `progress(pass, records)` is called on the calling thread, at most every few milliseconds,
  /// with the number of the pass, counted from 1, and of the records delivered in it; may be empty.
  using Progress = std::function<void(int pass, long long records)>;

  /// For a model of about so many parameters; `threads` of 0 means as many as the machine has
  /// cores.
  SpoolRunner(const CodedTable& table, long long parameters, int threads, Progress progress);

  QvCommon::QvStatus Run(const std::vector<unsigned char>& request, QvCancelInfo& cancel,
                         std::vector<unsigned char>& answer) override;

  /// Begins to count passes anew, for another component.
  void StartRun() { pass_ = 0; }
  /// To be called often while a pass runs: shows how far it is.
  void Report() const;
  [[nodiscard]] int ThreadCount() const { return threads_.GetThreadCount(); }

 private:
  SpoolParts parts_;
  QvThreadRunner threads_;
  Progress progress_;
  int pass_ = 0;
};

}  // namespace qvhost
