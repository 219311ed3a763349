#pragma once

#include <ctime>
#include <memory>
#include <utility>
#include <vector>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/data/QvCancelInfo.h"
#include "qvreg/logistic/IQvAccumStats.h"
#include "qvreg/logistic/IQvRegModel.h"
#include "qvreg/logistic/QvIterationReporter.h"
#include "qvreg/logistic/QvNewtonSystem.h"
#include "qvreg/settings/QvLogRegSettings.h"

class ProgressListener;

/// Maximises a log-likelihood by Newton-Raphson iterations with step-halving, checks convergence
/// and separation, and leaves the inverse of the information matrix.
///
/// Borrows everything it is given; updates the estimates in place; owns the matrix. Every
/// evaluation is one pass that the data handler makes. Runs on the caller's thread; `Estimate` is
/// called once. Prints its steps while QvComponentDisplay::IsDiagnosticDisplay.
class QvRegOptimizer {
 public:
  /// `estimates` are the starting values; they are made as long as there are kept parameters. May
  /// throw std::bad_alloc.
  QvRegOptimizer(const QvLogRegSettings& settings, IQvRegModel* model, IQvDataHandler* handler,
                 IQvAccumStats* stats, std::vector<double>& estimates, QvCancelInfo& cancel,
                 ProgressListener* listener, int iterationFrequency);
  QvRegOptimizer(const QvRegOptimizer&) = delete;
  QvRegOptimizer& operator=(const QvRegOptimizer&) = delete;
  ~QvRegOptimizer() = default;

  /// Runs the iterations. kCancelled, an error of a pass, kTooManyParameters without memory for the
  /// matrix; otherwise success, and the outcome tells how they ended. May throw std::bad_alloc.
  QvCommon::QvStatus Estimate();
  /// Makes a pass at the estimates, and the pseudo R squares compare with its log-likelihood from
  /// then on: for a run whose host lets it start elsewhere. Before Estimate; errors as there.
  QvCommon::QvStatus MeasureBaseline();
  /// The pseudo R squares of the estimates; false, with missing values, where one does not exist.
  bool GetPseudoRSquares(double& coxSnell, double& nagelkerke, double& mcFadden) const;

  /// For a hybrid method: starts with method 0 and switches to 1 at the iteration given.
  void SetMethod(QvConst::QvEstimationMethod method, int switchIteration);

  /// Reports give each estimate divided by 2 to the power of its exponent; without exponents as it
  /// is. REQUIRES: one per kept parameter.
  void SetReportExponents(std::vector<int> exponents) { fExponents = std::move(exponents); }

  [[nodiscard]] QvOptimizationOutcome GetOutcome() const { return fOutcome; }
  /// The number of iterations done.
  [[nodiscard]] int GetLastIteration() const { return fLastIter; }
  /// The log-likelihood at the starting values; the missing value before the first pass.
  [[nodiscard]] double GetInitialLL() const { return fInitialLL; }
  /// That of MeasureBaseline where it was called, otherwise as GetInitialLL.
  [[nodiscard]] double GetBaselineLL() const;
  /// The log-likelihood after the latest iteration; the missing value before the first.
  [[nodiscard]] double GetCurrentLL() const { return fCurrentLL; }
  [[nodiscard]] double GetLLChange() const { return fLLChange; }
  [[nodiscard]] double GetParameterChange() const { return fParameterChange; }
  /// Step-halvings of all iterations together.
  [[nodiscard]] int GetTotalStepHalvings() const { return fTotalStepHalvings; }
  [[nodiscard]] QvOptimizationSummary GetSummary() const;
  /// The inverse of the information matrix after a successful Estimate; null once deleted.
  [[nodiscard]] const QvCommon::QvSymMatrix* GetMatrix() const { return fpMatrix.get(); }
  void DeleteMatrix() {
    fpMatrix.reset();
    fSystem.Clear();
  }

 private:
  /// How the trial of a step ends.
  enum class Trial { kAccepted, kGivenUp, kStopped };

  [[nodiscard]] bool HasParameters() const { return fNParameters > 0; }
  [[nodiscard]] bool IsNothingToIterate() const;
  [[nodiscard]] bool IsCancelled();
  [[nodiscard]] double LogLikelihood() const;
  void StartPass();
  void Iterate();
  /// One iteration; false when the loop is over.
  bool IterateOnce();
  /// Tries the step, and halves it as long as its log-likelihood is not accepted.
  Trial FindStep(double previousLL, int& stepHalvings);
  [[nodiscard]] bool IsAccepted(double newLL, double previousLL) const;
  void DisplayTrial(int stepHalvings, double newLL) const;
  void DisplayMatrix(const char* heading) const;
  void FullPass(QvConst::QvEstimationMethod method, bool separationCheck);
  /// Factors the information matrix of the latest pass; the factorisation's result.
  int Factor();
  void SolveStep();
  /// Moves a hybrid method on; true when the iterations go on.
  bool SwitchMethod(bool separationCheck);
  [[nodiscard]] QvOptimizationOutcome CheckSeparation(int factorResult, bool separationCheck) const;
  QvOptimizationOutcome CheckConvergence(double previousLL, int factorResult, bool separationCheck);
  void Invert();
  void Report(int stepHalvings);
  void ReportWhenDue(int stepHalvings);

  const QvLogRegSettings& fSettings;
  IQvRegModel* fpModel;
  IQvDataHandler* fpHandler;
  IQvAccumStats* fpStats;
  int fNParameters;
  int fNCategories;
  std::vector<double>& fvBeta;
  std::unique_ptr<QvCommon::QvSymMatrix> fpMatrix;
  QvNewtonSystem fSystem;
  QvConst::QvEstimationMethod fMethod = QvConst::QvMethodNewtonRaphson;
  int fSwitchIteration = 0;
  QvOptimizationOutcome fOutcome = kOptNoIterations;
  double fInitialLL = QvMV::gMissingValue;
  double fBaselineLL = QvMV::gMissingValue;
  double fCurrentLL = QvMV::gMissingValue;
  /// The highest so far, that of the starting values included.
  double fHighestLL = QvMV::gMissingValue;
  int fLastIter = 0;
  double fLLChange = 0.0;
  double fParameterChange = 0.0;
  double fWeight = 0.0;
  QvCancelInfo& fCancel;
  ProgressListener* fpListener;
  int fIterationFrequency;
  QvCommon::QvStatus fStatus;
  int fTotalStepHalvings = 0;
  // The state of the iterations.
  QvConst::QvEstimationMethod fWorkingMethod = QvConst::QvMethodNewtonRaphson;
  std::vector<double> fStep;
  /// What the whole step promises to add to the log-likelihood, twice over.
  double fPromise = 0.0;
  std::vector<double> fSavedBeta;
  bool fbFinished = false;
  int fReportCountdown = 0;
  int fLastStepHalvings = 0;
  std::clock_t fStart = 0;
  QvIterationReporter fReporter;
  std::vector<int> fExponents;
  std::vector<double> fReportedBeta;
};
