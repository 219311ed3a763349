#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

#include <duckdb.h>

namespace qvhost {

/// Owns one handle of DuckDB's C interface and destroys it. Movable, not copyable; as thread-safe
/// as the handle. For the sources of this folder only: other headers do not show DuckDB.
template <typename Raw, auto Destroy>
class DuckDbHandle {
 public:
  DuckDbHandle() = default;
  explicit DuckDbHandle(Raw raw) : raw_(raw) {}
  DuckDbHandle(DuckDbHandle&& other) noexcept : raw_(std::exchange(other.raw_, nullptr)) {}
  DuckDbHandle& operator=(DuckDbHandle&& other) noexcept {
    std::swap(raw_, other.raw_);
    return *this;
  }
  DuckDbHandle(const DuckDbHandle&) = delete;
  DuckDbHandle& operator=(const DuckDbHandle&) = delete;
  ~DuckDbHandle() {
    if (raw_ != nullptr) Destroy(&raw_);
  }

  [[nodiscard]] Raw Get() const { return raw_; }
  /// Where a creating function puts the handle; to be used once, on an empty object.
  [[nodiscard]] Raw* Out() { return &raw_; }
  explicit operator bool() const { return raw_ != nullptr; }

 private:
  Raw raw_ = nullptr;
};

using DatabaseHandle = DuckDbHandle<duckdb_database, &duckdb_close>;
using ConnectionHandle = DuckDbHandle<duckdb_connection, &duckdb_disconnect>;
using ConfigHandle = DuckDbHandle<duckdb_config, &duckdb_destroy_config>;
using StatementHandle = DuckDbHandle<duckdb_prepared_statement, &duckdb_destroy_prepare>;
using StatementsHandle = DuckDbHandle<duckdb_extracted_statements, &duckdb_destroy_extracted>;
using PendingHandle = DuckDbHandle<duckdb_pending_result, &duckdb_destroy_pending>;
using ChunkHandle = DuckDbHandle<duckdb_data_chunk, &duckdb_destroy_data_chunk>;
using TypeHandle = DuckDbHandle<duckdb_logical_type, &duckdb_destroy_logical_type>;

/// Owns a result. DuckDB fills it through Get(), whether the query succeeds or not.
class ResultHandle {
 public:
  ResultHandle() = default;
  ResultHandle(const ResultHandle&) = delete;
  ResultHandle& operator=(const ResultHandle&) = delete;
  ~ResultHandle() { duckdb_destroy_result(&raw_); }

  [[nodiscard]] duckdb_result* Get() { return &raw_; }

 private:
  duckdb_result raw_{};
};

/// Owns a text that DuckDB allocated.
class DuckDbText {
 public:
  explicit DuckDbText(const char* text) : text_(text) {}
  DuckDbText(const DuckDbText&) = delete;
  DuckDbText& operator=(const DuckDbText&) = delete;
  // DuckDB gives some of its texts as const and takes none back as such.
  ~DuckDbText() { duckdb_free(const_cast<char*>(text_)); }  // NOLINT(*-const-cast)

  /// Null when DuckDB gave none, as for an SQL NULL.
  [[nodiscard]] const char* Get() const { return text_; }

 private:
  const char* text_;
};

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
