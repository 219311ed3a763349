#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/table/CodedTable.h"
#include "host/table/DuckDb.h"

namespace qvhost {

/// The code of a value that is in no category.
inline constexpr double kMissingCategory = -1.0;

/// Where a coder puts its doubles: one position of each record in a block of records. A plain
/// value that owns nothing.
struct RecordSlot {
  double* first = nullptr;    ///< The position in the block's first record.
  std::size_t stride = 0;     ///< Doubles from one record to the next.
  std::int64_t firstRow = 0;  ///< The block's first record's row in the table, from 0.
};

/// Codes one requested column, chunk by chunk. Levels are numbered as they come first; Finish
/// sorts them and tells the final code of each. For the sources of this folder.
class ColumnCoder {
 public:
  ColumnCoder() = default;
  ColumnCoder(const ColumnCoder&) = delete;
  ColumnCoder& operator=(const ColumnCoder&) = delete;
  virtual ~ColumnCoder() = default;

  /// Codes the first `rows` values of a vector. Throws Error (kBadInput) at a value that cannot be
  /// coded.
  virtual void Code(duckdb_vector values, idx_t rows, const RecordSlot& slot) = 0;

  /// What was coded, levels in their final order. Once, after the last chunk.
  [[nodiscard]] virtual CodedColumn Finish() = 0;

  /// After Finish: the final code of each provisional one. Empty when they are the same.
  [[nodiscard]] virtual const std::vector<double>& FinalCodes() const = 0;
};

}  // namespace qvhost
