#include "qvreg/c/QvCProgress.h"

#include <vector>

#include "qvreg/component/ProgressListener.h"

qvreg_progress QvCProgressOf(ProgressReport& report) {
  qvreg_progress progress{};
  progress.struct_size = sizeof progress;
  progress.iteration = report.DiscreteMeasure("iterNum");
  progress.step_halvings = report.DiscreteMeasure("stepHalving");
  progress.log_likelihood = report.ScaleMeasure("loglik");
  progress.seconds = report.ScaleMeasure("time");
  auto* vectors = dynamic_cast<ProgressReportVect*>(&report);
  if (vectors == nullptr) return progress;
  if (const std::vector<double>* estimates = vectors->VectorMeasure("paramEstim")) {
    progress.estimates = estimates->data();
    progress.n_estimates = estimates->size();
  }
  return progress;
}
