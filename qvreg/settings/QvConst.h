#pragma once

/// Enumerations of the library. Numeric values are fixed.
namespace QvConst {

/// The model that settings describe.
enum QvRegModelType : int { QvRegModelGLM = 0, QvRegModelLogistic = 1 };

/// The role of a record variable.
enum QvVariableType : int {
  QvVarNone = 0,
  QvVarFreqWeight = 1,
  QvVarRegrWeight = 2,
  QvVarFactor = 3,
  QvVarCovariate = 4,
  QvVarDependent = 5
};

/// Fit statistics; a model answers the missing value for those that it does not serve.
enum QvModelFitStat : int {
  QvFitRootMeanSquareError = 0,
  QvFitMultipleRSquare = 1,
  QvFitCoxSnellRSquare = 2,
  QvFitNagelkerkeRSquare = 3,
  QvFitMcFaddenRSquare = 4
};

/// Carried for the host.
enum QvTestType : int { QvTestDefault = 0 };
/// Carried for the host.
enum QvPAdjustMethod : int { QvPAdjustDefault = 0 };
/// Carried for the host.
enum QvCovbType : int { QvCovbDefault = 0 };

/// Where a record's offset comes from.
enum QvOffsetType : int { QvOffsetNone = 0, QvOffsetVariable = 1, QvOffsetFixed = 2 };

/// How the information matrix is formed; the multinomial logit has one way only.
enum QvEstimationMethod {
  QvMethodNewtonRaphson = 0,
  QvMethodFisherScoring = 1,
  QvMethodHybrid = 2
};

}  // namespace QvConst
