#pragma once

#include <cstdio>

#include "qvreg/QvExport.h"
#include "qvreg/data/MultiPassRecordIter.h"

namespace QvCommon {

/// Reads a binary record file: rows of doubles in the machine's byte order, one after the other,
/// with no header, separators or trailer.
///
/// Borrows the stream: the caller opens it for binary reading at its start, makes sure that fseek
/// can return there (it cannot in a pipe), and closes it after the iterator is gone. A copy shares
/// the stream, and so its position, with the original. Used from one thread at a time.
class QVREG_EXPORT BinaryRecordIterator : public MultiPassRecordIter {
 public:
  /// Reads the first record ahead, `recordSize` doubles long. A null `file` leaves the fail reason
  /// kIterReadError, and so does a record size below 1 or a record that cannot be allocated.
  BinaryRecordIterator(std::FILE* file, int recordSize);
  BinaryRecordIterator(const BinaryRecordIterator&) = default;
  BinaryRecordIterator& operator=(const BinaryRecordIterator&) = default;
  ~BinaryRecordIterator() override = default;

  [[nodiscard]] bool HasMore() const override { return fFailReason == kIterOk; }
  const Record* Next() override;
  [[nodiscard]] int GetFailReason() const override { return fFailReason; }
  /// Goes back to byte 0 and reads the first record ahead; the fail reason. Whether the stream
  /// could be rewound is not checked: one that cannot be goes on at its position. Refused while the
  /// fail reason is kIterNoRewind, which only a derived class gives. A null file gives
  /// kIterReadError.
  int NewPass() override;

 protected:
  /// Replaces the fail reason by `failReason`, one of the kIter constants: for derived iterators
  /// that mark their stream as one that cannot be read again.
  void SetFailReason(int failReason) { fFailReason = failReason; }

 private:
  /// Hands the look-ahead record over and reads the following one; the new fail reason.
  int NextRecord();

  Record fCurrent;
  Record fLookAhead;
  std::FILE* fFile;
  int fRecordSize;
  int fFailReason = kIterOk;
};

}  // namespace QvCommon
