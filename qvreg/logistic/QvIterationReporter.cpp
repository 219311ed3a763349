#include "qvreg/logistic/QvIterationReporter.h"

#include <atomic>

#include "qvreg/common/QvComponentDisplay.h"

namespace {

/// One switch for the process, which a host sets without an object at hand.
std::atomic<bool> isDiagnosticDisplay{false};

}  // namespace

void QvComponentDisplay::SetDiagnosticDisplay(bool display) {
  isDiagnosticDisplay.store(display, std::memory_order_relaxed);
}

bool QvComponentDisplay::IsDiagnosticDisplay() {
  return isDiagnosticDisplay.load(std::memory_order_relaxed);
}

int QvIterationReporter::DiscreteMeasure(const std::string& name) {
  if (name == "iterNum") return fIterNum;
  if (name == "stepHalving") return fStepHalving;
  return 0;
}

double QvIterationReporter::ScaleMeasure(const std::string& name) {
  if (name == "loglik") return fLogLikelihood;
  if (name == "time") return fTime;
  return 0.0;
}

const std::vector<double>* QvIterationReporter::VectorMeasure(const std::string& name) {
  return name == "paramEstim" ? fpEstimates : nullptr;
}

void QvIterationReporter::SetInfo(const std::vector<double>* estimates, int iterNum,
                                  int stepHalving, double loglik, double time) {
  fpEstimates = estimates;
  fIterNum = iterNum;
  fStepHalving = stepHalving;
  fLogLikelihood = loglik;
  fTime = time;
}

void QvIterationReporter::Reset() { SetInfo(nullptr, 0, 0, 0.0, 0.0); }

void QvIterationReporter::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvIterationReporter display start");
  QvComponentDisplay::DisplayI("Iteration number", fIterNum);
  QvComponentDisplay::DisplayI("Number of step halving", fStepHalving);
  QvComponentDisplay::DisplayD("Pseudo -2 log-likelihood", fLogLikelihood);
  QvComponentDisplay::DisplayD("Elapsed time in sec", fTime);
  if (fpEstimates != nullptr) {
    QvComponentDisplay::DisplayDV("Parameter estimates", *fpEstimates, true);
  } else {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                    "Parameter estimates pointer is 0");
  }
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvIterationReporter display end");
}
