#pragma once

#include "qvreg/QvExport.h"
#include "qvreg/data/RecordIterator.h"

namespace QvCommon {

/// A stream of records that can be read again from its start, as estimation needs: the host's data
/// source. Every pass must deliver the same records; their order does not matter.
class QVREG_EXPORT MultiPassRecordIter : public RecordIterator {
 public:
  /// Starts a pass at the first record; the fail reason, kIterOk when there is a record. Any other
  /// answer ends the run; after it a logistic model may ask for one more pass.
  virtual int NewPass() = 0;
};

}  // namespace QvCommon
