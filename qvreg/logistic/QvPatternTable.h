#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "qvreg/common/QvAlignedDoubles.h"
#include "qvreg/common/QvColumnKernels.h"
#include "qvreg/common/QvPackedInt.h"
#include "qvreg/common/QvPlatform.h"
#include "qvreg/component/IQvPassSums.h"
#include "qvreg/design/QvHashtable.h"

class QvFactorTables;

/// Rows that are stored together: one behind the other, or as a panel of up to 256, whose columns
/// have 256 numbers each, zeros from the last row on. Borrowed.
struct QvStoredRows {
  static constexpr std::size_t kPanelRows = QvCommon::QvColumnKernels::kRows;

  const double* fpValues = nullptr;
  std::size_t fCount = 0;
  std::size_t fRowSize = 0;
  bool fbPanel = false;

  /// The column of a panel.
  [[nodiscard]] const double* Column(std::size_t column) const {
    return fpValues + column * kPanelRows;
  }
  /// A row's values: where they are, or, of a panel, copied to `scratch`.
  const double* Row(std::size_t row, double* scratch) const {
    if (!fbPanel) return fpValues + row * fRowSize;
    for (std::size_t j = 0; j < fRowSize; ++j) scratch[j] = fpValues[j * kPanelRows + row];
    return scratch;
  }
};

/// Where one row's values are to be written.
struct QvRowPlace {
  double* fpFirst = nullptr;  ///< Null for no place.
  std::size_t fStep = 1;      ///< From each value to the next.

  [[nodiscard]] double& operator[](std::size_t column) const { return fpFirst[column * fStep]; }
};

/// The rows of one covariate pattern, each of the same number of values, in the order appended.
/// Kept in contiguous blocks that grow by doubling and are never moved: the first rows one behind
/// the other, the others in panels.
///
/// Owns its rows. Const operations may run on several threads at once.
class QvRowPatterns {
 public:
  explicit QvRowPatterns(int rowSize) : fRowSize(static_cast<std::size_t>(rowSize)) {}

  /// Storage for one more row, which the caller fills at once. May throw std::bad_alloc.
  QvRowPlace AppendRow();
  [[nodiscard]] std::size_t GetRowCount() const { return fRowCount; }
  /// Calls `visit(const QvStoredRows&)` for rows that lie together, in order, until it answers
  /// false; its last answer.
  template <typename Visit>
  bool ForEachRun(Visit&& visit) const {
    constexpr std::size_t kPanelRows = QvStoredRows::kPanelRows;
    for (const Block& block : fBlocks) {
      const bool isPanels = block.IsPanels();
      const std::size_t most = isPanels ? kPanelRows : block.fUsed;
      for (std::size_t row = 0; row < block.fUsed; row += most) {
        const std::size_t n = std::min(most, block.fUsed - row);
        if (isPanels && row + n < block.fUsed) Prefetch(&block.fValues[(row + n) * fRowSize]);
        if (!visit(QvStoredRows{&block.fValues[row * fRowSize], n, fRowSize, isPanels})) {
          return false;
        }
      }
    }
    return true;
  }
  void Display() const;

 private:
  struct Block {
    QvCommon::QvAlignedDoubles fValues;  ///< With room for all rows, which are made as they come.
    std::size_t fCapacity = 0;           ///< In rows, as fUsed.
    std::size_t fUsed = 0;

    /// Few rows would leave much of a panel empty.
    [[nodiscard]] bool IsPanels() const {
      constexpr std::size_t kFewestPanels = 4;
      return fCapacity >= kFewestPanels * QvStoredRows::kPanelRows;
    }
  };

  /// Asks for a panel that will be read next: walks through many wait for memory otherwise.
  void Prefetch(const double* panel) const {
    constexpr std::size_t kLine = 8;
    for (std::size_t k = 0; k < fRowSize * QvStoredRows::kPanelRows; k += kLine) {
      QVREG_PREFETCH(panel + k);
    }
  }

  std::size_t fRowSize;
  std::size_t fRowCount = 0;
  std::vector<Block> fBlocks;
};

/// The rows of some records by covariate pattern, a pattern being a sequence of codes.
///
/// The first rows of every pattern are kept together, in the order of their arrival, and put in the
/// order of the patterns when the first walk needs it; where a pattern has many rows, the others
/// are in blocks of its own. So neither many small patterns nor few large ones cost more than their
/// rows. Patterns are walked in the order of the hash table's buckets, the rows of each in that of
/// their arrival. Used from one thread at a time.
class QvPatternTable : public IQvKeptRows {
 public:
  /// Prepares an empty table for rows of `rowSize` values and for codes, each below its bound.
  /// False for a bound below 1. May throw std::bad_alloc.
  bool SetUp(int rowSize, const std::vector<int>& bounds);
  /// Storage for one more row of the pattern, which the caller fills at once; none for a code that
  /// is not within its bound. May throw std::bad_alloc.
  QvRowPlace AppendRow(const std::vector<int>& codes);
  [[nodiscard]] long long GetRowCount() const { return fRowCount; }
  /// Notes that a row counts as `n` records.
  void CountRecords(long long n) { fRecordCount += n; }
  /// How many records the rows count as.
  [[nodiscard]] long long GetRecordCount() const { return fRecordCount; }
  [[nodiscard]] int GetPatternCount() const { return fKeys.GetCount(); }
  [[nodiscard]] const std::vector<int>& GetBounds() const { return fBounds; }
  [[nodiscard]] const std::vector<int>& GetPackedBounds() const { return fPackedBounds; }

