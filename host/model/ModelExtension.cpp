#include "host/model/ModelExtension.h"

#include <string>
#include <vector>

#include "host/model/ExtensionFields.h"
#include "qvreg/common/QvStatus.h"

namespace qvhost {
namespace {

constexpr auto DescribeEffect = [](auto& effect, auto& fields) {
  fields("factors", effect.fFactors);
  fields("nesting", effect.fLevels);
  fields("covariates", effect.fCovariates);
  fields("factorsInParentheses", effect.fbFactorsInParens);
};

constexpr auto DescribeLogistic = [](auto& logistic, auto& fields) {
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

constexpr auto DescribeSettings = [](auto& settings, auto& fields) {
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

/// Pairs as two lists.
class CountColumns {
 public:
  CountColumns() = default;
  explicit CountColumns(const QvTableContents::Counts& counts) {
    for (const auto& [weight, count] : counts) {
      weights.push_back(weight);
      records.push_back(count);
    }
  }

  [[nodiscard]] QvTableContents::Counts Counts(const char* name) const {
    if (weights.size() != records.size()) {
      RefuseElement(std::string("Extension '") + name + "'", "has lists of other lengths");
    }
    QvTableContents::Counts counts;
    for (std::size_t i = 0; i < weights.size(); ++i) counts.emplace_back(weights[i], records[i]);
    return counts;
  }

  std::vector<double> weights;
  std::vector<double> records;
};

constexpr auto DescribeColumns = [](auto& columns, auto& fields) {
  fields("weights", columns.weights);
  fields("records", columns.records);
};

void DescribeCounts(const QvTableContents::Counts& counts, ExtensionWriter& fields) {
  const CountColumns columns(counts);
  DescribeColumns(columns, fields);
}

void DescribeCounts(QvTableContents::Counts& counts, ExtensionReader& fields) {
  CountColumns columns;
  DescribeColumns(columns, fields);
  counts = columns.Counts("weights");
}

constexpr auto DescribeCountList = [](auto& counts, auto& fields) {
  DescribeCounts(counts, fields);
};

constexpr auto DescribeCodes = [](auto& codes, auto& fields) { fields("codes", codes); };

constexpr auto DescribeProduct = [](auto& product, auto& fields) {
  fields("largest", product.fLargest);
  fields("enough", product.fEnough);
  fields("plain", product.fbPlain);
  fields("large", product.fbLarge);
  fields("magnitude", product.fMagnitude);
};

constexpr auto DescribeTables = [](auto& tables, auto& fields) {
  fields.Parts("factor", tables.fFactorCounts, DescribeCountList);
  fields.Part("dependent", tables.fDependentCounts, DescribeCountList);
  fields.Part("offsets", tables.fOffsetCounts, DescribeCountList);
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

constexpr auto DescribeRedundant = [](auto& redundant, auto& fields) {
  fields("parameter", redundant.fParameter);
  fields("dependsOn", redundant.fKept);
  fields("coefficients", redundant.fCoefficients);
};

constexpr auto DescribeLinear = [](auto& linear, auto& fields) {
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
void DescribeOutcome(QvOptimizationOutcome outcome, ExtensionWriter& fields) {
  fields("outcome", static_cast<int>(outcome));
}

void DescribeOutcome(QvOptimizationOutcome& outcome, ExtensionReader& fields) {
  int number = 0;
  fields("outcome", number);
  if (number < kOptContinue || number > kOptNoIterations) {
    RefuseElement("Extension 'outcome'", "names no outcome");
  }
  outcome = static_cast<QvOptimizationOutcome>(number);
}

constexpr auto DescribeOptimization = [](auto& summary, auto& fields) {
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

constexpr auto DescribeLogisticFit = [](auto& logistic, auto& fields) {
  fields("products", logistic.fRecordsAdded);
  fields("nonFinite", logistic.fNonFinite);
  fields.Parts("redundant", logistic.fRedundant, DescribeRedundant);
  fields("classification", logistic.fClassification);
  fields("classifiedWeight", logistic.fClassifiedWeight);
  fields("anyClassified", logistic.fbAnyClassified);
  fields.Part("optimization", logistic.fOptimization, DescribeOptimization);
};

constexpr auto DescribeRecords = [](auto& counts, auto& fields) {
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
  StatusNumbers() = default;
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

  [[nodiscard]] QvCommon::QvStatus Status() const {
    constexpr long long kLargestCode = 9999;
    bool isStatus = code >= 0 && code <= kLargestCode && places.size() == wholes.size() &&
                    realPlaces.size() == reals.size();
    QvCommon::QvStatus status(static_cast<long>(code), isWarning);
    for (std::size_t i = 0; isStatus && i < places.size(); ++i) {
      isStatus =
          status.SetDiscreteDatum(static_cast<unsigned>(places[i]), static_cast<long>(wholes[i]));
    }
    for (std::size_t i = 0; isStatus && i < reals.size(); ++i) {
      isStatus = status.SetScaleDatum(static_cast<unsigned>(realPlaces[i]), reals[i]);
    }
    if (!isStatus) RefuseElement("Extension 'code'", "is that of no status");
    return status;
  }

  long long code = 0;
  bool isWarning = false;
  std::vector<int> places;
  std::vector<long long> wholes;
  std::vector<int> realPlaces;
  std::vector<double> reals;
};

constexpr auto DescribeNumbers = [](auto& status, auto& fields) {
  fields("code", status.code);
  fields("warning", status.isWarning);
  fields("wholePlaces", status.places);
  fields("wholeNumbers", status.wholes);
  fields("realPlaces", status.realPlaces);
  fields("realNumbers", status.reals);
};

void DescribeStatus(const QvCommon::QvStatus& status, ExtensionWriter& fields) {
  const StatusNumbers numbers(status);
  DescribeNumbers(numbers, fields);
}

void DescribeStatus(QvCommon::QvStatus& status, ExtensionReader& fields) {
  StatusNumbers numbers;
  DescribeNumbers(numbers, fields);
  status = numbers.Status();
}

constexpr auto DescribeAnyStatus = [](auto& status, auto& fields) {
  DescribeStatus(status, fields);
};

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
  fields.Part("fitStatus", contents.fFitStatus, DescribeAnyStatus);
  fields.Parts("warning", contents.fWarnings, DescribeAnyStatus);
  fields.Part("status", contents.fStatus, DescribeAnyStatus);
}

}  // namespace

void WriteModelExtensions(pugi::xml_node parent, const QvModelContents& contents) {
  ExtensionWriter writer(parent);
  DescribeModel(contents, writer);
}

pugi::xml_node ReadModelExtensions(pugi::xml_node first, QvModelContents& contents) {
  ExtensionReader reader(first);
  DescribeModel(contents, reader);
  return reader.Next();
}

}  // namespace qvhost
