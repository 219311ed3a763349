#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/component/QvOptimizationSummary.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/settings/QvSettingsContents.h"

/// \file
/// A built model as plain numbers: what IQvRegComponent::WriteModel writes, for hosts that keep
/// models in a format of their own. QvModelMessage makes it of those bytes, and the very same bytes
/// of it, and QvRegFactory::RestoreComponent a component.
///
/// The order of parameters is that of IQvRegOutputStats::GetParameters: effects in their order, the
/// intercept first; of an effect with factors one for each of its level combinations. A logistic
/// model has the p basic parameters once for each of its K - 1 categories that are not the
/// reference, in ascending order of their codes. A lower triangle is a symmetric matrix row by row,
/// each row up to its diagonal: n (n + 1) / 2 numbers.
///
/// Columns, and the dependent, "as divided" are divided by the powers of two that
/// QvGLMOutputStats::GetParameterExponents tells of, which follow from the sizes of the columns.

/// How large the numbers of the columns are, from which the powers of two follow that they are
/// divided by. A plain value.
struct QvColumnSizeContents {
  /// Of the product of an effect's covariates, one of several covariates or of a power.
  struct Product {
    double fLargest = 0.0;     ///< The largest absolute value within 2^-500 and 2^500.
    double fEnough = -1.0;     ///< A product that is no larger changes nothing; -1 for none.
    bool fbPlain = true;       ///< False where one, or a part of it, is beyond 2^-500 or 2^500.
    bool fbLarge = false;      ///< Whether there is such a product that is not 0.
    long long fMagnitude = 0;  ///< The binary exponent of the largest of those.
  };

  /// Of each covariate of the settings, of a linear model then of the dependent, the largest
  /// absolute value that is finite.
  std::vector<double> fLargest;
  /// Of the effects with more than one covariate, or with a power, in their order.
  std::vector<Product> fProducts;
};

/// What the first pass over the records learns. A plain value.
struct QvTableContents {
  /// Per category the sum of frequency weights, and the number of records.
  using Counts = std::vector<std::pair<double, double>>;

  /// Of each factor of the settings.
  std::vector<Counts> fFactorCounts;
  /// Of the dependent, by its code, of a logistic model: a category without a positive sum of
  /// weights is not part of the model. Empty in a linear model.
  Counts fDependentCounts;
  /// Of the offsets, which no model has: as many pairs of zeros.
  Counts fOffsetCounts;
  /// Of each effect with factors the level combinations that have a parameter, in lexicographic
  /// order, one behind the other: of each the codes of the effect's factors in the order of
  /// QvModelEffect::GetFactors.
  std::vector<std::vector<int>> fCombinations;
  double fTotalFrequencyWeight = 0.0;   ///< Of the records used.
  double fTotalRegressionWeight = 0.0;  ///< Of frequency times regression weights.
  double fSampleSize = 0.0;             ///< The number of records.
  /// The sum of weights of the means, in units of 2^fMeanUnit, which keep it within range.
  double fMeanWeight = 0.0;
  int fMeanUnit = 0;  ///< That binary exponent.
  /// Weighted, of each covariate of the settings, of a linear model then of the dependent.
  std::vector<double> fMeans;
  /// Of a logistic model the sums of frequency times regression weights, by code.
  std::vector<double> fDependentWeights;
  QvColumnSizeContents fSizes;  ///< Of the columns of the design.
};

/// How the column of a redundant parameter depends on kept ones: see
/// IQvRegOutputStats::GetRedundantCombination. A plain value.
struct QvRedundantContents {
  int fParameter = 0;                 ///< Of the basic parameters in a logistic model.
  std::vector<int> fKept;             ///< Those it depends on, in ascending order.
  std::vector<double> fCoefficients;  ///< As many.
};

/// The estimates of a linear model of p parameters. A plain value.
struct QvLinearEstimates {
  /// Of the columns and the dependent as divided; 0 for a redundant parameter.
  std::vector<double> fEstimates;
  /// Whether numbers and weights of the records were so usual that their products are exact.
  bool fbRowsUsual = false;
  /// The parameters whose columns were not finite, one flag for each; empty for none.
  std::vector<bool> fNonFinite;
};

