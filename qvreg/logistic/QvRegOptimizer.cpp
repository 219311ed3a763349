#include "qvreg/logistic/QvRegOptimizer.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvElementary.h"
#include "qvreg/common/QvMathFun.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/ProgressListener.h"

using QvCommon::QvElementary;
using QvCommon::QvMathFun;
using QvCommon::QvStatus;

namespace {

/// An observed response predicted with a probability within it of 1 is as good as certain.
constexpr double kCertaintyGap = 0.01;
/// An information matrix whose smallest share of a pivot's root is below it is close to singular.
constexpr double kNearSingular = 0.000316;
constexpr double kTinyProbability = 0.001;
/// Guards the relative change of estimates near 0.
constexpr double kRelativeGuard = 1e-06;

/// Two sums of the same log-likelihood may differ by this share through the rounding of their
/// terms.
constexpr double kRoundingShare = 0x1p-44;
/// The same through the rounding of predictors that are small beside their summands, as where a
/// covariate hardly varies about a large mean.
constexpr double kPredictorShare = 0x1p-28;
/// A step that promises no larger share of the log-likelihood is one of the last: Newton's
/// iteration converges from there by itself.
constexpr double kLastStepShare = 0x1p-36;

bool IsMissing(double value) { return value == QvMV::gMissingValue; }

/// How many of the kept parameters are intercepts, one for each category but the reference.
int CountIntercepts(const QvLogRegSettings& settings, const IQvRegModel& model) {
  const int nBlocks = model.GetNumDependCategories() - 1;
  const int nBasic = model.GetNumBasicNonRedundant();
  const bool haveIntercepts = settings.GetInterceptUse() && nBlocks > 0 && nBasic > 0 &&
                              nBlocks * nBasic == model.GetNumAllNonRedundant();
  return haveIntercepts ? nBlocks : 0;
}

}  // namespace

QvRegOptimizer::QvRegOptimizer(const QvLogRegSettings& settings, IQvRegModel* model,
                               IQvDataHandler* handler, IQvAccumStats* stats,
                               std::vector<double>& estimates, QvCancelInfo& cancel,
                               ProgressListener* listener, int iterationFrequency)
    : fSettings(settings),
      fpModel(model),
      fpHandler(handler),
      fpStats(stats),
      fNParameters(std::max(model->GetNumAllNonRedundant(), 0)),
      fNCategories(model->GetNumDependCategories()),
      fvBeta(estimates),
      fpMatrix(std::make_unique<QvCommon::QvSymMatrix>(fNParameters)),
      fSystem(*stats, fNParameters, CountIntercepts(settings, *model),
              [&cancel] { return cancel.IsCancel(); }),
      fCancel(cancel),
      fpListener(listener),
      fIterationFrequency(iterationFrequency) {
  fvBeta.resize(static_cast<std::size_t>(fNParameters), 0.0);
  if (!fpMatrix->IsValidMatrix()) fStatus = QvStatus(QvStatusCode::kTooManyParameters, false);
}

void QvRegOptimizer::SetMethod(QvConst::QvEstimationMethod method, int switchIteration) {
  fMethod = method;
  fSwitchIteration = switchIteration;
}

bool QvRegOptimizer::IsCancelled() { return fCancel.StopRequested(); }

double QvRegOptimizer::LogLikelihood() const {
  const double value = fpStats->GetLL();
  return IsMissing(value) ? value : std::min(value, 0.0);
}

bool QvRegOptimizer::IsNothingToIterate() const {
  const bool isInterceptOnly = fSettings.GetInterceptUse() && fNParameters < fNCategories;
  return isInterceptOnly || !HasParameters() || fSettings.GetMaxIterations() == 0;
}

void QvRegOptimizer::FullPass(QvConst::QvEstimationMethod method, bool separationCheck) {
  fpHandler->ResetAccumStats(method, separationCheck);
  fStatus = fpHandler->ComputeStatsForOptimizer(false);
}

void QvRegOptimizer::DisplayMatrix(const char* heading) const {
  if (!QvComponentDisplay::IsDiagnosticDisplay()) return;
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, heading);
  fpMatrix->Display();
}

void QvRegOptimizer::DisplayTrial(int stepHalvings, double newLL) const {
  if (!QvComponentDisplay::IsDiagnosticDisplay()) return;
  QvComponentDisplay::DisplayI("fLastIter", fLastIter);
  QvComponentDisplay::DisplayI("stepHalvingCnt", stepHalvings);
  QvComponentDisplay::DisplayDV("fvBeta", fvBeta, true);
  QvComponentDisplay::DisplayD("newLL", newLL);
}

