#pragma once

#include <cstddef>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "qvreg/common/QvStatus.h"
#include "qvreg/component/QvModelContents.h"
#include "qvreg/component/QvOptimizationSummary.h"

/// \file
/// The names of all numbers of a QvModelContents, and their order, for formats that name them. A
/// description gives each number and its name to `fields`, which writes or reads it:
///
///     fields(name, value);                   // a number, a truth value, or a vector of them
///     fields.Part(name, value, describe);    // what `describe(value, fields)` describes
///     fields.Parts(name, values, describe);  // the same of each of several, or of an optional
///     fields.Refuse(name, why);              // of a reader: what it read cannot be
///
/// What is written is constant, and what is read empty before.

/// Descriptions of a model's numbers, by their names.
namespace QvContentsFields {

/// Whether a value is written, not read.
template <typename Value>
inline constexpr bool IsWritten = std::is_const_v<std::remove_reference_t<Value>>;

/// What a writer of fields does with several parts: one Part of each.
template <typename Writer>
class PartsWriter {
 public:
  /// `describe` describes each of the `values` in a part called `name`.
  template <typename Values, typename Describe>
  void Parts(const char* name, const Values& values, Describe&& describe) {
    for (const auto& value : values) Self().Part(name, value, describe);
  }
  /// The same of a `value`, if there is one: `name`, `describe`.
  template <typename Value, typename Describe>
  void Parts(const char* name, const std::optional<Value>& value, Describe&& describe) {
    if (value) Self().Part(name, *value, describe);
  }

 private:
  Writer& Self() { return static_cast<Writer&>(*this); }
};

/// And a reader: as many as there are, by its IsNext(name).
template <typename Reader>
class PartsReader {
 public:
  /// `values` receive what `describe` reads from each of the parts called `name` that follow.
  template <typename Value, typename Describe>
  void Parts(const char* name, std::vector<Value>& values, Describe&& describe) {
    while (Self().IsNext(name)) Self().Part(name, values.emplace_back(), describe);
  }
  /// `value` receives what `describe` reads from a part called `name`, if that follows.
  template <typename Value, typename Describe>
  void Parts(const char* name, std::optional<Value>& value, Describe&& describe) {
    if (Self().IsNext(name)) Self().Part(name, value.emplace(), describe);
  }

