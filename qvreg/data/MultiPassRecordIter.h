#pragma once

#include "qvreg/QvExport.h"
#include "qvreg/common/Record.h"

/// \file
/// Where records come from: the streams that a host implements.

/// Records and their sources, statuses, matrices and bit sets: what is not tied to one model.
namespace QvCommon {

/// Why an iterator has no more records; the values of GetFailReason.
inline constexpr int kIterOk = 0;         ///< Records remain.
inline constexpr int kIterEndOfData = 1;  ///< The end of the data was reached.
inline constexpr int kIterReadError = 3;  ///< A read failed or met a truncated record.
inline constexpr int kIterNoRewind = 4;   ///< The stream cannot be read again.

/// A stream of records read once. Hosts derive from it; the library borrows it and calls it on the
/// thread that called the library, or, for a part (see IQvRecordParts), on the one that opened it.
class QVREG_EXPORT RecordIterator {
 public:
  RecordIterator() = default;
  RecordIterator(const RecordIterator&) = default;
  RecordIterator& operator=(const RecordIterator&) = default;

  virtual ~RecordIterator() = default;
  /// True when Next has a record to give.
  [[nodiscard]] virtual bool HasMore() const = 0;
  /// The next record, or null. Owned by the iterator; valid and unchanged until the next call of
  /// Next or NewPass.
  virtual const Record* Next() = 0;
  /// kIterOk while records remain, otherwise why they ended.
  [[nodiscard]] virtual int GetFailReason() const = 0;
};

/// A stream of records that can be read again from its start, as estimation needs: the host's data
/// source. Every pass must deliver the same records; their order does not matter.
class QVREG_EXPORT MultiPassRecordIter : public RecordIterator {
 public:
  /// Starts a pass at the first record; the fail reason, kIterOk when there is a record. Any other
  /// answer ends the run, but that of a part (IQvRecordParts), which may be empty: kIterEndOfData.
  /// After the end a logistic model may ask for one more pass.
  virtual int NewPass() = 0;
};

}  // namespace QvCommon
