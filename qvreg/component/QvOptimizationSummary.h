#pragma once

#include "qvreg/common/Constants.h"

/// \file
/// How the iterations of a logistic estimation ended, and what they came to.

/// How the iterations of a logistic estimation ended. Numeric values are fixed.
enum QvOptimizationOutcome {
  kOptContinue = 0,            ///< Not converged; iterate again.
  kOptLLConverged = 1,         ///< The log-likelihood change fell below its criterion.
  kOptParamConverged = 2,      ///< The parameter change fell below its criterion.
  kOptBothConverged = 3,       ///< Both.
  kOptHessianSingular = 4,     ///< The information matrix is not positive definite.
  kOptStepHalvingFailed = 5,   ///< No step-halving kept the log-likelihood from falling.
  kOptMaxIterations = 6,       ///< The maximum number of iterations was reached.
  kOptCompleteSeparation = 7,  ///< The data are completely separated.
  kOptQuasiSeparation = 8,     ///< The data are quasi-completely separated.
  kOptNoIterations = 9         ///< There was nothing to iterate.
};

/// What the iterations of a logistic estimation came to. A value.
struct QvOptimizationSummary {
  QvOptimizationOutcome fOutcome = kOptNoIterations;  ///< How they ended.
  int fIterations = 0;                                ///< That were done.
  int fStepHalvings = 0;                              ///< Of all iterations together.
  /// The log-likelihood that the pseudo R squares compare with: at the default starting values.
  double fInitialLL = QvMV::gMissingValue;
  double fFinalLL = QvMV::gMissingValue;  ///< At the estimates.
  /// The last change of the log-likelihood, relative or absolute as the settings say.
  double fLLChange = 0.0;
  /// The last change of the estimates, in the same way.
  double fParameterChange = 0.0;
  /// Cox and Snell's; the missing value where it does not exist, as the following two.
  double fCoxSnellRSquare = QvMV::gMissingValue;
  double fNagelkerkeRSquare = QvMV::gMissingValue;  ///< Nagelkerke's.
  double fMcFaddenRSquare = QvMV::gMissingValue;    ///< McFadden's.
};