int QvRegOptimizer::Factor() {
  const int result = fSystem.Factor(fSettings.GetTolerance(), *fpMatrix);
  if (fCancel.IsFlagSet()) fStatus = QvStatus(QvStatusCode::kCancelled, false);
  return result;
}

void QvRegOptimizer::SolveStep() {
  if (fSystem.Solve(*fpMatrix, fStep) != 0) {
    fStatus = QvStatus(QvStatusCode::kTooManyParameters, false);
    return;
  }
  fPromise = QvMathFun::DDot(fNParameters, fpStats->GetScores(), 0, 1, fStep, 0, 1);
}

void QvRegOptimizer::Report(int stepHalvings) {
  const double seconds = static_cast<double>(std::clock() - fStart) / CLOCKS_PER_SEC;
  if (!fExponents.empty()) fReportedBeta = fvBeta;
  for (std::size_t i = 0; i < fExponents.size(); ++i) {
    fReportedBeta[i] = std::ldexp(fReportedBeta[i], -fExponents[i]);
  }
  fReporter.SetInfo(fExponents.empty() ? &fvBeta : &fReportedBeta, fLastIter, stepHalvings,
                    LogLikelihood(), seconds);
  fpListener->ReportProgress(&fReporter);
}

void QvRegOptimizer::ReportWhenDue(int stepHalvings) {
  fLastStepHalvings = stepHalvings;
  if (fpListener == nullptr || fStatus.IsError() || --fReportCountdown > 0) return;
  Report(stepHalvings);
  fReportCountdown = fIterationFrequency;
}

void QvRegOptimizer::StartPass() {
  fStart = std::clock();
  fReportCountdown = fIterationFrequency;
  fStep.assign(fvBeta.size(), 0.0);
  fSavedBeta.assign(fvBeta.size(), 0.0);
  fOutcome = kOptContinue;
  const bool isHybrid = fMethod == QvConst::QvMethodHybrid && fSwitchIteration > 0;
  fWorkingMethod = isHybrid ? QvConst::QvMethodNewtonRaphson : fMethod;
  fpHandler->SetStatsModel(fpStats, fpModel);
  if (fStatus.IsError()) return;
  FullPass(fWorkingMethod, false);
  if (fStatus.IsError()) return;
  if (fpListener != nullptr) Report(0);
  fInitialLL = fHighestLL = LogLikelihood();
  if (!HasParameters()) return;
  // The result is not examined: a singular pivot leaves its parameter where it started.
  Factor();
  if (!fStatus.IsError()) SolveStep();
}

QvStatus QvRegOptimizer::MeasureBaseline() {
  if (fStatus.IsError()) return fStatus;
  fpHandler->SetStatsModel(fpStats, fpModel);
  fpHandler->ResetAccumStats(QvConst::QvMethodNewtonRaphson, false);
  fStatus = fpHandler->ComputeStatsForOptimizer(true);
  if (!fStatus.IsError()) fBaselineLL = LogLikelihood();
  fpHandler->CleanStatsModel();
  return fStatus;
}

double QvRegOptimizer::GetBaselineLL() const {
  return IsMissing(fBaselineLL) ? fInitialLL : fBaselineLL;
}

QvStatus QvRegOptimizer::Estimate() {
  StartPass();
  if (!fStatus.IsError() && IsNothingToIterate()) {
    fOutcome = kOptNoIterations;
    fbFinished = true;
  }
  Iterate();
  if (!fStatus.IsError() && IsCancelled()) fStatus = QvStatus(QvStatusCode::kCancelled, false);
  fpHandler->CleanStatsModel();
  if (!fStatus.IsError() && fbFinished && HasParameters()) Invert();
  if (fpListener != nullptr && !fStatus.IsError() && fReportCountdown != fIterationFrequency) {
    Report(fLastStepHalvings);
  }
  return fStatus;
}

void QvRegOptimizer::Iterate() {
  while (!fStatus.IsError() && !fbFinished && !IsCancelled() && IterateOnce()) {
  }
}

bool QvRegOptimizer::IsAccepted(double newLL, double previousLL) const {
  if (IsMissing(newLL) || std::isnan(newLL)) return false;
  if (IsMissing(previousLL)) return true;
  // Close to the maximum a step changes the value by rounding alone. That much is tolerated below
  // the highest value so far, so that the falls of many steps do not add up. One of the last steps
  // may promise less than predictors are rounded by, and is accepted as long as it falls by no
  // more.
  const double size = std::fabs(fHighestLL);
  const bool isLast = std::fabs(fPromise) <= kLastStepShare * size;
  return newLL >= fHighestLL - (isLast ? kPredictorShare : kRoundingShare) * size;
}

