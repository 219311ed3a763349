#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/fit/FitPlots.h"
#include "host/fit/ValidationResult.h"
#include "host/inference/Inference.h"
#include "host/inference/LinearQuality.h"

namespace qvhost {

/// The kinds of model that the command knows.
enum class ModelKind { kLinear, kLogistic };

/// As in `--model`.
[[nodiscard]] constexpr const char* ModelName(ModelKind kind) {
  return kind == ModelKind::kLinear ? "linear" : "logistic";
}

/// From what the covariance matrix of the estimates is computed.
enum class CovarianceKind {
  kModel,   ///< From the model: every record has the variance, or distribution, that it says.
  kHc0,     ///< From the residuals of the records.
  kHc1,     ///< The same, corrected for the number of parameters.
  kHc2,     ///< The same, each record corrected for its leverage,
  kHc3,     ///< and twice so.
  kCluster  ///< From the residuals of clusters of records that may depend on each other.
};

/// As in `--vcov`; `model` without it.
[[nodiscard]] constexpr const char* CovarianceName(CovarianceKind kind) {
  constexpr std::array kNames = {"model", "hc0", "hc1", "hc2", "hc3", "cluster"};
  return kNames.at(static_cast<std::size_t>(kind));
}

/// How the covariance matrix was computed.
struct CovarianceResult {
  CovarianceKind kind = CovarianceKind::kModel;
  std::string column;                                ///< Of clusters; empty for none.
  std::optional<long long> clusters = std::nullopt;  ///< Among the records used.
};

/// A record without which the estimates would be others.
struct InfluentialRecord {
  long long row = 0;  ///< Among the rows that were read, from 1.
  double cooksDistance = 0.0;
  std::optional<double> leverage;
  std::optional<double> residual;  ///< Studentized; of a logistic model, of the deviance.
};

/// A level of the dependent that occurs in the records used.
struct DependentLevel {
  std::string level;
  double weight = 0.0;  ///< Sum of its records' frequency weights.
};

/// What a logistic model has beyond its parameters. A plain value; numbers are finite or absent.
struct LogisticFit {
  std::vector<DependentLevel> levels;  ///< In the library's order: the reference last.
  bool inMemory = false;               ///< Whether the records were kept in memory.
  /// How many distinct records were fitted, each with its number; none: all, one by one.
  std::optional<long long> distinctRecords;
  int iterations = 0;
  int stepHalvings = 0;             ///< Of all iterations together.
  int outcomeCode = 0;              ///< The number of the library's outcome for how they all ended.
  bool converged = false;           ///< Whether the estimates are the best there are.
  std::string outcome;              ///< The same as a word: `parameters_converged`.
  std::string separation = "none";  ///< Separation found: `none`, `quasi` or `complete`.
  std::string ending;               ///< The same as a sentence.
  std::optional<double> initialLogLikelihood;  ///< Of the intercepts alone.
  std::optional<double> logLikelihood;
  std::optional<double> logLikelihoodChange;  ///< The last one, a share or not as asked.
  std::optional<double> parameterChange;
  std::optional<double> chiSquare;  ///< Likelihood ratio against the intercepts alone.
  int chiSquareDegrees = 0;
  std::optional<double> chiSquareP;
  std::optional<double> coxSnell;
  std::optional<double> nagelkerke;
  std::optional<double> mcFadden;
  std::optional<double> aic;
  std::optional<double> bic;  ///< With the total frequency weight as the number of records.
  /// Sums of frequency weights: rows observed, columns predicted, in the order of `levels`.
  std::vector<std::vector<double>> classification;
};

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
      {};                   ///< In columns of the data, however they are used.
  long long leftOut = 0;    ///< Rows for which the condition is not true; none of those read.
  long long heldOut = 0;    ///< Of a split or a holdout: usable or not.
  std::string digest = {};  ///< Of those used; empty where none was asked for.
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
  std::optional<std::string> category;  ///< The dependent's level; logistic models only.
  std::string label;                    ///< `(Intercept)`, `species=Gentoo:sex=male`, `I(x^2)`.
  std::vector<FactorLevel> levels;
  std::vector<CovariatePower> covariates;
  std::optional<double> estimate;
  bool redundant = false;            ///< Depends on the columns before it; its estimate is 0.
  CoefficientStatistics statistics;  ///< Empty when redundant.
  /// Redundant since its column was not finite, or a sum of its products.
  bool nonFinite = false;
  double growth = 0.0;  ///< Of separated levels: its change in the last iteration.

  [[nodiscard]] bool IsIntercept() const { return levels.empty() && covariates.empty(); }
};

/// A variable of the formula, the dependent included, whose values were standardized over the
/// records used. A plain value.
struct StandardizedVariable {
  std::string label;                               ///< As in the parameters: `scale(mass)`.
  std::string argument;                            ///< `mass`
  double centre = 0.0;                             ///< The mean, which was subtracted.
  std::optional<double> deviation = std::nullopt;  ///< What the rest was divided by.
};

/// The test of a term of the model. A plain value; numbers that do not exist are absent.
struct EffectTest {
  std::string term;                       ///< As in the formula: `species:sex`.
  int degrees = 0;                        ///< Of freedom; 0 for a term that cannot be tested.
  std::optional<double> residualDegrees;  ///< This and the sum: of a linear model only.
  std::optional<double> statistic;        ///< F of a linear model, chi-square of a logistic one.
  std::optional<double> pValue;
  std::optional<double> sumOfSquares;
};

/// The tests of the terms. A plain value.
struct EffectTests {
  int type = 2;                   ///< 1, 2 or 3, as those of R's anova and of car::Anova.
  bool isAsked = false;           ///< By --anova.
  std::vector<EffectTest> tests;  ///< In the order of the formula; empty where they are left out.
};

