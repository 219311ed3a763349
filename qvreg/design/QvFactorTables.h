#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "qvreg/common/QvBytes.h"
#include "qvreg/common/QvScaledProduct.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/Record.h"
#include "qvreg/data/QvRecordPass.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/design/QvColumnSizes.h"
#include "qvreg/design/QvFactorCounts.h"
#include "qvreg/design/QvHashtable.h"
#include "qvreg/design/QvLevelNumbers.h"

/// Maps factor level combinations to parameter indices. During a first pass it records, for every
/// model effect with factors, each combination that occurs, and it totals weights and averages
/// covariates; CreateParameterIndices then numbers the parameters: one per effect without factors,
/// one per combination seen of every other, in lexicographic order of the codes, the effect's first
/// factor most significant.
///
/// Calling order: SetModelEffectFactors, SetCovariates, SetEffectCovariates, SetRegrWeightVar,
/// UpdateAll per valid record, CreateParameterIndices, look-ups. Owns its tables. Used from one
/// thread at a time: even const look-ups share scratch space, and a returned reference is valid
/// until the next look-up.
class QvFactorTables : public QvFactorCounts {
 public:
  using PairList = std::vector<QvCommon::QvHashPair<int>*>;

  /// As QvFactorCounts.
  QvFactorTables(const std::vector<int>& factorVars, const std::vector<int>& nCategories,
                 int weightVar, int dependentVar, int nDependentCategories, int firstCode,
                 int offsetVar, double offsetValue, QvConst::QvOffsetType offsetType);
  QvFactorTables(const QvFactorTables&) = delete;
  QvFactorTables& operator=(const QvFactorTables&) = delete;

  virtual ~QvFactorTables() = default;
  /// Adds a record that the validator accepted; false when a category is out of range, and then
  /// the record is not counted (the counts of its earlier factors stay).
  virtual bool UpdateAll(const QvCommon::Record& record);
  /// The same for a record's values.
  bool UpdateValues(const double* values);
  /// Records that were counted and are not yet in the means.
  struct MeanRows {
    static constexpr std::size_t kMost = 64;

    // Only the first fCount of each are set.
    std::array<const double*, kMost> fValues{};
    std::array<double, kMost> fWeights{};
    std::array<double, kMost> fTotals{};  ///< Of the weights up to each.
    std::size_t fCount = 0;
  };
  /// UpdateValues for a caller that has many records: the means and sizes of single variables wait
  /// in `rows` until there are 64, or for MoveMeans. REQUIRES: values that stay until then.
  bool Update(const double* values, MeanRows& rows);
  void MoveMeans(MeanRows& rows);
  /// Numbers the parameters and returns how many there are.
  virtual int CreateParameterIndices();

  /// Per model effect the record indices of its factors, which must be among this object's factors;
  /// and per factor its position in the rows that look-ups are given. Empties the tables.
  void SetModelEffectFactors(const std::vector<std::vector<int>>& effectFactors,
                             const std::vector<int>& factorOffsets);
  /// Record indices of the variables to average, and to measure.
  void SetCovariates(const std::vector<int>& covariateVars);
  /// Per model effect a parameter that holds the covariates, which must be among those variables,
  /// that multiply its columns: without it every column counts as one of usual size.
  void SetEffectCovariates(const std::vector<QvRegrParameter>& effects) {
    fColumnSizes.SetEffects(effects);
  }
  /// Record index of the regression weight, -1 for none.
  void SetRegrWeightVar(int var) { fRegrWeightVar = var; }

  /// Per model effect the parameter that the row's levels select, -1 and ok = false where that
  /// combination never occurred. The row must hold every factor at its offset.
  const std::vector<int>& GetRowParameterIndices(const double* row, bool& ok) const;
  /// Per effect with factors the parameter's place within the effect; unchanged when not ok.
  const std::vector<int>& GetRowLocalParamIndices(const double* row, bool& ok) const;
  /// As GetRowParameterIndices, for category indices in the order of the factors.
  const std::vector<int>& GetParameterIndices(const std::vector<int>& factorValues, bool& ok) const;
  /// The parameter of one model effect, -1 where the combination never occurred.
  [[nodiscard]] int GetEffectParameterIndex(int modelEffect,
                                            const std::vector<int>& factorValues) const;
  /// The codes, in the effect's order of factors, of an effect's parameter; none for an effect
  /// without factors. False for no such effect or parameter.
  bool GetParameterFactorValues(std::vector<int>& codes, int modelEffect, int localParameter) const;
  /// The effect's number of parameters; 0 for no such effect.
  [[nodiscard]] int GetNEffectParameters(int modelEffect) const;
  /// Of all effects together, which may be more than an int holds.
  [[nodiscard]] long long CountParameters() const;
  /// The effect with the smallest share of its possible combinations seen; -1 when all are
  /// complete.
  [[nodiscard]] int GetIncompleteEffectIndex() const;

