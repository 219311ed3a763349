#pragma once

#include <string>
#include <vector>

#include "qvreg/QvExport.h"

/// \file
/// What a host implements to follow a running estimation, and what it is given.

/// Named measures of a running estimation, read by the host's progress listener. The library owns
/// the report; it is valid during the listener's call only.
class QVREG_EXPORT ProgressReport {
 public:
  ProgressReport() = default;
  ProgressReport(const ProgressReport&) = default;
  ProgressReport& operator=(const ProgressReport&) = default;
  virtual ~ProgressReport() = default;

  /// A whole-number measure; 0 for an unknown name.
  virtual int DiscreteMeasure(const std::string& name) = 0;
  /// A real measure; 0.0 for an unknown name.
  virtual double ScaleMeasure(const std::string& name) = 0;
};

/// A report that also has measures with one value per parameter.
class QVREG_EXPORT ProgressReportVect : public ProgressReport {
 public:
  /// A vector measure, owned by the library; null for an unknown name.
  virtual const std::vector<double>* VectorMeasure(const std::string& name) = 0;
};

/// What a host implements to follow a running estimation. The host owns it; it must outlive every
/// component whose settings name it. Called on the thread that runs the estimation.
class QVREG_EXPORT ProgressListener {
 public:
  virtual ~ProgressListener() = default;
  /// One report; the pointer must not be kept after the call.
  virtual void ReportProgress(ProgressReport* report) = 0;
};