/// How the other terms inflate the variance of a term's estimates. A plain value.
struct TermInflation {
  std::string term;
  int degrees = 0;  ///< Parameters that are not redundant.
  std::optional<double> factor;
  std::optional<double> errorPerParameter;  ///< The factor to the power of 1 / (2 degrees).
};

/// How predictions change with a column of the data, on average over the records used. A plain
/// value; numbers that do not exist are absent.
struct MarginResult {
  std::string variable;
  std::optional<std::string> level;     ///< Of a factor: what it is set to, in place of
  std::optional<std::string> base;      ///< this.
  std::optional<std::string> category;  ///< Of a logistic model: whose probability changes.
  std::optional<double> effect;
  CoefficientStatistics statistics;
};

/// What --vif asks for. A plain value.
struct CollinearityResult {
  std::vector<TermInflation> terms;  ///< In the order of the formula.
  std::optional<double> conditionNumber;
};

/// Over which rows means are taken. A plain value.
struct GridResult {
  struct Covariate {
    std::string name;
    std::vector<double> values;  ///< The mean, or the two that it has.
  };
  struct Nested {
    std::string factor;
    std::vector<std::string>
        within;  ///< The factors with whose levels it is combined as it occurs.
  };
  long long rows = 0;  ///< At most so many.
  std::vector<Covariate> covariates;
  std::vector<Nested> nested;
};

/// On what scale a mean is taken.
enum class MeanScale {
  kResponse,    ///< That of the dependent, of a linear model.
  kLink,        ///< The linear predictor: the logarithm of the odds against the reference.
  kProbability  ///< Of a level of the dependent.
};

/// As in JSON.
[[nodiscard]] constexpr const char* MeanScaleName(MeanScale scale) {
  constexpr std::array kNames = {"response", "link", "probability"};
  return kNames.at(static_cast<std::size_t>(scale));
}

/// A mean, or a combination of means. A plain value.
struct MeanEstimate {
  bool isEstimable = true;  ///< False where the data tell nothing of it; it has no numbers then.
  std::optional<double> estimate = std::nullopt;
  CoefficientStatistics statistics = {};
};

/// What --contrast asks for, on one scale. A plain value.
struct ContrastResult {
  std::string label;  ///< As written.
  MeanScale scale = MeanScale::kResponse;
  std::string level;  ///< Of the dependent; of a logistic model only.
  MeanEstimate estimate;
};

/// The difference of two of the rows of a table of means. A plain value.
struct MeanDifference {
  std::size_t first = 0;
  std::size_t second = 0;
  MeanEstimate estimate = {};
  std::optional<double> adjustedP =
      std::nullopt;  ///< By Holm's method, for all differences of the table.
};

/// What --means asks for, on one scale. A plain value.
struct MeanTable {
  struct Row {
    std::vector<std::string> levels;  ///< One for each of the factors.
    MeanEstimate estimate;
  };
  std::vector<std::string> factors;
  MeanScale scale = MeanScale::kResponse;
  std::string level;  ///< Of the dependent; of a logistic model only.
  std::vector<Row> rows;
  std::vector<MeanDifference> differences;  ///< Of each row less each that follows.
};

/// What --means and --contrast ask for. A plain value.
struct MeansResult {
  GridResult grid;
  double degreesOfFreedom = 0.0;  ///< Of all tests and limits; infinite for the normal ones.
  std::vector<ContrastResult> contrasts;
  std::vector<MeanTable> tables;
};

/// Everything that a report says about one fit. A plain value, independent of the library
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
  double tolerance = 0.0;  ///< The share of a column below which it is redundant.
  RecordUse records;
  double degreesOfFreedom = 0.0;            ///< Total frequency weight less the parameters kept.
  double libraryDegreesOfFreedom = 0.0;     ///< As the library counts: total regression
                                            ///< weight less all parameters.
  bool imposedDegreesOfFreedom = false;     ///< Both are the user's --df.
  std::vector<ParameterResult> parameters;  ///< In the library's order.
  std::vector<StandardizedVariable> standardized = {};
  std::optional<LogisticFit> logistic;  ///< Of a logistic model only.
  std::optional<double> rSquare;        ///< This and the next two: of a linear model only.
  std::optional<double> rmse;  ///< Root of the mean squared residual, over the frequency weights.
  std::optional<double> residualStdError;
  LinearQuality quality = {};  ///< Of a linear model only.
  std::optional<EffectTests> effects = std::nullopt;
  std::optional<CollinearityResult> collinearity = std::nullopt;
  std::optional<std::vector<MarginResult>> margins = std::nullopt;  ///< Where they were asked for.
  std::optional<MeansResult> means = std::nullopt;
  std::string predictions;  ///< The file with a row of predictions for each row; empty for none.
  long long rowsPredicted = 0;       ///< Its rows.
  CovarianceResult covariance = {};  ///< Of standard errors, tests and limits.
  std::string covarianceFile = {};   ///< The file with the covariance matrix; empty for none.
  std::string diagnostics = {};      ///< The file with a row of diagnostics for each row.
  long long rowsDiagnosed = 0;       ///< Its rows.
  /// The largest Cook's distances, where they were asked for.
  std::optional<std::vector<InfluentialRecord>> influential = std::nullopt;
  std::optional<ValidationResult> validation = std::nullopt;
  std::optional<FitPlots> plots = std::nullopt;  ///< Where a report was asked for.
  std::vector<std::string> warnings;             ///< Sentences about anything suspicious.
  long statusCode = 0;  ///< Of the library: 0, or that of its last warning.
  std::string statusMessage;
};

}  // namespace qvhost