  [[nodiscard]] int GetNModelEffects() const { return fNModelEffects; }
  [[nodiscard]] const std::vector<std::vector<int>>& GetModelEffectFactors() const {
    return fModelEffectFactors;
  }
  /// Per model effect the index of its first parameter.
  [[nodiscard]] const std::vector<int>& GetParameterOffsets() const { return fParameterOffsets; }
  /// Per effect with factors its model effect.
  [[nodiscard]] const std::vector<int>& GetModelEffectIndices() const {
    return fModelEffectIndices;
  }
  /// Per model effect its number among the effects with factors, or -1.
  [[nodiscard]] const std::vector<int>& GetLocalEffectIndices() const {
    return fLocalEffectIndices;
  }
  /// The numbers of the factors that some effect has, in increasing order. May throw
  /// std::bad_alloc.
  [[nodiscard]] std::vector<int> GetUsedFactors() const;
  /// Where the rows that look-ups are given hold a factor's code, given its number.
  [[nodiscard]] int GetFactorOffset(int factor) const {
    return fFactorOffsets[static_cast<std::size_t>(factor)];
  }
  /// The code of category 0.
  [[nodiscard]] int GetFirstCode() const { return FirstCode(); }
  [[nodiscard]] int GetNCovariates() const { return static_cast<int>(fCovariateVars.size()); }
  /// The sum of the frequency weights.
  [[nodiscard]] double GetTotalWeight() const { return fTotalFreqWeight; }
  /// The sum of frequency times regression weights.
  [[nodiscard]] double GetTotalRegrWeight() const { return fTotalRegrWeight; }
  /// The same by category of the dependent; empty when the dependent is not counted.
  [[nodiscard]] const std::vector<double>& GetDependRegrWeights() const {
    return fDependRegrWeights;
  }
  /// The number of records counted.
  [[nodiscard]] double GetSampleSize() const { return fSampleSize; }
  /// The weighted means; the missing value for one with a value that is not finite, and for all
  /// when the total frequency weight is not above 0.
  const std::vector<double>& GetCovariateMeans();

  /// Adds what was recorded of further records, for the same effects and variables; false, with
  /// nothing changed, for any other. Parameters are to be numbered anew. May throw std::bad_alloc.
  bool Merge(const QvFactorTables& other);
  /// Everything recorded, level combinations in lexicographic order. May throw std::bad_alloc.
  [[nodiscard]] QvTableContents GetContents() const;
  /// Records it, in tables that hold nothing yet; false, and these undefined, for that of other
  /// effects and variables. May throw std::bad_alloc.
  [[nodiscard]] bool TakeContents(const QvTableContents& contents);
  /// The same as bytes: the `reader` fails where the contents are not taken.
  void Write(QvCommon::QvByteWriter& writer) const;
  void Read(QvCommon::QvByteReader& reader);

  /// What each column is divided by for the estimation.
  [[nodiscard]] const QvColumnSizes& GetColumnSizes() const { return fColumnSizes; }

  void Display() const;

 protected:
  /// Discards the tables and makes empty ones for the stored effects.
  void SetFactorTables();
  /// Records the key's combination unless the table holds it; false without a table or list.
  bool UpdateHashtable(QvCommon::QvHashtable<int>* table, PairList* pairs,
                       QvCommon::QvHashKey& key);
  /// The key's value, -1 when the table is null or has no such key.
  int GetParameterIndex(const QvCommon::QvHashtable<int>* table, QvCommon::QvHashKey& key) const;

 private:
  /// Fills the effect's scratch key from category indices in the order of the factors.
  QvCommon::QvHashKey& FillKey(int localEffect, const std::vector<int>& factorValues) const;
  /// Makes room to find an effect's combinations without hashing, where they are few enough.
  void SetUpNumbers(int localEffect, std::size_t most);
  int NumberCombinations(int localEffect, int first);
  /// The parameter of these category indices, -1 where the combination never occurred.
  [[nodiscard]] int FindParameter(int localEffect, const std::vector<int>& factorValues) const;
  void RecordCombinations();
  /// Adds a record's weights to the sum that the means are over; returns the product of the two in
  /// units of fMeanUnit.
  double AddMeanWeight(double frequency, double regression);
  /// Covariates that are neighbours in the record: where they start in the list and there.
  struct CovariateRun {
    std::size_t fPlace;
    std::size_t fFirst;
    std::size_t fCount;
  };
  /// False, with nothing done, for few covariates and where a mean leaves the range of a double.
  bool MoveMeansTogether(const MeanRows& rows, const CovariateRun& run);
  void MoveMeansOneByOne(const MeanRows& rows, const CovariateRun& run);
  [[nodiscard]] bool IsModelEffect(int effect) const {
    return effect >= 0 && effect < fNModelEffects;
  }
  void MergeMeans(const QvFactorTables& other);
  [[nodiscard]] std::vector<int> CombinationsOf(std::size_t localEffect) const;
  bool TakeCombinations(const std::vector<int>& codes, std::size_t localEffect);
  void DisplayEffects() const;
  void DisplayTotals() const;

