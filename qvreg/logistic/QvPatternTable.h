#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "qvreg/common/QvPackedInt.h"
#include "qvreg/component/IQvPassSums.h"
#include "qvreg/design/QvHashtable.h"

class QvFactorTables;

/// The rows of one covariate pattern, each of the same number of values, in the order appended.
/// Kept in contiguous blocks that grow by doubling and are never moved.
///
/// Owns its rows. Const operations may run on several threads at once.
class QvRowPatterns {
 public:
  explicit QvRowPatterns(int rowSize) : fRowSize(static_cast<std::size_t>(rowSize)) {}

  /// Storage for one more row, which the caller fills at once. May throw std::bad_alloc.
  double* AppendRow();
  [[nodiscard]] std::size_t GetRowCount() const { return fRowCount; }
  /// Calls `visit(const double* rows, std::size_t n)` for rows that lie one behind the other, in
  /// order, until it answers false; its last answer.
  template <typename Visit>
  bool ForEachRun(Visit&& visit) const {
    for (const Block& block : fBlocks) {
      if (!visit(block.fValues.data(), block.fUsed)) return false;
    }
    return true;
  }
  /// The same for `visit(const double* row)`, row by row.
  template <typename Visit>
  bool ForEachRow(Visit&& visit) const {
    return ForEachRun([&](const double* rows, std::size_t n) {
      for (std::size_t r = 0; r < n; ++r) {
        if (!visit(rows + r * fRowSize)) return false;
      }
      return true;
    });
  }
  void Display() const;

 private:
  struct Block {
    std::vector<double> fValues;  ///< With room for all rows, which are made as they come.
    std::size_t fCapacity = 0;    ///< In rows, as fUsed.
    std::size_t fUsed = 0;
  };

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
  /// Storage for one more row of the pattern, which the caller fills at once; null for a code that
  /// is not within its bound. May throw std::bad_alloc.
  double* AppendRow(const std::vector<int>& codes);
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
      if (!visit(RowAt(row), n)) return false;
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
