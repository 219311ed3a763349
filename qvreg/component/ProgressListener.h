#pragma once

#include "qvreg/QvExport.h"

class ProgressReport;

/// What a host implements to follow a running estimation. The host owns it; it must outlive every
/// component whose settings name it. Called on the thread that runs the estimation.
class QVREG_EXPORT ProgressListener {
 public:
  virtual ~ProgressListener() = default;
  /// One report; the pointer must not be kept after the call.
  virtual void ReportProgress(ProgressReport* report) = 0;
};
