#include "host/table/FloatFactorCoder.h"

#include <cmath>
#include <utility>

#include <fmt/format.h>

#include "host/table/CellMask.h"
#include "host/table/CodingErrors.h"
#include "host/table/FinalCodes.h"

namespace qvhost {
FloatFactorCoder::FloatFactorCoder(const std::string& label, bool isSingle, std::size_t maxLevels)
    : isSingle_(isSingle), maxLevels_(maxLevels) {
  column_.label = label;
  column_.kind = CodedColumn::Kind::kFactor;
}

void FloatFactorCoder::Code(duckdb_vector values, idx_t rows, const RecordSlot& slot) {
  const CellMask mask(values);
  const auto* const numbers = static_cast<const double*>(duckdb_vector_get_data(values));
  double* target = slot.first;
  for (idx_t row = 0; row < rows; ++row, target += slot.stride) {
    if (!mask.Has(row) || std::isnan(numbers[row])) {
      *target = kMissingCategory;
      ++column_.missing;
      continue;
    }
    if (std::isinf(numbers[row])) {
      RefuseInfinite(column_.label, slot.firstRow + static_cast<std::int64_t>(row));
    }
    *target = CodeOf(numbers[row]);
  }
}

double FloatFactorCoder::CodeOf(double value) {
  const double key = value == 0.0 ? 0.0 : value;  // -0 is 0
  const auto next = static_cast<std::uint32_t>(levels_.size());
  const auto [place, isNew] = codes_.try_emplace(key, next);
  if (isNew) {
    if (levels_.size() == maxLevels_) throw TooManyLevels(column_.label, maxLevels_);
    levels_.push_back(key);
  }
  return static_cast<double>(place->second);
}

CodedColumn FloatFactorCoder::Finish() {
  const auto order = SortedOrder(
      levels_.size(), [this](std::uint32_t a, std::uint32_t b) { return levels_[a] < levels_[b]; });
  finalCodes_ = FinalCodesOf(order);
  for (const std::uint32_t code : order) {
    const double level = levels_[code];
    column_.levels.push_back(isSingle_ ? fmt::format("{}", static_cast<float>(level))
                                       : fmt::format("{}", level));
  }
  return std::move(column_);
}

}  // namespace qvhost
