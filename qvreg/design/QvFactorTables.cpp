#include "qvreg/design/QvFactorTables.h"

#include <algorithm>
#include <cstddef>

#include "qvreg/component/QvContentsBytes.h"

using QvCommon::QvHashKey;
using QvCommon::QvHashPair;
using QvCommon::QvHashtable;
using QvCommon::QvStatus;
using QvCommon::Record;

namespace {

/// Combinations of levels, of one effect and of all, that are found without hashing from the start.
constexpr std::size_t kFewCombinations = 65536;
constexpr std::size_t kFewOfAll = 4 * kFewCombinations;
/// Once they are known an array may have so many places for each.
constexpr std::size_t kPlacesPerCombination = 4;

std::size_t Index(int i) { return static_cast<std::size_t>(i); }

void SortByKey(QvFactorTables::PairList& pairs) {
  std::sort(pairs.begin(), pairs.end(), [](const QvHashPair<int>* a, const QvHashPair<int>* b) {
    return a->GetKey() < b->GetKey();
  });
}

}  // namespace

QvFactorTables::QvFactorTables(const std::vector<int>& factorVars,
                               const std::vector<int>& nCategories, int weightVar, int dependentVar,
                               int nDependentCategories, int firstCode, int offsetVar,
                               double offsetValue, QvConst::QvOffsetType offsetType)
    : QvFactorCounts(factorVars, nCategories, weightVar, dependentVar, nDependentCategories,
                     firstCode, offsetVar, offsetValue, offsetType),
      fFactorValues(factorVars.size()),
      fDependRegrWeights(HasDependentCounts() ? GetDependCountsPtr()->size() : 0, 0.0) {}

void QvFactorTables::SetModelEffectFactors(const std::vector<std::vector<int>>& effectFactors,
                                           const std::vector<int>& factorOffsets) {
  fModelEffectFactors = effectFactors;
  fNModelEffects = static_cast<int>(effectFactors.size());
  fFactorOffsets = factorOffsets;
  fParameterIndices.assign(effectFactors.size(), 0);
  fLocalEffectIndices.assign(effectFactors.size(), -1);
  SetFactorTables();
  fLocalParameterIndices.assign(Index(fNEffects), 0);
  fParametersPerEffect.assign(Index(fNEffects), 0);
  fParameterOffsets.assign(effectFactors.size(), 0);
}

void QvFactorTables::SetFactorTables() {
  fNEffects = 0;
  fConcatenatedFactors.clear();
  fFactorsPerEffect.clear();
  fEffectKeys.clear();
  fEffectTables.clear();
  fEffectPairs.clear();
  fModelEffectIndices.clear();
  fLocalFactorIndices.clear();
  for (int f = 0; f < GetNFactors(); ++f) {
    const std::size_t var = Index(FactorVars()[Index(f)]);
    if (var >= fLocalFactorIndices.size()) fLocalFactorIndices.resize(var + 1, 0);
    fLocalFactorIndices[var] = f;
  }
  fCumulativeFactors.assign(1, 0);
  for (int m = 0; m < fNModelEffects; ++m) {
    const std::vector<int>& factors = fModelEffectFactors[Index(m)];
    if (factors.empty()) continue;
    const auto nFactors = static_cast<int>(factors.size());
    fFactorsPerEffect.push_back(nFactors);
    fCumulativeFactors.push_back(fCumulativeFactors.back() + nFactors);
    fEffectKeys.emplace_back(nFactors);
    fEffectTables.push_back(std::make_unique<QvHashtable<int>>());
    fEffectPairs.push_back(std::make_unique<PairList>());
    for (const int var : factors) fConcatenatedFactors.push_back(fLocalFactorIndices[Index(var)]);
    fLocalEffectIndices[Index(m)] = fNEffects;
    fModelEffectIndices.push_back(m);
    ++fNEffects;
  }
  fbNumbered = false;
  fEffectNumbers.assign(fEffectKeys.size(), QvLevelNumbers());
  std::size_t left = kFewOfAll;
  for (int e = 0; e < fNEffects; ++e) {
    SetUpNumbers(e, std::min(kFewCombinations, left));
    left -= fEffectNumbers[Index(e)].GetSize();
  }
}

