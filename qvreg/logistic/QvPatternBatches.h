#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "qvreg/design/QvRecordPatterns.h"
#include "qvreg/logistic/IQvAccumStats.h"

class QvLogModel;

/// The rows of a pass over records on their way to statistics that take rows of one pattern
/// together: they wait, by pattern, until there are many. Of rows that differ in nothing but
/// category and weight only the sums wait.
///
/// What is added, in which order, follows from the pass's records alone, however they are read.
/// Memory is bounded: once it is used up all rows that wait are added, and where these were few for
/// their patterns the rest of the pass is left to the caller. Borrows model and statistics. Used
/// from one thread at a time.
class QvPatternBatches {
 public:
  enum class Result {
    kTaken,    ///< Added, or waiting.
    kRefused,  ///< The statistics refuse the row, or one before it.
    kLeft      ///< To be added by itself.
  };

  /// Both of a model whose rows are laid out as records. The statistics are one object, by two of
  /// its interfaces. May throw std::bad_alloc.
  QvPatternBatches(const QvLogModel& model, IQvAccumStats& stats, IQvPatternStats& patternStats);

  /// Begins a pass; what waited for another one is forgotten.
  void Begin(bool llOnly);
  /// Adds a record's row with its local category and its weight, with AddWaiting at the latest. May
  /// throw std::bad_alloc.
  Result Add(const double* record, int category, double weight) {
    const bool isRow = fbTakesRows && category >= 0 && !(0.0 >= weight);
    if (!isRow) return AddByPattern(record, category, weight);
    return AddToRows(record, category, weight) ? Result::kTaken : Result::kRefused;
  }
  /// Adds all rows that wait; false when the statistics refuse one. May throw std::bad_alloc.
  bool AddWaiting();

 private:
  /// The rows of one pattern that wait.
  struct Batch {
    std::vector<int> fColumns;
    std::vector<int> fPlaces;
    std::vector<double> fRows;  ///< Each its values, its weight, its category.
    std::size_t fCount = 0;
  };
  /// Those of one pattern and category whose values are alike.
  struct Alike {
    double fWeight = 0.0;
    long long fCount = 0;
  };

  /// The record's pattern, which has a batch; negative where its row is to be added by itself, or
  /// there are too many patterns.
  int FindPattern(const double* record);
  void SetUpBatch(int pattern);
  void ForgetPatterns();
  /// Adds what waits, and forgets the patterns or gives up.
  bool MakeRoom();
  /// As Add.
  Result AddByPattern(const double* record, int category, double weight);
  bool AddToBatch(Batch& batch, const double* record, int category, double weight);
  /// The same where there is one pattern.
  bool AddToRows(const double* record, int category, double weight) {
    fPatterns.GetDesign().FillValues(record, fRowValues.data() + fCount * fNValues);
    fCategories[fCount] = category;
    fWeights[fCount] = weight;
    return ++fCount < IQvPatternStats::kMostRows || AddRows(fBatches.front());
  }
  /// Adds the rows that were taken from a pattern's batch, or never were in it.
  bool AddRows(const Batch& batch);
  bool AddTogether();
  bool AddOneByOne(const Batch& batch);
  /// Takes the rows of a batch, and empties it.
  void Unpack(Batch& batch);
  bool AddAlike(std::size_t pattern);
  /// Whether the rows taken have few non-zeros, which are then better added alone.
  [[nodiscard]] bool AreSparse() const;

  IQvAccumStats& fStats;
  IQvPatternStats& fPatternStats;
  QvRecordPatterns fPatterns;
  std::size_t fNValues;
  std::size_t fNCategories;
  bool fbOnePattern;
  bool fbConstant;           ///< Whether the values of all rows of a pattern are alike.
  bool fbTakesRows = false;  ///< Whether there is one pattern, which is known.
  bool fbLLOnly = false;
  bool fbGaveUp = false;        ///< Whether the rest of the pass is left to the caller.
  long long fNRows = 0;         ///< Since the patterns were forgotten.
  std::vector<Batch> fBatches;  ///< By pattern.
  std::vector<Alike> fAlike;    ///< By pattern and category.
  /// Rows of one pattern on their way to the statistics.
  std::size_t fCount = 0;
  std::vector<double> fRowValues;
  std::array<int, IQvPatternStats::kMostRows> fCategories{};
  std::array<double, IQvPatternStats::kMostRows> fWeights{};
  /// Scratch of a row.
  std::vector<int> fIndices;
  std::vector<double> fValues;
};
