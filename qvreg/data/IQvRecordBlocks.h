#pragma once

#include <cstddef>

#include "qvreg/QvExport.h"

/// \file
/// An extension of the record iterator: many records at a time.

namespace QvCommon {

/// Records that an iterator lends together: value j of record i is fpValues[i * fStride + j]. The
/// values stay the iterator's.
struct QvRecordBlock {
  /// The values of record `i`. REQUIRES: i < fCount.
  [[nodiscard]] const double* Row(std::size_t i) const {
    return fpValues + static_cast<std::ptrdiff_t>(i) * fStride;
  }

  const double* fpValues = nullptr;  ///< The first record's.
  std::size_t fCount = 0;            ///< How many records.
  std::ptrdiff_t fStride = 0;        ///< From a record to the next one, in doubles.
  int fSize = 0;                     ///< Values in a record.
};

/// What a MultiPassRecordIter may offer besides: a host derives its iterator from both, and the
/// library, which finds out at run time, reads it by NextBlock in place of Next. An iterator that
/// passes another one's records on needs to pass blocks on as well, or is read one by one.
///
/// Results are the same either way, to the last bit. HasMore, GetFailReason and NewPass keep their
/// meanings, with all records of a block delivered; Next must still work.
class QVREG_EXPORT IQvRecordBlocks {
 public:
  IQvRecordBlocks() = default;
  IQvRecordBlocks(const IQvRecordBlocks&) = default;
  IQvRecordBlocks& operator=(const IQvRecordBlocks&) = default;

  virtual ~IQvRecordBlocks() = default;
  /// Lends the next records, as many as are at hand, but at least one: called where HasMore is
  /// true. A block of no record ends the run as a null from Next does. The values are valid and
  /// unchanged until the next call of NextBlock, Next or NewPass.
  virtual QvRecordBlock NextBlock() = 0;
  /// Called once for every block, before anything else of the iterator, when the library is done
  /// with it: `nRead` is the number of its records that were read, less than all where the pass
  /// ends within it. For an iterator that tells its host which record ended a run.
  virtual void EndBlock(std::size_t nRead) noexcept { static_cast<void>(nRead); }
};

}  // namespace QvCommon