void QvFactorTables::SetUpNumbers(int localEffect, std::size_t most) {
  const auto first = fConcatenatedFactors.begin() + fCumulativeFactors[Index(localEffect)];
  const std::vector<int> factors(first, first + fFactorsPerEffect[Index(localEffect)]);
  std::vector<int> nLevels(factors.size());
  std::transform(factors.begin(), factors.end(), nLevels.begin(),
                 [this](int factor) { return GetNCategories(factor); });
  fEffectNumbers[Index(localEffect)].SetUp(factors, nLevels, most);
}

void QvFactorTables::SetCovariates(const std::vector<int>& covariateVars) {
  fCovariateVars = covariateVars;
  fCovariateMeans.assign(covariateVars.size(), 0.0);
  fColumnSizes.SetVariables(covariateVars);
  fMoved.assign(2 * covariateVars.size(), 0.0);
  fCovariateRuns.clear();
  for (std::size_t j = 0; j < covariateVars.size(); ++j) {
    const std::size_t var = Index(covariateVars[j]);
    const bool isNext = !fCovariateRuns.empty() &&
                        var == fCovariateRuns.back().fFirst + fCovariateRuns.back().fCount;
    if (!isNext) fCovariateRuns.push_back({j, var, 0});
    ++fCovariateRuns.back().fCount;
  }
  fbMeansComputed = false;
}

bool QvFactorTables::UpdateAll(const Record& record) { return UpdateValues(record.GetAll()); }

bool QvFactorTables::UpdateValues(const double* values) {
  MeanRows rows;
  const bool isRecorded = Update(values, rows);
  MoveMeans(rows);
  return isRecorded;
}

bool QvFactorTables::Update(const double* values, MeanRows& rows) {
  const double w = FrequencyWeight(values);
  const auto keep = [this](int factor, int category) { fFactorValues[Index(factor)] = category; };
  if (!CountFactors(values, w, keep)) return false;
  const int category = HasDependentCounts() ? CountDependent(values, w) : 0;
  if (category < 0) return false;
  RecordCombinations();
  fTotalFreqWeight += w;
  fSampleSize += static_cast<double>(RecordCount(values));
  const double regression = fRegrWeightVar >= 0 ? values[fRegrWeightVar] : 1.0;
  fTotalRegrWeight += w * regression;
  if (HasDependentCounts()) fDependRegrWeights[Index(category)] += w * regression;
  fColumnSizes.MeasureProducts(values);
  const double meanWeight = AddMeanWeight(w, regression);
  if (!(fMeanWeight > 0.0)) return true;
  rows.fValues[rows.fCount] = values;
  rows.fWeights[rows.fCount] = meanWeight;
  rows.fTotals[rows.fCount] = fMeanWeight;
  if (++rows.fCount == MeanRows::kMost) MoveMeans(rows);
  return true;
}

void QvFactorTables::RecordCombinations() {
  for (int e = 0; e < fNEffects; ++e) {
    QvLevelNumbers& numbers = fEffectNumbers[Index(e)];
    int* number = numbers.IsSetUp() ? numbers.Find(fFactorValues) : nullptr;
    if (number != nullptr && *number != QvLevelNumbers::kNone) continue;
    QvHashKey& key = FillKey(e, fFactorValues);
    UpdateHashtable(fEffectTables[Index(e)].get(), fEffectPairs[Index(e)].get(), key);
    if (number != nullptr) *number = 0;
  }
}