  /// Puts the rows in the order of the walk, unless they are. The codes are those of the parameters
  /// of each effect with factors: `tables` turn them into parameter indices. May throw
  /// std::bad_alloc.
  void Arrange(const QvFactorTables& tables);
  /// What follows is about the pattern in a place of the walk. REQUIRES: Arrange since the last row
  /// was appended; a place below the number of patterns.
  [[nodiscard]] std::size_t GetRowCountAt(std::size_t place) const {
    const Pattern& pattern = fRowsOf[place];
    return pattern.fCount + (pattern.fpFurther == nullptr ? 0 : pattern.fpFurther->GetRowCount());
  }
  /// Its parameter per model effect.
  void CopyIndices(std::size_t place, std::vector<int>& indices) const {
    const int* first = fIndices.data() + place * fNEffects;
    indices.assign(first, first + fNEffects);
  }
  /// As QvRowPatterns::ForEachRun.
  template <typename Visit>
  bool ForEachRun(std::size_t place, Visit&& visit) const {
    const Pattern& pattern = fRowsOf[place];
    const std::size_t end = pattern.fBegin + pattern.fCount;
    for (std::size_t row = pattern.fBegin; row < end;) {
      const std::size_t n = std::min(end - row, BlockRows() - PlaceInBlock(row));
      if (!visit(QvStoredRows{RowAt(row), n, fRowSize, false})) return false;
      row += n;
    }
    return pattern.fpFurther == nullptr || pattern.fpFurther->ForEachRun(visit);
  }
  /// Prints every pattern and its rows, and the latest key.
  void Display() const;

 private:
  /// Rows of one pattern that are kept among those of others.
  static constexpr std::uint32_t kSharedRows = 32;
  struct Pattern {
    std::size_t fBegin = 0;    ///< Once arranged, its first shared row.
    std::uint32_t fCount = 0;  ///< Of shared rows.
    std::unique_ptr<QvRowPatterns> fpFurther;
  };
  /// Shared rows of any pattern.
  struct Block {
    std::vector<double> fValues;  ///< With room for all rows, which are made as they come.
    std::vector<int> fPatterns;   ///< By row, until they are arranged.
  };

  /// The pattern of fCodes packed in fPacked, a new one if need be.
  int FindOrInsertPattern();
  double* AppendSharedRow(int pattern);
  /// The place of a row of fCodes packed in fPacked.
  QvRowPlace PlaceRow(int pattern);
  [[nodiscard]] std::size_t BlockRows() const { return std::size_t{1} << fBlockShift; }
  [[nodiscard]] std::size_t PlaceInBlock(std::size_t row) const { return row & (BlockRows() - 1); }
  [[nodiscard]] const double* RowAt(std::size_t row) const {
    return fBlocks[row >> fBlockShift].fValues.data() + PlaceInBlock(row) * fRowSize;
  }
  [[nodiscard]] double* RowAt(std::size_t row) {
    return fBlocks[row >> fBlockShift].fValues.data() + PlaceInBlock(row) * fRowSize;
  }
  [[nodiscard]] int& PatternAt(std::size_t row) {
    return fBlocks[row >> fBlockShift].fPatterns[PlaceInBlock(row)];
  }
  void FindIndices(const QvFactorTables& tables);
  /// Takes the patterns, and their shared rows, to the order of fWalk.
  void OrderRows();
  /// Notes the pattern of each row again.
  void Disarrange();

  std::size_t fRowSize = 0;
  unsigned fBlockShift = 0;  ///< A block holds 2^fBlockShift rows.
  std::vector<int> fBounds;
  std::vector<int> fPackedBounds;
  QvCommon::QvPackedInt fPacker;
  std::vector<int> fPacked;  ///< The latest key.
  /// The patterns, numbered in the order of their arrival.
  QvCommon::QvKeyNumbers fKeys;
  /// The number by packed codes, -1 where there is none; empty where there may be too many.
  std::vector<int> fNumbers;
  std::vector<Pattern> fRowsOf;  ///< By number; once arranged, in the order of the walk.
  std::vector<Block> fBlocks;
  std::size_t fNShared = 0;
  long long fRowCount = 0;
  long long fRecordCount = 0;
  bool fbArranged = false;
  std::vector<int> fWalk;     ///< Numbers of patterns in the order of the walk.
  std::vector<int> fIndices;  ///< In that order each pattern's parameters.
  std::size_t fNEffects = 0;
};