 private:
  Reader& Self() { return static_cast<Reader&>(*this); }
};

/// An effect: QvEffectContents.
inline constexpr auto DescribeEffect = [](auto& effect, auto& fields) {
  fields("factors", effect.fFactors);
  fields("nesting", effect.fLevels);
  fields("covariates", effect.fCovariates);
  fields("factorsInParentheses", effect.fbFactorsInParens);
};

/// What a logistic model adds: QvLogisticChoices.
inline constexpr auto DescribeLogistic = [](auto& logistic, auto& fields) {
  fields("reference", logistic.fReference);
  fields("categories", logistic.fNCategories);
  fields("logLikelihoodCriterion", logistic.fLLCriterion);
  fields("parameterCriterion", logistic.fParameterCriterion);
  fields("maxIterations", logistic.fMaxIterations);
  fields("maxStepHalvings", logistic.fMaxStepHalvings);
  fields("separationFrom", logistic.fStartingIteration);
  fields("reportEvery", logistic.fIterationFrequency);
  fields("absoluteLogLikelihood", logistic.fbLLAbsolute);
  fields("absoluteParameter", logistic.fbParameterAbsolute);
  fields("inMemory", logistic.fbInMemory);
  fields("start", logistic.fStartingValues);
};

/// QvSettingsContents.
inline constexpr auto DescribeSettings = [](auto& settings, auto& fields) {
  fields("roles", settings.fRoles);
  fields("dependent", settings.fDependent);
  fields("factors", settings.fFactors);
  fields("levels", settings.fFactorSizes);
  fields("covariates", settings.fCovariates);
  fields("frequencyWeight", settings.fFrequencyWeight);
  fields("regressionWeight", settings.fRegressionWeight);
  fields("intercept", settings.fbIntercept);
  fields("tolerance", settings.fTolerance);
  fields("confidence", settings.fConfidenceLevel);
  fields("degreesOfFreedom", settings.fDF);
  fields("testType", settings.fTestType);
  fields("pAdjustment", settings.fPAdjustment);
  fields("covarianceType", settings.fCovbType);
  fields("refined", settings.fbRefined);
  fields("maxRefinements", settings.fMaxRefinements);
  fields.Parts("effect", settings.fEffects, DescribeEffect);
  fields.Parts("logistic", settings.fLogistic, DescribeLogistic);
};

/// Pairs as two lists, of weights and of records.
inline constexpr auto DescribeCounts = [](auto& counts, auto& fields) {
  std::vector<double> weights;
  std::vector<double> records;
  for (const auto& [weight, count] : counts) {
    weights.push_back(weight);
    records.push_back(count);
  }
  fields("weights", weights);
  fields("records", records);
  if constexpr (!IsWritten<decltype(counts)>) {
    if (weights.size() != records.size()) {
      return fields.Refuse("weights", "has lists of other lengths");
    }
    for (std::size_t i = 0; i < weights.size(); ++i) counts.emplace_back(weights[i], records[i]);
  }
};

/// The level combinations of an effect.
inline constexpr auto DescribeCodes = [](auto& codes, auto& fields) { fields("codes", codes); };

/// QvColumnSizeContents::Product.
inline constexpr auto DescribeProduct = [](auto& product, auto& fields) {
  fields("largest", product.fLargest);
  fields("enough", product.fEnough);
  fields("plain", product.fbPlain);
  fields("large", product.fbLarge);
  fields("magnitude", product.fMagnitude);
};

/// QvTableContents.
inline constexpr auto DescribeTables = [](auto& tables, auto& fields) {
  fields.Parts("factor", tables.fFactorCounts, DescribeCounts);
  fields.Part("dependent", tables.fDependentCounts, DescribeCounts);
  fields.Part("offsets", tables.fOffsetCounts, DescribeCounts);
  fields.Parts("combinations", tables.fCombinations, DescribeCodes);
  fields("frequencyWeight", tables.fTotalFrequencyWeight);
  fields("regressionWeight", tables.fTotalRegressionWeight);
  fields("records", tables.fSampleSize);
  fields("meanWeight", tables.fMeanWeight);
  fields("meanUnit", tables.fMeanUnit);
  fields("means", tables.fMeans);
  fields("dependentWeights", tables.fDependentWeights);
  fields("largest", tables.fSizes.fLargest);
  fields.Parts("product", tables.fSizes.fProducts, DescribeProduct);
};

/// QvRedundantContents.
inline constexpr auto DescribeRedundant = [](auto& redundant, auto& fields) {
  fields("parameter", redundant.fParameter);
  fields("dependsOn", redundant.fKept);
  fields("coefficients", redundant.fCoefficients);
};

/// QvLinearContents, but for what DescribeLinearNumbers has.
inline constexpr auto DescribeLinear = [](auto& linear, auto& fields) {
  fields("usualRows", linear.fEstimates.fbRowsUsual);
  fields("nonFinite", linear.fEstimates.fNonFinite);
  fields("products", linear.fRecordsAdded);
  fields("roundedProducts", linear.fbProductsRounded);
  fields("usualProducts", linear.fbProductsUsual);
  fields("finiteWeights", linear.fbWeightsFinite);
  fields("finiteDependents", linear.fbDependentsFinite);
  fields.Parts("redundant", linear.fRedundant, DescribeRedundant);
  fields("finiteFit", linear.fbDependentFinite);
  fields("weightedRecords", linear.fWeightedRecords);
  fields("residualSum", linear.fResidualSum);
  fields("totalSum", linear.fTotalSum);
  fields("rSquare", linear.fMultipleRSquare);
  fields("rootMeanSquareError", linear.fRootMeanSquareError);
  fields("scaledError", linear.fScaledError);
  fields("scaledTotal", linear.fScaledTotal);
};

/// An outcome by its number.
inline constexpr auto DescribeOutcome = [](auto& outcome, auto& fields) {
  int number = static_cast<int>(outcome);
  fields("outcome", number);
  if constexpr (!IsWritten<decltype(outcome)>) {
    if (number < kOptContinue || number > kOptNoIterations) {
      return fields.Refuse("outcome", "names no outcome");
    }
    outcome = static_cast<QvOptimizationOutcome>(number);
  }
};

/// QvOptimizationSummary.
inline constexpr auto DescribeOptimization = [](auto& summary, auto& fields) {
  DescribeOutcome(summary.fOutcome, fields);
  fields("iterations", summary.fIterations);
  fields("stepHalvings", summary.fStepHalvings);
  fields("initialLogLikelihood", summary.fInitialLL);
  fields("finalLogLikelihood", summary.fFinalLL);
  fields("logLikelihoodChange", summary.fLLChange);
  fields("parameterChange", summary.fParameterChange);
  fields("coxSnell", summary.fCoxSnellRSquare);
  fields("nagelkerke", summary.fNagelkerkeRSquare);
  fields("mcFadden", summary.fMcFaddenRSquare);
};

/// QvLogisticContents, but for what DescribeLogisticNumbers has.
inline constexpr auto DescribeLogisticFit = [](auto& logistic, auto& fields) {
  fields("products", logistic.fRecordsAdded);
  fields("nonFinite", logistic.fNonFinite);
  fields.Parts("redundant", logistic.fRedundant, DescribeRedundant);
  fields("classification", logistic.fClassification);
  fields("classifiedWeight", logistic.fClassifiedWeight);
  fields("anyClassified", logistic.fbAnyClassified);
  fields.Part("optimization", logistic.fOptimization, DescribeOptimization);
};

/// QvRecordCounts.
inline constexpr auto DescribeRecords = [](auto& counts, auto& fields) {
  fields("read", counts.fRead);
  fields("used", counts.fUsed);
  fields("missing", counts.fMissing);
  fields("badWeight", counts.fBadWeight);
  fields("outOfRange", counts.fOutOfRange);
  fields("usedLater", counts.fUsedLater);
};

/// A status as lists: the numbers attached to it, each behind its place.
class StatusNumbers {
 public:
  /// Those of a `status`.
  explicit StatusNumbers(const QvCommon::QvStatus& status)
      : code(status.GetCode()), isWarning(status.IsWarning()) {
    for (unsigned i = 0; i < QvCommon::QvStatus::kMaxData; ++i) {
      long discrete = 0;
      double scale = 0.0;
      if (status.GetDiscreteDatum(i, discrete)) {
        places.push_back(static_cast<int>(i));
        wholes.push_back(discrete);
      }
      if (status.GetScaleDatum(i, scale)) {
        realPlaces.push_back(static_cast<int>(i));
        reals.push_back(scale);
      }
    }
  }

