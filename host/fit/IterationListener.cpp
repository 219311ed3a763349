#include "host/fit/IterationListener.h"

#include <fmt/format.h>

#include "qvreg/component/ProgressListener.h"

namespace qvhost {

void IterationListener::ReportProgress(ProgressReport* report) {
  const int halvings = report->DiscreteMeasure("stepHalving");
  stage_ = fmt::format("iteration {}, log-likelihood {:.6g}",
                       iterationsBefore_ + report->DiscreteMeasure("iterNum") + 1,
                       report->ScaleMeasure("loglik"));
  if (halvings > 0)
    stage_ += fmt::format(", {} step-halving{}", halvings, halvings == 1 ? "" : "s");
  if (auto* vectors = dynamic_cast<ProgressReportVect*>(report); vectors != nullptr) {
    history_.Add(report->ScaleMeasure("loglik"), *vectors->VectorMeasure("paramEstim"));
  }
  onChange_();
}

}  // namespace qvhost
