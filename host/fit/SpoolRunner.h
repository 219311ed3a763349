#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "host/fit/Interrupt.h"
#include "host/table/CodedTable.h"
#include "qvreg/common/Record.h"
#include "qvreg/component/IQvPassRunner.h"
#include "qvreg/data/IQvRecordBlocks.h"
#include "qvreg/data/MultiPassRecordIter.h"
#include "qvreg/parallel/QvThreadRunner.h"
#include "qvreg/settings/QvRegSettings.h"

/// \file
/// Who reads the records of a coded table: the passes of the host on one thread, those of the
/// library on several.

namespace qvhost {

/// Records of a coded table, read in blocks, each reader at a place of its own: any number may read
/// one table at the same time. What cannot be read throws Error (kRunFailed).
///
/// Borrows the table, which must outlive it. One thread at a time.
class SpoolRecords : public QvCommon::MultiPassRecordIter, public QvCommon::IQvRecordBlocks {
 public:
  /// Called with the number of records that a pass has read so far, with each block; may be empty.
  using Progress = std::function<void(long long records)>;

  /// All records.
  explicit SpoolRecords(const CodedTable& table, Progress progress = {});
  /// Those from number `begin` up to but not including `end`.
  SpoolRecords(const CodedTable& table, std::int64_t begin, std::int64_t end, Progress progress);

  [[nodiscard]] bool HasMore() const override { return next_ < end_; }
  const QvCommon::Record* Next() override;
  [[nodiscard]] int GetFailReason() const override {
    return HasMore() ? QvCommon::kIterOk : QvCommon::kIterEndOfData;
  }
  int NewPass() override;
  QvCommon::QvRecordBlock NextBlock() override;
  /// The next record for a pass of the host's own; null at the end. Throws Cancelled when
  /// interrupted.
  const QvCommon::Record* Fetch(const Interrupt& interrupt);

 private:
  void ReadBlock();

  const CodedTable& table_;
  const std::size_t size_;
  const std::int64_t begin_;
  const std::int64_t end_;
  Progress progress_;
  QvCommon::Record record_;
  std::vector<double> block_;
  std::int64_t next_;
  std::size_t position_ = 0;  ///< In the block, of the next record.
  std::size_t used_ = 0;
};

/// Makes the library's passes over a coded table on threads, and tells how far each pass is. Into
/// how many parts the records are divided depends on the table and the model alone, so that results
/// do too.
///
/// Borrows the table, which must outlive it. One run at a time; belongs to the thread that made it.
class SpoolRunner : public IQvPassRunner {
 public:
  /// `progress(pass, records)` is called on the calling thread, at most every few milliseconds,
  /// with the number of the pass, counted from 1, and of the records delivered in it; may be empty.
  using Progress = std::function<void(int pass, long long records)>;

  /// For the model of the settings; `threads` of 0 means as many as the machine has cores.
  SpoolRunner(const CodedTable& table, const QvRegSettings& settings, int threads,
              Progress progress);

  QvCommon::QvStatus Run(const std::vector<unsigned char>& request, QvCancelInfo& cancel,
                         std::vector<unsigned char>& answer) override;

  /// Begins to count passes anew, for another component.
  void StartRun() { pass_ = 0; }
  /// To be called often while a pass runs: shows how far it is.
  void Report() const;

 private:
  /// Parts may be opened and read on any thread.
  class Parts : public IQvRecordParts {
   public:
    Parts(const CodedTable& table, int count) : table_(table), count_(count) {}

    [[nodiscard]] int GetPartCount() const override { return count_; }
    [[nodiscard]] std::unique_ptr<QvCommon::MultiPassRecordIter> OpenPart(int part) override;

    /// Records delivered since the pass began; about so many while parts are read.
    std::atomic<long long> delivered_ = 0;

   private:
    const CodedTable& table_;
    int count_;
  };

  Parts parts_;
  QvThreadRunner threads_;
  Progress progress_;
  int pass_ = 0;
};

}  // namespace qvhost
