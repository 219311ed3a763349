#include "host/table/NumberCoder.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/table/CellMask.h"
#include "host/table/CodingErrors.h"
#include "qvreg/common/Constants.h"

namespace qvhost {

NumberCoder::NumberCoder(const std::string& label) {
  column_.label = label;
  column_.kind = CodedColumn::Kind::kNumber;
}

void NumberCoder::Code(duckdb_vector values, idx_t rows, const RecordSlot& slot) {
  const CellMask mask(values);
  const auto* const numbers = static_cast<const double*>(duckdb_vector_get_data(values));
  double* target = slot.first;
  for (idx_t row = 0; row < rows; ++row, target += slot.stride) {
    const double number = mask.Has(row) ? numbers[row] : QvMV::gMissingValue;
    if (std::isinf(number)) {
      RefuseInfinite(column_.label, slot.firstRow + static_cast<std::int64_t>(row));
    }
    const bool isMissing = std::isnan(number) || number == QvMV::gMissingValue;
    column_.missing += isMissing ? 1 : 0;
    *target = isMissing ? QvMV::gMissingValue : number;
    if (isMissing) continue;
    column_.lowest = std::min(column_.lowest, number);
    column_.highest = std::max(column_.highest, number);
  }
}

CodedColumn NumberCoder::Finish() { return std::move(column_); }

}  // namespace qvhost
