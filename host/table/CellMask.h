#pragma once

#include <cstdint>
#include <string_view>

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

/// A text in a DuckDB vector. Valid as long as the value stays where it is: a short text is inside
/// it.
inline std::string_view ViewOf(const duckdb_string_t& text) {
  const std::size_t length = text.value.inlined.length;
  constexpr std::size_t kInlined = sizeof text.value.inlined.inlined;
  return {length <= kInlined ? text.value.inlined.inlined : text.value.pointer.ptr, length};
}

}  // namespace qvhost