bool QvFactorTables::Merge(const QvFactorTables& other) {
  const bool isAlike =
      other.fModelEffectFactors == fModelEffectFactors && other.fCovariateVars == fCovariateVars;
  if (!isAlike || !MergeCounts(other)) return false;
  for (std::size_t e = 0; e < fEffectTables.size(); ++e) {
    for (const QvHashPair<int>* pair : *other.fEffectPairs[e]) {
      QvHashKey key = pair->GetKey();
      UpdateHashtable(fEffectTables[e].get(), fEffectPairs[e].get(), key);
    }
  }
  fTotalFreqWeight += other.fTotalFreqWeight;
  fTotalRegrWeight += other.fTotalRegrWeight;
  fSampleSize += other.fSampleSize;
  for (std::size_t c = 0; c < fDependRegrWeights.size(); ++c) {
    fDependRegrWeights[c] += other.fDependRegrWeights[c];
  }
  fColumnSizes.Merge(other.fColumnSizes);
  MergeMeans(other);
  return true;
}

std::vector<int> QvFactorTables::CombinationsOf(std::size_t localEffect) const {
  PairList pairs = *fEffectPairs[localEffect];
  SortByKey(pairs);
  std::vector<int> codes;
  for (const QvHashPair<int>* pair : pairs) {
    for (int i = 0; i < pair->GetKey().GetLength(); ++i) codes.push_back(pair->GetKey()[i]);
  }
  return codes;
}

bool QvFactorTables::TakeCombinations(const std::vector<int>& codes, std::size_t localEffect) {
  QvHashKey& key = fEffectKeys[localEffect];
  const auto length = Index(key.GetLength());
  if (codes.size() % length != 0) return false;
  const std::size_t first = Index(fCumulativeFactors[localEffect]);
  for (std::size_t begin = 0; begin < codes.size(); begin += length) {
    for (std::size_t i = 0; i < length; ++i) {
      const int code = codes[begin + i];
      if (code < 0 || code >= GetNCategories(fConcatenatedFactors[first + i])) return false;
      key[static_cast<int>(i)] = code;
    }
    UpdateHashtable(fEffectTables[localEffect].get(), fEffectPairs[localEffect].get(), key);
  }
  return true;
}

QvTableContents QvFactorTables::GetContents() const {
  QvTableContents contents;
  FillCounts(contents);
  for (std::size_t e = 0; e < fEffectTables.size(); ++e) {
    contents.fCombinations.push_back(CombinationsOf(e));
  }
  contents.fTotalFrequencyWeight = fTotalFreqWeight;
  contents.fTotalRegressionWeight = fTotalRegrWeight;
  contents.fSampleSize = fSampleSize;
  contents.fMeanWeight = fMeanWeight;
  contents.fMeanUnit = fMeanUnit.GetExponent();
  contents.fMeans = fCovariateMeans;
  contents.fDependentWeights = fDependRegrWeights;
  contents.fSizes = fColumnSizes.GetContents();
  return contents;
}

bool QvFactorTables::TakeContents(const QvTableContents& contents) {
  // No product of two positive weights is beyond these.
  constexpr int kLeastUnit = -2148;
  constexpr int kLargestUnit = 2046;
  const bool isAlike = contents.fCombinations.size() == fEffectTables.size() &&
                       contents.fMeanUnit >= kLeastUnit && contents.fMeanUnit <= kLargestUnit &&
                       contents.fMeans.size() == fCovariateMeans.size() &&
                       contents.fDependentWeights.size() == fDependRegrWeights.size();
  if (!isAlike || !TakeCounts(contents)) return false;
  for (std::size_t e = 0; e < fEffectTables.size(); ++e) {
    if (!TakeCombinations(contents.fCombinations[e], e)) return false;
  }
  fTotalFreqWeight = contents.fTotalFrequencyWeight;
  fTotalRegrWeight = contents.fTotalRegressionWeight;
  fSampleSize = contents.fSampleSize;
  fMeanWeight = contents.fMeanWeight;
  fMeanUnit = QvCommon::QvWeightUnit::FromExponent(contents.fMeanUnit);
  fCovariateMeans = contents.fMeans;
  fDependRegrWeights = contents.fDependentWeights;
  return fColumnSizes.TakeContents(contents.fSizes);
}

void QvFactorTables::Write(QvCommon::QvByteWriter& writer) const {
  WriteTables(GetContents(), writer);
}

