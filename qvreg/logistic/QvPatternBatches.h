#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/design/QvRecordPatterns.h"
#include "qvreg/logistic/IQvAccumStats.h"

class QvLogModel;

/// The rows of a pass over records on their way to statistics that take rows of one pattern
/// together: they wait, by pattern, until there are many. Of rows that differ in nothing but
/// category and weight only the sums wait.
///
/// What is added, in which order, follows from the records alone, however they are read. Memory is
/// bounded: patterns that come once it is used up are left to the caller. Borrows model and
/// statistics. Used from one thread at a time.
class QvPatternBatches {
 public:
  enum class Result {
    kTaken,    ///< Added, or waiting.
    kRefused,  ///< The statistics refuse the row, or one before it.
    kLeft      ///< Its pattern has no place, or no columns: to be added by itself.
  };

  /// Both of a model whose rows are laid out as records. The statistics are one object, by two of
  /// its interfaces. May throw std::bad_alloc.
  QvPatternBatches(const QvLogModel& model, IQvAccumStats& stats, IQvPatternStats& patternStats);

  /// Begins a pass; what waited for another one is forgotten.
  void Begin(bool llOnly);
  /// Adds a record's row with its local category and its weight, with AddWaiting at the latest. May
  /// throw std::bad_alloc.
  Result Add(const double* record, int category, double weight);
  /// Adds all rows that wait; false when the statistics refuse one. May throw std::bad_alloc.
  bool AddWaiting();

 private:
  /// The rows of one pattern that wait.
  struct Batch {
    std::vector<int> fColumns;
    std::vector<int> fPlaces;
    std::size_t fCount = 0;
    std::vector<double> fValues;  ///< Row after row.
    std::vector<int> fCategories;
    std::vector<double> fWeights;
  };
  /// Those of one pattern and category whose values are alike.
  struct Alike {
    double fWeight = 0.0;
    long long fCount = 0;
  };

  /// The record's pattern, which has a batch; kNone where there is none for it.
  int FindPattern(const double* record);
  void MakeBatch(int pattern);
  bool AddToBatch(Batch& batch, const double* record, int category, double weight);
  bool AddBatch(Batch& batch);
  bool AddTogether(const Batch& batch);
  bool AddOneByOne(const Batch& batch);
  bool AddAlike(std::size_t pattern);
  /// Whether the rows have few non-zeros, which are then better added alone.
  [[nodiscard]] bool IsSparse(const Batch& batch) const;

  IQvAccumStats& fStats;
  IQvPatternStats& fPatternStats;
  QvRecordPatterns fPatterns;
  std::size_t fNValues;
  std::size_t fNCategories;
  bool fbOnePattern;
  bool fbConstant;  ///< Whether the values of all rows of a pattern are alike.
  bool fbLLOnly = false;
  std::vector<Batch> fBatches;  ///< By pattern.
  std::vector<Alike> fAlike;    ///< By pattern and category.
  /// Scratch of a row.
  std::vector<int> fIndices;
  std::vector<double> fValues;
};
