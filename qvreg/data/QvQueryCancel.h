#pragma once

#include "qvreg/QvExport.h"

/// What a host implements to stop a run. The host owns it; it must outlive every component whose
/// settings name it. Called on the thread that runs the estimation, once per record and pivot, so
/// an answer should cost little.
class QVREG_EXPORT QvQueryCancel {
 public:
  virtual ~QvQueryCancel() = default;
  /// True to stop; a yes is kept, and the host is not asked again.
  virtual bool QueryCancel() = 0;
  /// True to stop; asked before every record.
  virtual bool QueryWillCancel() = 0;
};
