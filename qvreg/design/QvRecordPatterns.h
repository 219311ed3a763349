#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "qvreg/design/QvDesignRow.h"
#include "qvreg/design/QvHashtable.h"
#include "qvreg/design/QvLevelNumbers.h"
#include "qvreg/design/QvPatternDesign.h"

class QvFactorTables;

/// The patterns of records: records of one pattern have the same levels of all factors that the
/// effects have, and so the same columns in their design rows, which differ in a few values only
/// (see QvPatternDesign). What is summed over records may then be summed pattern by pattern over
/// those values, and be added to the columns' sums once a pattern.
///
/// Patterns are numbered from 0 on in the order of their arrival, as long as there are fewer than
/// the bound. The columns of a pattern are found once. A design without factors has one pattern.
///
/// Borrows the design row and the factor tables, which must outlive it; owns what it knows of the
/// patterns. Used from one thread at a time.
class QvRecordPatterns {
 public:
  static constexpr int kNone = -1;

  /// Knows no pattern from here on, and will know at most `most` >= 1, for which storage is kept.
  /// `numbers` are those of QvPatternDesign, borrowed as well. REQUIRES: a row set up for these
  /// tables; parameter indices created. May throw std::bad_alloc.
  void SetUp(const QvDesignRow& row, const QvFactorTables& tables, const std::vector<int>& numbers,
             int most);

  /// The numbers of records' patterns go to `patterns`, one for each; kNone for a record with a
  /// level that the tables have no category for. Ends before the first record that would need a
  /// pattern beyond the bound: the number of records before it, all where there is none. REQUIRES:
  /// values that hold every factor. May throw std::bad_alloc.
  std::size_t Find(std::span<const double* const> records, int* patterns);
  /// Forgets all patterns.
  void Clear();
  /// How many patterns will be known at most.
  [[nodiscard]] int GetBound() const { return fMost; }
  /// How many patterns are known.
  [[nodiscard]] int GetCount() const { return static_cast<int>(fBegins.size()) - 1; }

  /// What the rows' values are.
  [[nodiscard]] const QvPatternDesign& GetDesign() const { return fDesign; }
  /// Writes the values of records row by row, each row `stride` behind the one before. REQUIRES: a
  /// stride of at least as many values as a row has.
  void FillValues(std::span<const double* const> records, std::size_t stride,
                  double* values) const {
    for (const double* record : records) {
      fDesign.FillValues(record, values);
      values += stride;
    }
  }
  /// The numbers of a known pattern's columns, in increasing order. Valid until Find or Clear, as
  /// the places.
  [[nodiscard]] std::span<const int> GetColumns(int pattern) const {
    return PartOf(fColumns, pattern);
  }
  /// Parallel to them, which of a row's values they have.
  [[nodiscard]] std::span<const int> GetPlaces(int pattern) const {
    return PartOf(fPlaces, pattern);
  }
  /// False where the tables hold no parameter for a level combination of a known pattern, which
  /// then has no column of that effect.
  [[nodiscard]] bool IsComplete(int pattern) const {
    return fComplete[static_cast<std::size_t>(pattern)] != 0;
  }
  /// Whether that is true of every pattern that was known since SetUp.
  [[nodiscard]] bool AreAllComplete() const { return fbAllComplete; }

 private:
  /// Storage for all patterns, so that records need none.
  void Reserve(std::size_t nEffects);
  /// A factor that some effect has.
  struct Factor {
    std::size_t fOffset = 0;  ///< Where records hold its code.
    double fEnd = 0.0;        ///< The code behind that of its last category.
    int fNCategories = 0;
  };

  [[nodiscard]] std::span<const int> PartOf(const std::vector<int>& list, int pattern) const {
    const auto place = static_cast<std::size_t>(pattern);
    return std::span(list).subspan(fBegins[place], fBegins[place + 1] - fBegins[place]);
  }
  /// The levels of a record; false where one has no category.
  bool FindLevels(const double* record);
  /// The pattern of those levels, if it is known.
  [[nodiscard]] int FindKnown() const;
  /// Makes it a pattern.
  int Insert(const double* record);

  const QvFactorTables* fpTables = nullptr;
  QvPatternDesign fDesign;
  int fMost = 0;
  std::vector<Factor> fFactors;
  int fFirstCode = 0;
  std::vector<int> fLevels;  ///< Scratch, of a record.
  std::size_t fIndex = 0;    ///< Scratch: of its combination of levels among all.
  /// The number by levels where these have few combinations; else the keys are numbered.
  QvLevelNumbers fNumbers;
  std::vector<std::size_t> fUsedIndices;
  QvCommon::QvKeyNumbers fKeys;
  /// Where the columns of each pattern begin, and those of the next one would.
  std::vector<std::size_t> fBegins{0};
  std::vector<int> fColumns;
  std::vector<int> fPlaces;
  std::vector<char> fComplete;
  bool fbAllComplete = true;
};