void QvFactorTables::Read(QvCommon::QvByteReader& reader) {
  QvTableShape shape;
  shape.fNFactors = GetNFactors();
  shape.fbCategorical = HasDependentCounts();
  shape.fNEffects = fNEffects;
  QvTableContents contents;
  ReadTables(reader, shape, contents);
  if (!TakeContents(contents)) reader.Fail();
}

bool QvFactorTables::UpdateHashtable(QvHashtable<int>* table, PairList* pairs, QvHashKey& key) {
  if (table == nullptr || pairs == nullptr) return false;
  key.SetHashCode(key.ComputeHashCode());
  if (table->Find(key) != nullptr) return true;
  fbNumbered = false;
  auto ownKey = std::make_unique<QvHashKey>(key);
  auto value = std::make_unique<int>(0);
  table->Insert(ownKey, value);
  pairs->push_back(table->Find(key));
  return true;
}

int QvFactorTables::NumberCombinations(int localEffect, int first) {
  PairList& pairs = *fEffectPairs[Index(localEffect)];
  SortByKey(pairs);
  int next = first;
  QvLevelNumbers& numbers = fEffectNumbers[Index(localEffect)];
  if (!numbers.IsSetUp()) SetUpNumbers(localEffect, kPlacesPerCombination * pairs.size());
  const std::size_t begin = Index(fCumulativeFactors[Index(localEffect)]);
  std::vector<int> levels(Index(GetNFactors()));
  for (QvHashPair<int>* pair : pairs) {
    pair->GetValue() = next++;
    if (!numbers.IsSetUp()) continue;
    const QvHashKey& key = pair->GetKey();
    for (int i = 0; i < key.GetLength(); ++i) {
      levels[Index(fConcatenatedFactors[begin + Index(i)])] = key[i];
    }
    int* number = numbers.Find(levels);
    if (number != nullptr) *number = pair->GetValue();
  }
  fParametersPerEffect[Index(localEffect)] = next - first;
  return next;
}

int QvFactorTables::CreateParameterIndices() {
  std::fill(fParameterIndices.begin(), fParameterIndices.end(), 0);
  int next = 0;
  for (int m = 0; m < fNModelEffects; ++m) {
    fParameterOffsets[Index(m)] = next;
    const int e = fLocalEffectIndices[Index(m)];
    if (e < 0) {
      fParameterIndices[Index(m)] = next++;
    } else {
      next = NumberCombinations(e, next);
    }
  }
  fbNumbered = true;
  return next;
}

QvHashKey& QvFactorTables::FillKey(int localEffect, const std::vector<int>& factorValues) const {
  QvHashKey& key = fEffectKeys[Index(localEffect)];
  const int begin = fCumulativeFactors[Index(localEffect)];
  for (int i = 0; i < key.GetLength(); ++i) {
    key[i] = factorValues[Index(fConcatenatedFactors[Index(begin + i)])];
  }
  return key;
}

int QvFactorTables::GetParameterIndex(const QvHashtable<int>* table, QvHashKey& key) const {
  if (table == nullptr) return -1;
  key.SetHashCode(key.ComputeHashCode());
  const QvHashPair<int>* pair = table->Find(key);
  return pair == nullptr ? -1 : pair->GetValue();
}

int QvFactorTables::FindParameter(int localEffect, const std::vector<int>& factorValues) const {
  const QvLevelNumbers& numbers = fEffectNumbers[Index(localEffect)];
  if (fbNumbered && numbers.IsSetUp()) {
    const int* number = numbers.Find(factorValues);
    return number == nullptr ? -1 : *number;
  }
  return GetParameterIndex(fEffectTables[Index(localEffect)].get(),
                           FillKey(localEffect, factorValues));
}

const std::vector<int>& QvFactorTables::GetParameterIndices(const std::vector<int>& factorValues,
                                                            bool& ok) const {
  ok = true;
  for (int e = 0; e < fNEffects; ++e) {
    const int index = FindParameter(e, factorValues);
    fParameterIndices[Index(fModelEffectIndices[Index(e)])] = index;
    if (index < 0) ok = false;
  }
  return fParameterIndices;
}