QvRegOptimizer::Trial QvRegOptimizer::FindStep(double previousLL, int& stepHalvings) {
  double factor = 1.0;
  while (!IsCancelled()) {
    fpHandler->ResetAccumStats(QvConst::QvMethodNewtonRaphson, false);
    QvMathFun::Daxpy(fNParameters, factor, fStep, 0, 1, fvBeta, 0, 1);
    fStatus = fpHandler->ComputeStatsForOptimizer(true);
    if (fStatus.IsError()) return Trial::kStopped;
    const double newLL = LogLikelihood();
    DisplayTrial(stepHalvings, newLL);
    if (IsAccepted(newLL, previousLL)) return Trial::kAccepted;
    fvBeta = fSavedBeta;
    if (stepHalvings >= fSettings.GetMaxStepHalvingValue()) return Trial::kGivenUp;
    factor /= 2.0 * fpStats->GetStepAdjustmentFactor();
    ++stepHalvings;
    ++fTotalStepHalvings;
  }
  return Trial::kStopped;
}

bool QvRegOptimizer::IterateOnce() {
  ++fLastIter;
  fSavedBeta = fvBeta;
  const double previousLL = fLastIter > 1 ? fCurrentLL : fInitialLL;
  int stepHalvings = 0;
  if (FindStep(previousLL, stepHalvings) == Trial::kGivenUp) {
    fOutcome = kOptStepHalvingFailed;
    fLLChange = 0.0;
    fParameterChange = 0.0;
  }
  if (!fStatus.IsError() && IsCancelled()) fStatus = QvStatus(QvStatusCode::kCancelled, false);
  if (fStatus.IsError()) return false;

  const int start = fSettings.GetStartingIteration();
  const bool separationCheck = start >= 1 && fLastIter >= start;
  FullPass(fWorkingMethod, separationCheck);
  if (fStatus.IsError() || IsCancelled()) return false;
  fCurrentLL = LogLikelihood();
  // A missing value is below every other.
  fHighestLL = std::max(fHighestLL, fCurrentLL);
  if (QvComponentDisplay::IsDiagnosticDisplay()) {
    fpStats->GetHessian(*fpMatrix);
    DisplayMatrix("Computed Hessian:");
  }
  const int factorResult = Factor();
  if (fStatus.IsError()) return false;
  if (fOutcome == kOptContinue) {
    fOutcome = CheckConvergence(previousLL, factorResult, separationCheck);
    if (fCancel.IsFlagSet()) return false;
  }
  const bool isHybrid = fMethod == QvConst::QvMethodHybrid && fSwitchIteration > 0 &&
                        fWorkingMethod == QvConst::QvMethodNewtonRaphson;
  if (isHybrid && !SwitchMethod(separationCheck)) fbFinished = true;
  if (fStatus.IsError()) return false;
  if (fOutcome == kOptContinue) {
    SolveStep();
  } else {
    fbFinished = true;
  }
  ReportWhenDue(stepHalvings);
  return true;
}

bool QvRegOptimizer::SwitchMethod(bool separationCheck) {
  const bool isConverged = fOutcome == kOptLLConverged || fOutcome == kOptParamConverged ||
                           fOutcome == kOptBothConverged;
  const bool isDue = fOutcome == kOptContinue && fLastIter >= fSwitchIteration;
  if (!isConverged && !isDue) return fLastIter < fSwitchIteration;
  fWorkingMethod = QvConst::QvMethodFisherScoring;
  fOutcome = kOptContinue;
  fSwitchIteration = fLastIter;
  FullPass(fWorkingMethod, separationCheck);
  if (fStatus.IsError()) return false;
  if (Factor() < 1 || fStatus.IsError()) return true;
  fOutcome = kOptHessianSingular;
  return false;
}

