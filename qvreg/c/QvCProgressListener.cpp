#include "qvreg/c/QvCProgressListener.h"

#include <vector>

#include "qvreg/c/QvCHostCall.h"
#include "qvreg/component/ProgressReport.h"

void QvCProgressListener::ReportProgress(ProgressReport* report) {
  if (report == nullptr) return;
  qvreg_progress progress{};
  progress.struct_size = sizeof progress;
  progress.iteration = report->DiscreteMeasure("iterNum");
  progress.step_halvings = report->DiscreteMeasure("stepHalving");
  progress.log_likelihood = report->ScaleMeasure("loglik");
  progress.seconds = report->ScaleMeasure("time");
  if (auto* vectors = dynamic_cast<ProgressReportVect*>(report); vectors != nullptr) {
    if (const std::vector<double>* estimates = vectors->VectorMeasure("paramEstim")) {
      progress.estimates = estimates->data();
      progress.n_estimates = estimates->size();
    }
  }
  QvCHostCall("progress", [&] { fCallback(fUser, &progress); });
}
