#pragma once

#include <cstdio>
#include <functional>

#include "host/fit/Interrupt.h"
#include "host/table/CodedTable.h"
#include "qvreg/data/BinaryRecordIterator.h"
#include "qvreg/data/MultiPassRecordIter.h"

namespace qvhost {

/// The records of a coded table, as the library reads them, counted: reports the progress of each
/// pass, and checks that a pass which ends has read every record (a failing disk must not look like
/// the end of the data).
///
/// Borrows the table, which must outlive it. One thread at a time.
class CountedRecordIterator : public QvCommon::MultiPassRecordIter {
 public:
  /// `progress(pass, records)` is called every few thousand records with the number of the pass,
  /// counted from 1, and of the records delivered in it; may be empty.
  using Progress = std::function<void(int pass, long long records)>;

  CountedRecordIterator(const CodedTable& table, Progress progress);

  [[nodiscard]] bool HasMore() const override { return records_.HasMore(); }
  const QvCommon::Record* Next() override;
  /// The next record for a pass of the host's own; null at the end. Throws Cancelled when
  /// interrupted, Error (kRunFailed) when the file ends before the last record.
  const QvCommon::Record* Fetch(const Interrupt& interrupt);
  [[nodiscard]] int GetFailReason() const override { return records_.GetFailReason(); }
  /// Throws Error (kRunFailed) when the table's file cannot be read from its start again.
  int NewPass() override;

  /// False when a pass met a read error, or the data ended before the last record.
  [[nodiscard]] bool AllRecordsRead() const;

 private:
  std::FILE* file_;
  QvCommon::BinaryRecordIterator records_;
  Progress progress_;
  long long expected_;
  long long delivered_ = 0;
  int pass_ = 0;
  bool readFailed_ = false;
};

}  // namespace qvhost