  /// Makes `to` the status; false, and `to` as it was, where there is none.
  bool To(QvCommon::QvStatus& to) const {
    constexpr long long kLargestCode = 9999;
    bool isStatus = code >= 0 && code <= kLargestCode && (code != 0 || !isWarning) &&
                    places.size() == wholes.size() && realPlaces.size() == reals.size();
    QvCommon::QvStatus status(static_cast<long>(code), isWarning);
    for (std::size_t i = 0; isStatus && i < places.size(); ++i) {
      isStatus =
          status.SetDiscreteDatum(static_cast<unsigned>(places[i]), static_cast<long>(wholes[i]));
    }
    for (std::size_t i = 0; isStatus && i < reals.size(); ++i) {
      isStatus = status.SetScaleDatum(static_cast<unsigned>(realPlaces[i]), reals[i]);
    }
    if (isStatus) to = status;
    return isStatus;
  }

  long long code = 0;             ///< The code.
  bool isWarning = false;         ///< Whether it is a warning.
  std::vector<int> places;        ///< Of whole numbers.
  std::vector<long long> wholes;  ///< As many.
  std::vector<int> realPlaces;    ///< Of other numbers.
  std::vector<double> reals;      ///< As many.
};

/// A QvStatus.
inline constexpr auto DescribeStatus = [](auto& status, auto& fields) {
  StatusNumbers numbers(status);
  fields("code", numbers.code);
  fields("warning", numbers.isWarning);
  fields("wholePlaces", numbers.places);
  fields("wholeNumbers", numbers.wholes);
  fields("realPlaces", numbers.realPlaces);
  fields("realNumbers", numbers.reals);
  if constexpr (!IsWritten<decltype(status)>) {
    if (!numbers.To(status)) fields.Refuse("code", "is that of no status");
  }
};

/// All of `contents` but estimates, covariances, and which parameters are kept, to `fields`.
template <typename Contents, typename Fields>
void DescribeModel(Contents& contents, Fields& fields) {
  fields.Part("settings", contents.fSettings, DescribeSettings);
  fields.Part("tables", contents.fTables, DescribeTables);
  if (contents.fSettings.fLogistic) {
    fields.Part("logisticFit", contents.fLogistic, DescribeLogisticFit);
  } else {
    fields.Part("linearFit", contents.fLinear, DescribeLinear);
  }
  fields.Part("recordCounts", contents.fRecordCounts, DescribeRecords);
  fields.Part("fitStatus", contents.fFitStatus, DescribeStatus);
  fields.Parts("warning", contents.fWarnings, DescribeStatus);
  fields.Part("status", contents.fStatus, DescribeStatus);
}

/// A lower triangle.
inline constexpr auto DescribeTriangle = [](auto& elements, auto& fields) {
  fields("elements", elements);
};

/// The rest of a linear model: which parameters are kept, the estimates, and their covariances.
inline constexpr auto DescribeLinearNumbers = [](auto& linear, auto& fields) {
  fields("kept", linear.fKept);
  fields("estimates", linear.fEstimates.fEstimates);
  fields("covariance", linear.fCovariance);
  fields.Parts("dividedCovariance", linear.fScaledCovariance, DescribeTriangle);
};

/// The same of a logistic model.
inline constexpr auto DescribeLogisticNumbers = [](auto& logistic, auto& fields) {
  fields("kept", logistic.fEstimates.fKept);
  fields("estimates", logistic.fEstimates.fEstimates);
  fields.Parts("covariance", logistic.fCovariance, DescribeTriangle);
  fields.Parts("dividedCovariance", logistic.fScaledCovariance, DescribeTriangle);
};

/// That part of `contents`, to `fields`.
template <typename Contents, typename Fields>
void DescribeNumbers(Contents& contents, Fields& fields) {
  if (contents.fSettings.fLogistic) {
    fields.Part("numbers", contents.fLogistic, DescribeLogisticNumbers);
  } else {
    fields.Part("numbers", contents.fLinear, DescribeLinearNumbers);
  }
}

}  // namespace QvContentsFields
