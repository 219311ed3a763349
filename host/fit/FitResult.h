#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/fit/LogisticFit.h"
#include "host/fit/ModelKind.h"
#include "host/inference/CoefficientInference.h"

namespace qvhost {

/// In how many of all records a column of the model has no value.
struct ColumnMissing {
  std::string name;
  long long count = 0;
};

/// How often a column of the data held a text that was read as missing.
struct StringMissing {
  std::string column;
  std::string text;
  long long count = 0;
};

/// Which records took part.
struct RecordUse {
  long long read = 0;
  long long used = 0;
  long long missing = 0;    ///< Left out: a value that the model needs is missing.
  long long badWeight = 0;  ///< Left out: a weight is missing or not above 0.
  std::vector<ColumnMissing> missingByColumn;  ///< Columns with a missing value only.
  std::vector<StringMissing> missingStrings =
      {};                 ///< In columns of the data, however they are used.
  long long leftOut = 0;  ///< Rows for which the condition is not true; none of those read.
};

/// One factor of a parameter, at one of its levels.
struct FactorLevel {
  std::string factor;  ///< `species`; for `C(year)` plainly `year`.
  std::string level;
};

/// One covariate of a parameter, raised to a power of 1 or more.
struct CovariatePower {
  std::string covariate;
  int power = 1;
};

/// One column of the design and what was found for it.
struct ParameterResult {
  std::optional<std::string> category;  ///< The dependent's level it speaks of; logistic only.
  std::string label;                    ///< `(Intercept)`, `species=Gentoo:sex=male`, `I(x^2)`.
  std::vector<FactorLevel> levels;
  std::vector<CovariatePower> covariates;
  std::optional<double> estimate;
  bool redundant = false;            ///< Depends on the columns before it; its estimate is 0.
  CoefficientStatistics statistics;  ///< Empty when redundant.
  /// Redundant since its column was not finite, or a sum of its products.
  bool nonFinite = false;
  double growth = 0.0;  ///< Of separated levels: what the estimate still gains in an iteration.

  [[nodiscard]] bool IsIntercept() const { return levels.empty() && covariates.empty(); }
};

/// Everything that a report tells about one fit. A plain value, independent of the library
/// and of the data; numbers that do not exist are absent, all others are finite.
struct FitResult {
  ModelKind kind = ModelKind::kLinear;
  std::string formula;
  std::string data;   ///< The source, for people: a file, a table of a file, a query.
  std::string where;  ///< The condition on the rows; empty for none.
  std::string dependent;
  std::string freqWeight;  ///< Column names; empty for none.
  std::string regressionWeight;
  double confidence = 0.95;
  RecordUse records;
  double degreesOfFreedom = 0.0;            ///< Total frequency weight less the parameters kept.
  double libraryDegreesOfFreedom = 0.0;     ///< As the library counts: less all parameters.
  bool imposedDegreesOfFreedom = false;     ///< Both are the user's --df.
  std::vector<ParameterResult> parameters;  ///< In the library's order.
  std::optional<LogisticFit> logistic;      ///< Of a logistic model only.
  std::optional<double> rSquare;            ///< This and the next two: of a linear model only.
  std::optional<double> rmse;  ///< Root of the mean squared residual, over the frequency weights.
  std::optional<double> residualStdError;
  std::vector<std::string> warnings;  ///< Sentences about anything suspicious.
  long statusCode = 0;                ///< Of the library: 0, or that of its last warning.
  std::string statusMessage;
};

}  // namespace qvhost