  std::vector<std::vector<int>> fModelEffectFactors;
  int fNModelEffects = 0;
  int fNEffects = 0;
  std::vector<int> fConcatenatedFactors;
  std::vector<int> fFactorsPerEffect;
  std::vector<int> fCumulativeFactors;
  mutable std::vector<QvCommon::QvHashKey> fEffectKeys;
  std::vector<std::unique_ptr<QvCommon::QvHashtable<int>>> fEffectTables;
  std::vector<std::unique_ptr<PairList>> fEffectPairs;
  /// Per effect the values of its table again; empty where there may be too many.
  std::vector<QvLevelNumbers> fEffectNumbers;
  bool fbNumbered = false;  ///< Whether they hold all of the tables.
  std::vector<int> fLocalFactorIndices;
  mutable std::vector<int> fFactorValues;
  mutable std::vector<int> fParameterIndices;
  mutable std::vector<int> fLocalParameterIndices;
  std::vector<int> fLocalEffectIndices;
  std::vector<int> fModelEffectIndices;
  std::vector<int> fParametersPerEffect;
  std::vector<int> fParameterOffsets;
  std::vector<int> fFactorOffsets;
  std::vector<int> fCovariateVars;
  int fRegrWeightVar = -1;
  std::vector<CovariateRun> fCovariateRuns;
  std::vector<double> fCovariateMeans;
  std::vector<double> fMoved;  ///< Scratch: moved means and sizes.
  QvColumnSizes fColumnSizes;
  bool fbMeansComputed = false;
  double fTotalFreqWeight = 0.0;
  double fTotalRegrWeight = 0.0;
  /// The total regression weight in units that keep it within the range of a double.
  double fMeanWeight = 0.0;
  QvCommon::QvWeightUnit fMeanUnit;
  std::vector<double> fDependRegrWeights;
  double fSampleSize = 0.0;
};

/// The first pass of every model: gives each valid record to the factor tables and counts what
/// became of the records. The pass's status; kNoRecords when no record was used.
QvCommon::QvStatus FillFactorTables(QvRecordPass& pass, QvFactorTables& tables,
                                    QvRecordCounts& counts);

/// A later pass: calls `step(const double* values)` for every record that the first pass counted,
/// and notes in `counts` how many they were. The pass's status; where the step answers false it
/// ends there, as QvRecordPass::RefusedRecord says.
template <typename Step>
QvCommon::QvStatus ForEachCountedRecord(QvRecordPass& pass, const QvFactorTables& tables,
                                        QvRecordCounts& counts, Step&& step) {
  long long nUsed = 0;
  const QvCommon::QvStatus result =
      pass.Run([&](const double* values, QvRecordVerdict verdict, QvCommon::QvStatus& status) {
        if (verdict != QvRecordVerdict::kValid || !tables.AreCodesInRange(values)) return true;
        nUsed += tables.RecordCount(values);
        if (step(values)) return true;
        status = QvRecordPass::RefusedRecord(pass.GetCancelInfo());
        return false;
      });
  if (!result.IsError()) counts.NoteLaterPass(nUsed);
  return result;
}

/// The same by up to `kMost` records together: calls `step(std::span<const double* const>)` with
/// the values of each, which lie in one block. An iterator that lends none gives one at a time.
template <std::size_t kMost, typename Step>
QvCommon::QvStatus ForEachCountedPanel(QvRecordPass& pass, const QvFactorTables& tables,
                                       QvRecordCounts& counts, Step&& step) {
  long long nUsed = 0;
  std::array<const double*, kMost> records{};
  std::size_t count = 0;
  const auto take = [&](QvCommon::QvStatus& status) {
    if (count == 0 || step(std::span<const double* const>(records.data(), count))) {
      count = 0;
      return true;
    }
    status = QvRecordPass::RefusedRecord(pass.GetCancelInfo());
    return false;
  };
  const QvCommon::QvStatus result = pass.Run(
      [&](const double* values, QvRecordVerdict verdict, QvCommon::QvStatus& status) {
        if (verdict != QvRecordVerdict::kValid || !tables.AreCodesInRange(values)) return true;
        nUsed += tables.RecordCount(values);
        records[count++] = values;
        return count < kMost || take(status);
      },
      take);
  if (!result.IsError()) counts.NoteLaterPass(nUsed);
  return result;
}
