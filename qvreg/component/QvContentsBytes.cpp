#include "qvreg/component/QvContentsBytes.h"

#include <cstddef>
#include <limits>
#include <new>

#include "qvreg/component/QvPassMessages.h"
#include "qvreg/settings/QvSettingsBytes.h"

using QvCommon::QvByteReader;
using QvCommon::QvByteWriter;
using QvCommon::QvStatus;

namespace {

constexpr int kLargest = std::numeric_limits<int>::max();

void PutCounts(const QvTableContents::Counts& counts, QvByteWriter& writer) {
  writer.PutWord(counts.size());
  for (const auto& [weight, count] : counts) {
    writer.PutDouble(weight);
    writer.PutDouble(count);
  }
}

QvTableContents::Counts GetCounts(QvByteReader& reader) {
  constexpr std::size_t kPairSize = 16;
  QvTableContents::Counts counts(reader.GetCount(kPairSize));
  for (auto& [weight, count] : counts) {
    weight = reader.GetDouble();
    count = reader.GetDouble();
  }
  return counts;
}

void PutFlags(const std::vector<bool>& flags, QvByteWriter& writer) {
  for (const bool flag : flags) writer.PutBool(flag);
}

/// A finished matrix, to whose sums no more is added: what they would have lost to rounding is
/// none.
void PutTriangle(const std::vector<double>& elements, QvByteWriter& writer) {
  writer.PutDoubles(elements);
  writer.PutDoubles({});
}

void GetTriangle(QvByteReader& reader, std::vector<double>& elements) {
  elements = reader.GetDoubles();
  if (reader.GetWord() != 0) reader.Fail();
}

void PutTriangle(const std::optional<std::vector<double>>& elements, QvByteWriter& writer) {
  writer.PutBool(elements.has_value());
  if (elements) PutTriangle(*elements, writer);
}

void GetTriangle(QvByteReader& reader, std::optional<std::vector<double>>& elements) {
  if (reader.GetBool()) GetTriangle(reader, elements.emplace());
}

void PutSizes(const QvColumnSizeContents& sizes, QvByteWriter& writer) {
  writer.PutDoubles(sizes.fLargest);
  writer.PutWord(sizes.fProducts.size());
  for (const QvColumnSizeContents::Product& product : sizes.fProducts) {
    writer.PutDouble(product.fLargest);
    writer.PutDouble(product.fEnough);
    writer.PutBool(product.fbPlain);
    writer.PutBool(product.fbLarge);
    writer.PutInt(product.fMagnitude);
  }
}

void GetSizes(QvByteReader& reader, QvColumnSizeContents& sizes) {
  constexpr std::size_t kProductSize = 26;
  sizes.fLargest = reader.GetDoubles();
  sizes.fProducts.resize(reader.GetCount(kProductSize));
  for (QvColumnSizeContents::Product& product : sizes.fProducts) {
    product.fLargest = reader.GetDouble();
    product.fEnough = reader.GetDouble();
    product.fbPlain = reader.GetBool();
    product.fbLarge = reader.GetBool();
    product.fMagnitude = reader.GetInt();
  }
}

void PutRedundant(const std::vector<QvRedundantContents>& redundant, QvByteWriter& writer) {
  writer.PutInt(static_cast<std::int64_t>(redundant.size()));
  for (const QvRedundantContents& column : redundant) {
    writer.PutInt(column.fParameter);
    writer.PutInts(column.fKept);
    writer.PutDoubles(column.fCoefficients);
  }
}

void GetRedundant(QvByteReader& reader, std::vector<QvRedundantContents>& redundant) {
  constexpr std::size_t kLeastSize = 24;
  redundant.resize(reader.GetCount(kLeastSize));
  for (QvRedundantContents& column : redundant) {
    column.fParameter = reader.GetIntWithin(0, kLargest);
    column.fKept = reader.GetInts();
    column.fCoefficients = reader.GetDoubles();
  }
}

/// Calls visit(number) for each of the numbers that end what a linear model reports.
template <typename Contents, typename Visit>
void ForEachFitNumber(Contents& linear, Visit&& visit) {
  for (auto* number : {&linear.fResidualSum, &linear.fTotalSum, &linear.fMultipleRSquare,
                       &linear.fRootMeanSquareError, &linear.fScaledError, &linear.fScaledTotal}) {
    visit(*number);
  }
}

void PutLinear(const QvLinearContents& linear, QvByteWriter& writer) {
  WriteEstimates(linear.fEstimates, writer);
  PutTriangle(linear.fCovariance, writer);
  writer.PutInt(linear.fRecordsAdded);
  for (const bool flag : {linear.fbProductsRounded, linear.fbProductsUsual, linear.fbWeightsFinite,
                          linear.fbDependentsFinite}) {
    writer.PutBool(flag);
  }
  PutFlags(linear.fKept, writer);
  PutRedundant(linear.fRedundant, writer);
  PutTriangle(linear.fScaledCovariance, writer);
  writer.PutBool(linear.fbDependentFinite);
  writer.PutInt(linear.fWeightedRecords);
  ForEachFitNumber(linear, [&](double number) { writer.PutDouble(number); });
}

void GetLinear(QvByteReader& reader, QvLinearContents& linear) {
  ReadEstimates(reader, linear.fEstimates);
  GetTriangle(reader, linear.fCovariance);
  linear.fRecordsAdded = reader.GetInt();
  for (bool* flag : {&linear.fbProductsRounded, &linear.fbProductsUsual, &linear.fbWeightsFinite,
                     &linear.fbDependentsFinite}) {
    *flag = reader.GetBool();
  }
  linear.fKept = reader.GetFlags(linear.fEstimates.fEstimates.size() + 1);
  GetRedundant(reader, linear.fRedundant);
  GetTriangle(reader, linear.fScaledCovariance);
  linear.fbDependentFinite = reader.GetBool();
  linear.fWeightedRecords = reader.GetInt();
  ForEachFitNumber(linear, [&](double& number) { number = reader.GetDouble(); });
}

/// Calls visit(number) for each of the doubles of the summary.
template <typename Summary, typename Visit>
void ForEachNumber(Summary& summary, Visit&& visit) {
  for (auto* number :
       {&summary.fInitialLL, &summary.fFinalLL, &summary.fLLChange, &summary.fParameterChange,
        &summary.fCoxSnellRSquare, &summary.fNagelkerkeRSquare, &summary.fMcFaddenRSquare}) {
    visit(*number);
  }
}

void PutSummary(const QvOptimizationSummary& summary, QvByteWriter& writer) {
  for (const int number :
       {static_cast<int>(summary.fOutcome), summary.fIterations, summary.fStepHalvings}) {
    writer.PutInt(number);
  }
  ForEachNumber(summary, [&](double number) { writer.PutDouble(number); });
}

void GetSummary(QvByteReader& reader, QvOptimizationSummary& summary) {
  summary.fOutcome =
      static_cast<QvOptimizationOutcome>(reader.GetIntWithin(kOptContinue, kOptNoIterations));
  summary.fIterations = reader.GetIntWithin(0, kLargest);
  summary.fStepHalvings = reader.GetIntWithin(0, kLargest);
  ForEachNumber(summary, [&](double& number) { number = reader.GetDouble(); });
}

/// The number of rows of a square table.
std::size_t RowsOf(const std::vector<double>& table) {
  std::size_t rows = 0;
  while (rows * rows < table.size()) ++rows;
  return rows;
}

void PutLogistic(const QvLogisticContents& logistic, QvByteWriter& writer) {
  WriteEstimates(logistic.fEstimates, writer);
  writer.PutInt(logistic.fRecordsAdded);
  PutFlags(logistic.fNonFinite, writer);
  PutRedundant(logistic.fRedundant, writer);
  PutTriangle(logistic.fCovariance, writer);
  PutTriangle(logistic.fScaledCovariance, writer);
  writer.PutInt(static_cast<std::int64_t>(RowsOf(logistic.fClassification)));
  for (const double cell : logistic.fClassification) writer.PutDouble(cell);
  writer.PutDouble(logistic.fClassifiedWeight);
  writer.PutBool(logistic.fbAnyClassified);
  PutSummary(logistic.fOptimization, writer);
}

void GetLogistic(QvByteReader& reader, QvLogisticContents& logistic) {
  constexpr int kMostCategories = 46341;  // one more than there may be parameters
  ReadEstimates(reader, logistic.fEstimates);
  logistic.fRecordsAdded = reader.GetInt();
  logistic.fNonFinite = reader.GetFlags(logistic.fEstimates.fKept.size());
  GetRedundant(reader, logistic.fRedundant);
  GetTriangle(reader, logistic.fCovariance);
  GetTriangle(reader, logistic.fScaledCovariance);
  const auto rows = static_cast<std::size_t>(reader.GetIntWithin(0, kMostCategories));
  logistic.fClassification = reader.GetDoubles(rows * rows);
  logistic.fClassifiedWeight = reader.GetDouble();
  logistic.fbAnyClassified = reader.GetBool();
  GetSummary(reader, logistic.fOptimization);
}

QvTableShape ShapeOf(const QvSettingsContents& settings) {
  QvTableShape shape;
  shape.fNFactors = static_cast<int>(settings.fFactors.size());
  shape.fbCategorical = settings.fLogistic.has_value();
  for (const QvEffectContents& effect : settings.fEffects) {
    if (!effect.fFactors.empty()) ++shape.fNEffects;
  }
  return shape;
}

}  // namespace

