#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <numeric>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/Error.h"
#include "host/table/CodedTable.h"
#include "host/table/ColumnInfo.h"
#include "host/table/DuckDb.h"
#include "host/table/NumberFormat.h"
#include "host/table/RecentCodes.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// A factor has more levels than are allowed (kBadInput).
class TooManyLevels : public Error {
 public:
  TooManyLevels(const std::string& label, std::size_t maxLevels);

  /// What the column is called.
  [[nodiscard]] const std::string& Label() const noexcept { return label_; }

 private:
  std::string label_;
};

/// Throws Error (kBadInput): the value of a column in a row, counted from 0, is infinite.
[[noreturn]] void RefuseInfinite(const std::string& label, std::int64_t row);

/// That the values of a text read as numbers in another format, and which option takes them so: a
/// sentence. The second form looks into the source, and is empty when they do not.
[[nodiscard]] std::string DisguiseText(const NumberReading& reading, const TableSource& source,
                                       const std::string& column);
[[nodiscard]] std::string DisguiseText(const TableSource& source, const ColumnRequest& request);

/// Throws Error (kBadInput): a column that is a factor because it is text has more levels than are
/// likely to be meant. Looks into the source for values that say why.
[[noreturn]] void RefuseCategory(const TableSource& source, const ColumnRequest& request);

/// The code of a value that is in no category.
inline constexpr double kMissingCategory = -1.0;

/// Codes one requested column, chunk by chunk. Levels are numbered as they come first; Finish
/// sorts them and tells the final code of each. One thread at a time. For the sources of this
/// folder.
class ColumnCoder {
 public:
  ColumnCoder() = default;
  ColumnCoder(const ColumnCoder&) = delete;
  ColumnCoder& operator=(const ColumnCoder&) = delete;
  virtual ~ColumnCoder() = default;

  /// Codes the first `rows` values of a vector into as many doubles at `codes`. `firstRow` is the
  /// first one's row in the table, from 0. Throws Error (kBadInput) at a value that cannot be
  /// coded.
  virtual void Code(duckdb_vector values, idx_t rows, double* codes, std::int64_t firstRow) = 0;

  /// What was coded, levels in their final order. Once, after the last chunk.
  [[nodiscard]] virtual CodedColumn Finish() = 0;

  /// After Finish: the final code of each provisional one. Empty when they are the same.
  [[nodiscard]] virtual const std::vector<double>& FinalCodes() const = 0;
};

/// The order of the sorted levels: entry k is the provisional code of the level that comes k-th.
/// `before(a, b)` compares levels by their provisional codes; no two levels are equal.
template <typename Before>
[[nodiscard]] std::vector<std::uint32_t> SortedOrder(std::size_t levels, Before before) {
  std::vector<std::uint32_t> order(levels);
  std::iota(order.begin(), order.end(), 0U);
  std::sort(order.begin(), order.end(), before);
  return order;
}

/// The final code of each provisional one; empty when the order changes nothing.
[[nodiscard]] inline std::vector<double> FinalCodesOf(const std::vector<std::uint32_t>& order) {
  if (std::is_sorted(order.begin(), order.end())) return {};
  std::vector<double> codes(order.size());
  for (std::size_t k = 0; k < order.size(); ++k) codes[order[k]] = static_cast<double>(k);
  return codes;
}

/// Puts sorted levels, `order` by their provisional codes and `levels` for people, into the order
/// that was chosen. Throws Error (kBadInput) as ChosenOrder does.
void Arrange(const LevelChoice& choice, const std::string& label, std::vector<std::uint32_t>& order,
             std::vector<std::string>& levels);

/// Says which of two level texts comes first.
using LevelOrder = std::function<bool(const std::string&, const std::string&)>;

/// By bytes; also the order of booleans (false, true) and of dates and times in ISO form.
[[nodiscard]] LevelOrder ByBytes();

/// By the value of plain decimal numbers of one type: an optional minus sign, digits, and the same
/// number of digits after the point in all of them. Exact however many digits there are.
[[nodiscard]] LevelOrder ByValue();

/// In the order of a list that holds every level.
[[nodiscard]] LevelOrder ByList(const std::vector<std::string>& list);

/// A decimal number without the zeros that end its fraction: 1.500 is 1.5, 2.000 is 2.
[[nodiscard]] std::string PlainNumber(std::string text);

/// Codes DOUBLE values as they are; NULL and NaN as the missing value.
class NumberCoder final : public ColumnCoder {
 public:
  explicit NumberCoder(const std::string& label);

  void Code(duckdb_vector values, idx_t rows, double* codes, std::int64_t firstRow) override;
  [[nodiscard]] CodedColumn Finish() override;
  [[nodiscard]] const std::vector<double>& FinalCodes() const override { return noCodes_; }

 private:
  CodedColumn column_;
  std::vector<double> noCodes_;
};

/// Codes DOUBLE values as levels, sorted by value; NULL and NaN as -1. For columns that are
/// floating point numbers by nature: two values of any other type may share their nearest double.
class FloatFactorCoder final : public ColumnCoder {
 public:
  /// `isSingle`: the values were floats, and levels are written as such.
  FloatFactorCoder(const ColumnRequest& request, bool isSingle, std::size_t maxLevels);

  void Code(duckdb_vector values, idx_t rows, double* codes, std::int64_t firstRow) override;
  [[nodiscard]] CodedColumn Finish() override;
  [[nodiscard]] const std::vector<double>& FinalCodes() const override { return finalCodes_; }

 private:
  double CodeOf(double value);

  CodedColumn column_;
  LevelChoice choice_;
  bool isSingle_;
  std::size_t maxLevels_;
  std::unordered_map<double, std::uint32_t> codes_;
  std::vector<double> levels_;  ///< By provisional code.
  std::vector<double> finalCodes_;
};

/// Codes VARCHAR values as levels in a given order; NULL as -1. A value that was met before costs
/// one look-up and no allocation.
class TextFactorCoder final : public ColumnCoder {
 public:
  /// `kind`, of the values before they were made text: the levels of numbers, which are decimal
  /// ones, are written without idle zeros, those of booleans as the request says.
  TextFactorCoder(const ColumnRequest& request, LevelOrder order, ColumnKind kind,
                  std::size_t maxLevels);

  void Code(duckdb_vector values, idx_t rows, double* codes, std::int64_t firstRow) override;
  [[nodiscard]] CodedColumn Finish() override;
  [[nodiscard]] const std::vector<double>& FinalCodes() const override { return finalCodes_; }

 private:
  /// Lets the table of levels be asked for a view, without making a text of it.
  struct ViewHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
      return std::hash<std::string_view>()(text);
    }
  };

  std::uint32_t CodeOf(std::string_view text);
  /// A value as a level for people.
  [[nodiscard]] std::string LevelText(const std::string& value) const;

  CodedColumn column_;
  LevelOrder order_;
  LevelChoice choice_;
  BooleanTexts booleans_;
  ColumnKind kind_;
  std::size_t maxLevels_;
  std::unordered_map<std::string, std::uint32_t, ViewHash, std::equal_to<>> codes_;
  RecentCodes recent_;
  std::vector<const std::string*> levels_;  ///< Keys of `codes_` by provisional code,
  std::vector<std::int64_t> counts_;        ///< and how many records have each.
  std::vector<double> finalCodes_;
};

}  // namespace qvhost
