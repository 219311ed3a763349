#pragma once

#include <cstdint>

#include "host/table/DuckDb.h"

namespace qvhost {

/// Which values of a DuckDB vector are there, as opposed to NULL. Owns nothing; valid as long as
/// the vector.
class CellMask {
 public:
  explicit CellMask(duckdb_vector values) : bits_(duckdb_vector_get_validity(values)) {}

  [[nodiscard]] bool Has(idx_t row) const {
    return bits_ == nullptr || ((bits_[row / 64] >> (row % 64)) & 1U) != 0;
  }

 private:
  const std::uint64_t* bits_;  ///< Null when every value is there.
};

}  // namespace qvhost