/// What a linear model of p parameters reports. A plain value.
struct QvLinearContents {
  QvLinearEstimates fEstimates;  ///< What scoring needs.
  /// The lower triangle of p + 1 rows: the covariance of the estimates but for the residual
  /// variance (see IQvRegOutputStats::GetCovarianceMatrix), then zeros for the dependent.
  std::vector<double> fCovariance;
  long long fRecordsAdded = 0;     ///< The number of records whose products were summed.
  bool fbProductsRounded = false;  ///< Whether some product was rounded before it was added.
  bool fbProductsUsual = true;     ///< Whether all numbers were as usual as those of the estimates.
  bool fbWeightsFinite = true;     ///< Whether every weight was.
  bool fbDependentsFinite = true;  ///< Whether every value of the dependent was.
  /// p + 1 flags: true for a parameter that is kept, false for a redundant one and for the
  /// dependent, which is last.
  std::vector<bool> fKept;
  std::vector<QvRedundantContents> fRedundant;  ///< In ascending order of their parameters.
  /// The lower triangle of p rows of the same covariance of columns as divided; none where none is.
  std::optional<std::vector<double>> fScaledCovariance;
  bool fbDependentFinite = true;   ///< QvGLMOutputStats::IsDependentFinite
  long long fWeightedRecords = 0;  ///< The number of records of positive weight.
  /// The mean square of the residuals, of the dependent as divided. This and the next five are the
  /// missing value where they do not exist.
  double fResidualSum = 0.0;
  double fTotalSum = 0.0;                             ///< The same of the dependent itself.
  double fMultipleRSquare = QvMV::gMissingValue;      ///< As a fit statistic.
  double fRootMeanSquareError = QvMV::gMissingValue;  ///< As a fit statistic.
  double fScaledError = QvMV::gMissingValue;  ///< QvGLMOutputStats::GetScaledRootMeanSquareError
  double fScaledTotal = QvMV::gMissingValue;  ///< QvGLMOutputStats::GetScaledRootMeanSquareTotal
};

/// The estimates of a logistic model of p basic parameters. A plain value.
struct QvLogisticEstimates {
  std::vector<bool> fKept;         ///< p flags; false for a redundant parameter.
  std::vector<double> fEstimates;  ///< p (K - 1), of the columns as divided.
};

/// What a logistic model of p basic parameters and K categories reports. A plain value.
struct QvLogisticContents {
  QvLogisticEstimates fEstimates;  ///< What scoring needs.
  long long fRecordsAdded = 0;     ///< The number of records whose products were summed.
  std::vector<bool> fNonFinite;    ///< p flags: whether the column was not finite.
  std::vector<QvRedundantContents> fRedundant;  ///< In ascending order of their parameters.
  /// The lower triangle of the covariance of all estimates: p (K - 1) rows.
  std::optional<std::vector<double>> fCovariance;
  /// The same of columns as divided; none where none is.
  std::optional<std::vector<double>> fScaledCovariance;
  /// K x K sums of frequency weights, row by row: observed by predicted category, the reference
  /// last.
  std::vector<double> fClassification;
  double fClassifiedWeight = 0.0;       ///< The sum of all.
  bool fbAnyClassified = false;         ///< Whether some weight was not 0.
  QvOptimizationSummary fOptimization;  ///< How the iterations ended.
};

/// A built model and all that its component reports. A plain value; see above.
struct QvModelContents {
  QvSettingsContents fSettings;               ///< What was to be fitted, and how.
  QvTableContents fTables;                    ///< What the first pass learned.
  QvLinearContents fLinear;                   ///< Of a linear model; otherwise not used.
  QvLogisticContents fLogistic;               ///< Of a logistic model; otherwise not used.
  QvRecordCounts fRecordCounts;               ///< Records read, used and left out.
  QvCommon::QvStatus fFitStatus;              ///< That of the estimation, success.
  std::vector<QvCommon::QvStatus> fWarnings;  ///< IQvRegComponent::GetWarnings
  QvCommon::QvStatus fStatus;                 ///< That of the component.
};
