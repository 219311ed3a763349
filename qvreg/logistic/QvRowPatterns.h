#pragma once

#include <cstddef>
#include <vector>

/// The rows of one covariate pattern, each of the same number of values, in the order appended.
/// Kept in contiguous blocks that grow by doubling and are never moved.
///
/// Owns its rows. Const operations may run on several threads at once.
class QvRowPatterns {
 public:
  explicit QvRowPatterns(int rowSize) : fRowSize(static_cast<std::size_t>(rowSize)) {}

  /// Room for one more row, to be filled by the caller at once. May throw std::bad_alloc.
  double* AppendRow();
  [[nodiscard]] std::size_t GetRowCount() const { return fRowCount; }
  /// Calls `visit(const double*)` for every row in order until it answers false; its last answer.
  template <typename Visit>
  bool ForEachRow(Visit&& visit) const {
    for (const Block& block : fBlocks) {
      for (std::size_t r = 0; r < block.fUsed; ++r) {
        if (!visit(static_cast<const double*>(block.fValues.data() + r * fRowSize))) return false;
      }
    }
    return true;
  }
  void Display() const;

 private:
  struct Block {
    std::vector<double> fValues;
    std::size_t fCapacity = 0;  ///< In rows, as fUsed.
    std::size_t fUsed = 0;
  };

  std::size_t fRowSize;
  std::size_t fRowCount = 0;
  std::vector<Block> fBlocks;
};
