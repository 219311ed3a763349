#pragma once

/// \file
/// The outcome of a logistic estimation.

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