const std::vector<int>& QvFactorTables::GetRowParameterIndices(const double* row, bool& ok) const {
  for (std::size_t f = 0; f < fFactorValues.size(); ++f) {
    fFactorValues[f] = CategoryIndex(row[fFactorOffsets[f]], FirstCode());
  }
  return GetParameterIndices(fFactorValues, ok);
}

const std::vector<int>& QvFactorTables::GetRowLocalParamIndices(const double* row, bool& ok) const {
  const std::vector<int>& indices = GetRowParameterIndices(row, ok);
  for (int e = 0; ok && e < fNEffects; ++e) {
    const std::size_t m = Index(fModelEffectIndices[Index(e)]);
    fLocalParameterIndices[Index(e)] = indices[m] - fParameterOffsets[m];
  }
  return fLocalParameterIndices;
}

int QvFactorTables::GetEffectParameterIndex(int modelEffect,
                                            const std::vector<int>& factorValues) const {
  const int e = fLocalEffectIndices[Index(modelEffect)];
  if (e < 0) return fParameterIndices[Index(modelEffect)];
  return FindParameter(e, factorValues);
}

bool QvFactorTables::GetParameterFactorValues(std::vector<int>& codes, int modelEffect,
                                              int localParameter) const {
  if (!IsModelEffect(modelEffect)) return false;
  const int e = fLocalEffectIndices[Index(modelEffect)];
  if (e < 0) {
    codes.clear();
    return true;
  }
  if (localParameter < 0 || localParameter >= fParametersPerEffect[Index(e)]) return false;
  const QvHashKey& key = (*fEffectPairs[Index(e)])[Index(localParameter)]->GetKey();
  codes.resize(Index(key.GetLength()));
  for (int i = 0; i < key.GetLength(); ++i) codes[Index(i)] = key[i] + FirstCode();
  return true;
}

long long QvFactorTables::CountParameters() const {
  long long count = 0;
  for (int m = 0; m < fNModelEffects; ++m) count += GetNEffectParameters(m);
  return count;
}

int QvFactorTables::GetNEffectParameters(int modelEffect) const {
  if (!IsModelEffect(modelEffect)) return 0;
  const int e = fLocalEffectIndices[Index(modelEffect)];
  return e < 0 ? 1 : fParametersPerEffect[Index(e)];
}

std::vector<int> QvFactorTables::GetUsedFactors() const {
  std::vector<int> factors = fConcatenatedFactors;
  std::sort(factors.begin(), factors.end());
  factors.erase(std::unique(factors.begin(), factors.end()), factors.end());
  return factors;
}

int QvFactorTables::GetIncompleteEffectIndex() const {
  double smallest = 1.0;
  int result = -1;
  for (int m = 0; m < fNModelEffects; ++m) {
    const std::vector<int>& factors = fModelEffectFactors[Index(m)];
    if (factors.empty()) continue;
    double possible = 1.0;
    for (const int var : factors) {
      possible *= GetNActiveCategories(fLocalFactorIndices[Index(var)]);
    }
    const double share = GetNEffectParameters(m) / possible;
    if (share < smallest) {
      smallest = share;
      result = m;
    }
  }
  return result;
}

QvStatus FillFactorTables(QvRecordPass& pass, QvFactorTables& tables, QvRecordCounts& counts) {
  QvFactorTables::MeanRows rows;
  const auto onRecord = [&](const double* values, QvRecordVerdict verdict, QvStatus&) {
    const long long n = tables.RecordCount(values);
    counts.fRead += n;
    if (verdict == QvRecordVerdict::kMissing) {
      counts.fMissing += n;
    } else if (verdict == QvRecordVerdict::kBadWeight) {
      counts.fBadWeight += n;
    } else if (!tables.Update(values, rows)) {
      counts.fOutOfRange += n;
    } else {
      counts.fUsed += n;
    }
    return true;
  };
  const QvStatus status = pass.Run(onRecord, [&](QvStatus&) {
    tables.MoveMeans(rows);
    return true;
  });
  if (!status.IsError() && counts.fUsed == 0) return {QvStatusCode::kNoRecords, false};
  return status;
}
