#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/table/ColumnCoder.h"
#include "host/table/ColumnInfo.h"
#include "host/table/LevelOrder.h"

namespace qvhost {

/// Codes VARCHAR values as levels in a given order; NULL as -1. A value that was met before costs
/// one look-up and no allocation.
class TextFactorCoder final : public ColumnCoder {
 public:
  /// `kind`, of the values before they were made text: the levels of numbers, which are decimal
  /// ones, are written without idle zeros.
  TextFactorCoder(const std::string& label, LevelOrder order, ColumnKind kind,
                  std::size_t maxLevels);

  void Code(duckdb_vector values, idx_t rows, const RecordSlot& slot) override;
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

  double CodeOf(std::string_view text);

  CodedColumn column_;
  LevelOrder order_;
  bool areNumbers_;
  std::size_t maxLevels_;
  std::unordered_map<std::string, std::uint32_t, ViewHash, std::equal_to<>> codes_;
  std::vector<const std::string*> levels_;  ///< Keys of `codes_` by provisional code.
  std::vector<double> finalCodes_;
};

}  // namespace qvhost
