#pragma once

#include <memory>
#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/component/IQvPassRunner.h"
#include "qvreg/settings/QvRegSettings.h"

/// \file
/// Passes on threads, and into how many parts to divide records.

/// Makes the passes of runs on threads of this process, over records that are divided into parts.
///
/// Results depend on the division only: the same to the last bit for any number of threads. The
/// calling thread waits meanwhile, and asks the run's cancel query every 10 ms; the threads read
/// the parts. What a part throws ends the pass, and is thrown on the calling thread.
///
/// Borrows the parts, which must outlive it. One run at a time; a later run may be of other
/// settings, on the same parts.
class QVREG_EXPORT QvThreadRunner : public IQvPassRunner {
 public:
  /// The memory that sums of concurrent passes may take unless SetMemoryBound says otherwise: 1
  /// GiB.
  static constexpr long long kMemoryBound = 1LL << 30;

  /// For `parts`, which are borrowed, and so many `threads`, at least 1; 0 for as many as the
  /// machine has cores. May throw std::bad_alloc.
  QvThreadRunner(IQvRecordParts& parts, int threads);
  QvThreadRunner(const QvThreadRunner&) = delete;
  QvThreadRunner& operator=(const QvThreadRunner&) = delete;
  ~QvThreadRunner() override;

  /// At most threads + log2(parts) + 2 sums of a pass exist at once. Where so many would be larger
  /// than this number of bytes, fewer threads run; one always does. The tables of the first pass,
  /// which grow with the level combinations found, do not count.
  void SetMemoryBound(long long bytes);
  /// The threads of the last pass; those asked for before the first.
  [[nodiscard]] int GetThreadCount() const;

  QvCommon::QvStatus Run(const std::vector<unsigned char>& request, QvCancelInfo& cancel,
                         std::vector<unsigned char>& answer) override;

 private:
  class QVREG_NO_EXPORT Pool;
  std::unique_ptr<Pool> fpPool;
};

/// How many parts to divide records into for a model of so many parameters (those of all categories
/// of a logistic model together), or about so many: enough for many threads, unless merging would
/// cost more than the records do. At least 1; a function of these numbers only.
QVREG_EXPORT int QvPartCount(long long records, long long parameters);
/// The same for a model of these `settings`, whose parameters are estimated from above: for each
/// effect the level combinations of its factors, as far as there are `records`.
QVREG_EXPORT int QvPartCount(long long records, const QvRegSettings& settings);