std::vector<bool> FlagsOf(const QvCommon::QvBitSet& bits) {
  std::vector<bool> flags;
  flags.reserve(static_cast<std::size_t>(bits.Size()));
  for (int i = 0; i < bits.Size(); ++i) flags.push_back(bits.IsIn(i));
  return flags;
}

QvCommon::QvBitSet BitsOf(const std::vector<bool>& flags) {
  QvCommon::QvBitSet bits;
  if (!bits.Resize(static_cast<int>(flags.size()), false)) throw std::bad_alloc();
  int place = 0;
  for (const bool flag : flags) bits.Set(place++, flag);
  return bits;
}

void WriteTables(const QvTableContents& tables, QvByteWriter& writer) {
  for (const QvTableContents::Counts& counts : tables.fFactorCounts) PutCounts(counts, writer);
  if (!tables.fDependentCounts.empty()) {
    PutCounts(tables.fDependentCounts, writer);
    PutCounts(tables.fOffsetCounts, writer);
  }
  for (const std::vector<int>& codes : tables.fCombinations) writer.PutInts(codes);
  for (const double total : {tables.fTotalFrequencyWeight, tables.fTotalRegressionWeight,
                             tables.fSampleSize, tables.fMeanWeight}) {
    writer.PutDouble(total);
  }
  writer.PutInt(tables.fMeanUnit);
  writer.PutDoubles(tables.fMeans);
  writer.PutDoubles(tables.fDependentWeights);
  PutSizes(tables.fSizes, writer);
}

