#include "host/table/TextFactorCoder.h"

#include <utility>

#include "host/table/CellMask.h"
#include "host/table/CodingErrors.h"
#include "host/table/FinalCodes.h"

namespace qvhost {

TextFactorCoder::TextFactorCoder(const std::string& label, LevelOrder order, ColumnKind kind,
                                 std::size_t maxLevels)
    : order_(std::move(order)), areNumbers_(kind == ColumnKind::kNumber), maxLevels_(maxLevels) {
  column_.label = label;
  column_.kind = CodedColumn::Kind::kFactor;
  column_.isText = kind == ColumnKind::kText;
}

void TextFactorCoder::Code(duckdb_vector values, idx_t rows, const RecordSlot& slot) {
  const CellMask mask(values);
  const auto* const texts = static_cast<const duckdb_string_t*>(duckdb_vector_get_data(values));
  double* target = slot.first;
  for (idx_t row = 0; row < rows; ++row, target += slot.stride) {
    if (mask.Has(row)) {
      *target = CodeOf(ViewOf(texts[row]));
    } else {
      *target = kMissingCategory;
      ++column_.missing;
    }
  }
}

double TextFactorCoder::CodeOf(std::string_view text) {
  const auto known = codes_.find(text);
  if (known != codes_.end()) return static_cast<double>(known->second);
  if (levels_.size() == maxLevels_) throw TooManyLevels(column_.label, maxLevels_);
  const auto next = static_cast<std::uint32_t>(levels_.size());
  levels_.push_back(&codes_.emplace(text, next).first->first);
  return static_cast<double>(next);
}

CodedColumn TextFactorCoder::Finish() {
  const auto order = SortedOrder(levels_.size(), [this](std::uint32_t a, std::uint32_t b) {
    return order_(*levels_[a], *levels_[b]);
  });
  finalCodes_ = FinalCodesOf(order);
  for (const std::uint32_t code : order) {
    column_.levels.push_back(areNumbers_ ? PlainNumber(*levels_[code]) : *levels_[code]);
  }
  return std::move(column_);
}

}  // namespace qvhost
