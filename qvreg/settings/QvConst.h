#pragma once

/// Enumerations of the library. Numeric values are fixed.
namespace QvConst {

/// The model that settings describe.
enum QvRegModelType : int {
  QvRegModelGLM = 0,      ///< The linear model.
  QvRegModelLogistic = 1  ///< The multinomial logistic model.
};

/// The role of a record variable.
enum QvVariableType : int {
  QvVarNone = 0,        ///< None: the variable is ignored.
  QvVarFreqWeight = 1,  ///< How many records it stands for, above 0.
  QvVarRegrWeight = 2,  ///< Its precision, the inverse of its variance, above 0.
  QvVarFactor = 3,      ///< A category code from 0 on; below -0.5 when missing.
  QvVarCovariate = 4,   ///< A number.
  QvVarDependent = 5,   ///< A number; for a logistic model a category code.
  // Apart from the roles that a model needs.
  QvVarRecordCount = 100  ///< How many identical records it is counted as, 1 or more; no weight.
};

/// Fit statistics; a model answers the missing value for those that it does not serve. The n of Cox
/// and Snell's and of Nagelkerke's is the total regression weight: frequency times regression
/// weight.
enum QvModelFitStat : int {
  QvFitRootMeanSquareError = 0,  ///< Linear: in units of the dependent.
  QvFitMultipleRSquare = 1,      ///< Linear: R^2.
  QvFitCoxSnellRSquare = 2,      ///< Logistic: Cox and Snell's pseudo R^2.
  QvFitNagelkerkeRSquare = 3,    ///< Logistic: Nagelkerke's pseudo R^2.
  QvFitMcFaddenRSquare = 4       ///< Logistic: McFadden's pseudo R^2.
};

/// Which test a host makes of a parameter: stored for the host.
enum QvTestType : int {
  QvTestDefault = 0  ///< The host's own choice.
};
/// How a host adjusts p values: carried for the host.
enum QvPAdjustMethod : int {
  QvPAdjustDefault = 0  ///< The host's own choice.
};
/// Which covariance matrix a host reports: carried for the host.
enum QvCovbType : int {
  QvCovbDefault = 0  ///< The host's own choice.
};

static_assert(QvTestDefault == 0 && QvPAdjustDefault == 0 && QvCovbDefault == 0,
              "settings of hosts that carry no choice hold 0");

/// Where a record's offset comes from.
enum QvOffsetType : int {
  QvOffsetNone = 0,      ///< There is none: 0.
  QvOffsetVariable = 1,  ///< A record variable.
  QvOffsetFixed = 2      ///< One value for all records.
};

/// How the information matrix is formed; the multinomial logit has one way only.
enum QvEstimationMethod {
  QvMethodNewtonRaphson = 0,  ///< The observed information.
  QvMethodFisherScoring = 1,  ///< The expected information.
  QvMethodHybrid = 2          ///< Newton-Raphson first, the expected information later.
};

}  // namespace QvConst
