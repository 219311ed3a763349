#include "qvreg/logistic/QvIterationReporter.h"

#include "qvreg/common/QvComponentDisplay.h"

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
  using namespace QvComponentDisplay;
  DisplayText(kHeadingLevel, "QvIterationReporter display start");
  DisplayI("Iteration number", fIterNum);
  DisplayI("Number of step halving", fStepHalving);
  DisplayD("Pseudo -2 log-likelihood", fLogLikelihood);
  DisplayD("Elapsed time in sec", fTime);
  if (fpEstimates != nullptr) {
    DisplayDV("Parameter estimates", *fpEstimates, true);
  } else {
    DisplayText(kHeadingLevel, "Parameter estimates pointer is 0");
  }
  DisplayText(kHeadingLevel, "QvIterationReporter display end");
}
