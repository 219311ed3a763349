#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/table/ColumnCoder.h"

namespace qvhost {

/// Codes DOUBLE values as levels, sorted by value; NULL and NaN as -1. For columns that are
/// floating point numbers by nature: two values of any other type may share their nearest double.
class FloatFactorCoder final : public ColumnCoder {
 public:
  /// `isSingle`: the values were floats, and levels are written as such.
  FloatFactorCoder(const std::string& label, bool isSingle, std::size_t maxLevels);

  void Code(duckdb_vector values, idx_t rows, const RecordSlot& slot) override;
  [[nodiscard]] CodedColumn Finish() override;
  [[nodiscard]] const std::vector<double>& FinalCodes() const override { return finalCodes_; }

 private:
  double CodeOf(double value);

  CodedColumn column_;
  bool isSingle_;
  std::size_t maxLevels_;
  std::unordered_map<double, std::uint32_t> codes_;
  std::vector<double> levels_;  ///< By provisional code.
  std::vector<double> finalCodes_;
};

}  // namespace qvhost