QvOptimizationOutcome QvRegOptimizer::CheckSeparation(int factorResult,
                                                      bool separationCheck) const {
  const QvOptimizationOutcome regular = factorResult > 0 ? kOptHessianSingular : kOptContinue;
  if (!separationCheck) return regular;
  double minObserved = 0.0;
  double maxObserved = 0.0;
  double minComputed = 0.0;
  fpStats->GetMinMaxProbabilities(minObserved, maxObserved, minComputed);
  if (1.0 - minObserved <= kCertaintyGap && 1.0 - maxObserved <= kCertaintyGap) {
    return kOptCompleteSeparation;
  }
  if (fSystem.SeparationMeasure(fSettings.GetTolerance()) > kNearSingular) return regular;
  const bool isQuasi = maxObserved > 1.0 - kCertaintyGap || minComputed < kTinyProbability;
  return isQuasi ? kOptQuasiSeparation : kOptHessianSingular;
}

QvOptimizationOutcome QvRegOptimizer::CheckConvergence(double previousLL, int factorResult,
                                                       bool separationCheck) {
  QvOptimizationOutcome outcome = CheckSeparation(factorResult, separationCheck);
  fLLChange = std::fabs(previousLL - fCurrentLL);
  if (!fSettings.GetLLFuncChange()) fLLChange /= std::fabs(previousLL);
  if (outcome == kOptContinue && fSettings.GetLLConCriterion() > fLLChange) {
    outcome = kOptLLConverged;
  }
  if (HasParameters()) {
    fParameterChange = fSettings.GetParamEstChange()
                           ? QvMathFun::VNrm1Diff(fvBeta, fSavedBeta)
                           : QvMathFun::VMaxRelDiff(fvBeta, fSavedBeta, kRelativeGuard);
    if (fSettings.GetParamEstConCriterion() > fParameterChange) {
      if (outcome == kOptContinue) return kOptParamConverged;
      if (outcome == kOptLLConverged) return kOptBothConverged;
    }
  }
  if (outcome != kOptContinue) return outcome;
  return fLastIter >= fSettings.GetMaxIterations() ? kOptMaxIterations : kOptContinue;
}

void QvRegOptimizer::Invert() {
  const bool isDisplayed = QvComponentDisplay::IsDiagnosticDisplay();
  if (isDisplayed) {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                    "In QvRegOptimizer::Estimate() ...");
  }
  DisplayMatrix("Cholesky factor of the Hessian:");
  if (!fSystem.Invert(*fpMatrix)) {
    fStatus = QvStatus(QvStatusCode::kCancelled, false);
    return;
  }
  int validRows = 0;
  int invalidCalls = 0;
  fpStats->GetCounts(validRows, invalidCalls, fWeight);
  DisplayMatrix("Inverse of Hessian for final parameter estimates:");
  if (isDisplayed) fpStats->Display(false);
}

bool QvRegOptimizer::GetPseudoRSquares(double& coxSnell, double& nagelkerke,
                                       double& mcFadden) const {
  coxSnell = nagelkerke = mcFadden = 0.0;
  const double baseline = GetBaselineLL();
  if (fLastIter < 1 || !(fWeight > 0.0) || IsMissing(baseline) || IsMissing(fCurrentLL)) {
    return true;
  }
  coxSnell = nagelkerke = mcFadden = QvMV::gMissingValue;
  const double gain = (2.0 * baseline - 2.0 * fCurrentLL) / fWeight;
  if (gain <= QvPower::gMachineMaxExp) coxSnell = 1.0 - QvElementary::Exp(gain);
  const double bound = 2.0 * baseline / fWeight;
  if (!IsMissing(coxSnell) && bound <= QvPower::gMachineMaxExp &&
      1.0 - QvElementary::Exp(bound) != 0.0) {
    nagelkerke = coxSnell / (1.0 - QvElementary::Exp(bound));
  }
  if (baseline != 0.0) {
    mcFadden = 1.0 - fCurrentLL / baseline;
  } else if (fCurrentLL == 0.0) {
    mcFadden = 0.0;
  }
  return !IsMissing(coxSnell) && !IsMissing(nagelkerke) && !IsMissing(mcFadden);
}

QvOptimizationSummary QvRegOptimizer::GetSummary() const {
  QvOptimizationSummary summary;
  summary.fOutcome = fOutcome;
  summary.fIterations = fLastIter;
  summary.fStepHalvings = fTotalStepHalvings;
  summary.fInitialLL = GetBaselineLL();
  // Without an iteration the starting values are the estimates.
  summary.fFinalLL = fOutcome == kOptNoIterations ? fInitialLL : fCurrentLL;
  summary.fLLChange = fLLChange;
  summary.fParameterChange = fParameterChange;
  GetPseudoRSquares(summary.fCoxSnellRSquare, summary.fNagelkerkeRSquare, summary.fMcFaddenRSquare);
  return summary;
}
