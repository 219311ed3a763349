#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/Error.h"
#include "host/table/Booleans.h"
#include "host/table/CodedTable.h"
#include "host/table/ColumnCoders.h"
#include "host/table/ColumnInfo.h"
#include "host/table/DuckDb.h"
#include "host/table/RecentCodes.h"

namespace qvhost {

/// Which of the known levels a value is: the one that is written so. Where the values, or those
/// that the levels were made of, are numbers, also the only level that is the same number; and the
/// same of booleans. Immutable after construction.
class LevelCodes {
 public:
  /// For values of the `kind`; with `isSingle` of floats, of which a level is the nearest one.
  LevelCodes(const KnownLevels& known, ColumnKind kind, bool isSingle = false);

  /// The code of the level; kMissingCategory for none.
  [[nodiscard]] double OfText(std::string_view text) const;
  [[nodiscard]] double OfNumber(double number) const;

 private:
  /// Lets the table be asked for a view, without making a text of it.
  struct ViewHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
      return std::hash<std::string_view>()(text);
    }
  };

  ColumnKind kind_;
  bool isSingle_;
  std::unordered_map<std::string, double, ViewHash, std::equal_to<>> texts_;
  std::unordered_map<double, double> numbers_;
  std::unordered_map<bool, double> truths_;
};

/// A value is none of the levels that were said to be all (kBadInput).
class UnknownLevel : public Error {
 public:
  /// `row` counts from 0.
  UnknownLevel(std::string label, std::int64_t row, std::string value);

  /// What the column is called.
  [[nodiscard]] const std::string& Label() const noexcept { return label_; }
  /// From 1 on, among the rows that are read.
  [[nodiscard]] std::int64_t Row() const noexcept { return row_; }
  [[nodiscard]] const std::string& Value() const noexcept { return value_; }

 private:
  std::string label_;
  std::int64_t row_;
  std::string value_;
};

/// Codes values as the known levels of the request; any other value as no category, and counts it
/// as unknown, or throws UnknownLevel where the request allows no more levels than these. The codes
/// are final at once. Base of the two that follow.
class KnownLevelCoder : public ColumnCoder {
 public:
  [[nodiscard]] CodedColumn Finish() override { return std::move(column_); }
  [[nodiscard]] const std::vector<double>& FinalCodes() const override { return noCodes_; }

 protected:
  KnownLevelCoder(const ColumnRequest& request, ColumnKind kind, bool isSingle);

  [[nodiscard]] const LevelCodes& Codes() const { return codes_; }
  double Missing();
  /// `code` or, of a value without one, what it is counted as; `text` makes the value's.
  template <typename Text>
  double Counted(double code, std::int64_t row, const Text& text) {
    if (code != kMissingCategory) return code;
    if (areAll_) throw UnknownLevel(column_.label, row, text());
    if (column_.unknown++ == 0) column_.firstUnknown = text();
    return kMissingCategory;
  }
  [[noreturn]] void RefuseInfiniteAt(std::int64_t row) const { RefuseInfinite(column_.label, row); }

 private:
  LevelCodes codes_;
  bool areAll_;
  CodedColumn column_;
  std::vector<double> noCodes_;
};

/// That of DOUBLE values; see FloatFactorCoder.
class KnownFloatCoder final : public KnownLevelCoder {
 public:
  KnownFloatCoder(const ColumnRequest& request, bool isSingle);

  void Code(duckdb_vector values, idx_t rows, double* codes, std::int64_t firstRow) override;
};

/// That of VARCHAR values, of the `kind` before they were made text; see TextFactorCoder.
class KnownTextCoder final : public KnownLevelCoder {
 public:
  KnownTextCoder(const ColumnRequest& request, ColumnKind kind);

  void Code(duckdb_vector values, idx_t rows, double* codes, std::int64_t firstRow) override;

 private:
  double CodeOf(std::string_view text, std::int64_t row);

  ColumnKind kind_;
  BooleanTexts booleans_;
  RecentCodes recent_;
};

}  // namespace qvhost