void ReadTables(QvByteReader& reader, const QvTableShape& shape, QvTableContents& tables) {
  tables.fFactorCounts.resize(static_cast<std::size_t>(shape.fNFactors));
  tables.fCombinations.resize(static_cast<std::size_t>(shape.fNEffects));
  for (QvTableContents::Counts& counts : tables.fFactorCounts) counts = GetCounts(reader);
  if (shape.fbCategorical) {
    tables.fDependentCounts = GetCounts(reader);
    tables.fOffsetCounts = GetCounts(reader);
  }
  for (std::vector<int>& codes : tables.fCombinations) codes = reader.GetInts();
  for (double* total : {&tables.fTotalFrequencyWeight, &tables.fTotalRegressionWeight,
                        &tables.fSampleSize, &tables.fMeanWeight}) {
    *total = reader.GetDouble();
  }
  tables.fMeanUnit = reader.GetIntWithin(-kLargest, kLargest);
  tables.fMeans = reader.GetDoubles();
  tables.fDependentWeights = reader.GetDoubles();
  GetSizes(reader, tables.fSizes);
}

void WriteEstimates(const QvLinearEstimates& estimates, QvByteWriter& writer) {
  writer.PutDoubles(estimates.fEstimates);
  writer.PutBool(estimates.fbRowsUsual);
  writer.PutBool(!estimates.fNonFinite.empty());
  PutFlags(estimates.fNonFinite, writer);
}

void ReadEstimates(QvByteReader& reader, QvLinearEstimates& estimates) {
  estimates.fEstimates = reader.GetDoubles();
  estimates.fbRowsUsual = reader.GetBool();
  if (reader.GetBool()) estimates.fNonFinite = reader.GetFlags(estimates.fEstimates.size());
}

void WriteEstimates(const QvLogisticEstimates& estimates, QvByteWriter& writer) {
  writer.PutInt(static_cast<std::int64_t>(estimates.fKept.size()));
  PutFlags(estimates.fKept, writer);
  writer.PutDoubles(estimates.fEstimates);
}

void ReadEstimates(QvByteReader& reader, QvLogisticEstimates& estimates) {
  estimates.fKept = reader.GetFlags(reader.GetCount(1));
  estimates.fEstimates = reader.GetDoubles();
}

void WriteModel(const QvModelContents& model, QvByteWriter& writer) {
  WriteSettings(model.fSettings, writer);
  WriteTables(model.fTables, writer);
  if (model.fSettings.fLogistic) {
    PutLogistic(model.fLogistic, writer);
  } else {
    PutLinear(model.fLinear, writer);
  }
  WriteCounts(model.fRecordCounts, writer);
  writer.PutInt(model.fRecordCounts.fUsedLater);
  WriteStatus(model.fFitStatus, writer);
  writer.PutInt(static_cast<std::int64_t>(model.fWarnings.size()));
  for (const QvStatus& warning : model.fWarnings) WriteStatus(warning, writer);
  WriteStatus(model.fStatus, writer);
}

void ReadModel(QvByteReader& reader, QvModelContents& model) {
  ReadSettings(reader, model.fSettings);
  ReadTables(reader, ShapeOf(model.fSettings), model.fTables);
  if (model.fSettings.fLogistic) {
    GetLogistic(reader, model.fLogistic);
  } else {
    GetLinear(reader, model.fLinear);
  }
  ReadCounts(reader, model.fRecordCounts);
  model.fRecordCounts.fUsedLater = reader.GetInt();
  model.fFitStatus = ReadStatus(reader);
  const int nWarnings = reader.GetIntWithin(0, kLargest);
  for (int i = 0; i < nWarnings && !reader.HasFailed(); ++i) {
    model.fWarnings.push_back(ReadStatus(reader));
  }
  model.fStatus = ReadStatus(reader);
}
