#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/design/QvPatternDesign.h"
#include "qvreg/logistic/IQvAccumStats.h"

class QvFactorTables;
class QvLogModel;

/// The rows of a pass over records on their way to statistics that take rows of one pattern
/// together: they wait, by pattern, until there are many.
///
/// What is added, in which order, follows from the records alone, however they are read. Borrows
/// model and statistics. Used from one thread at a time.
class QvPatternBatches {
 public:
  /// The statistics are one object, by two of its interfaces. May throw std::bad_alloc.
  QvPatternBatches(const QvLogModel& model, IQvAccumStats& stats, IQvPatternStats& patternStats);

  /// Whether rows of this model can wait: all have the same columns.
  static bool Suits(const QvLogModel& model);
  /// Begins a pass; what waited for another one is forgotten.
  void Begin(bool llOnly);
  /// Adds a record's row with its local category and its weight, at the latest with AddWaiting;
  /// false when the statistics refuse it, or a row before it. May throw std::bad_alloc.
  bool Add(const double* record, int category, double weight);
  /// Adds all rows that wait; false when the statistics refuse one.
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

  bool AddBatch(Batch& batch);
  bool AddTogether(const Batch& batch);
  bool AddOneByOne(const Batch& batch);
  /// Whether the rows have few non-zeros, which are then better added alone.
  [[nodiscard]] bool IsSparse(const Batch& batch) const;

  IQvAccumStats& fStats;
  IQvPatternStats& fPatternStats;
  QvPatternDesign fDesign;
  std::size_t fNValues;
  bool fbLLOnly = false;
  Batch fBatch;
  /// Scratch of a row.
  std::vector<int> fIndices;
  std::vector<double> fValues;
};
