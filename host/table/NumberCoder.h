#pragma once

#include <string>
#include <vector>

#include "host/table/ColumnCoder.h"

namespace qvhost {

/// Codes DOUBLE values as they are; NULL and NaN as the missing value.
class NumberCoder final : public ColumnCoder {
 public:
  explicit NumberCoder(const std::string& label);

  void Code(duckdb_vector values, idx_t rows, const RecordSlot& slot) override;
  [[nodiscard]] CodedColumn Finish() override;
  [[nodiscard]] const std::vector<double>& FinalCodes() const override { return noCodes_; }

 private:
  CodedColumn column_;
  std::vector<double> noCodes_;
};

}  // namespace qvhost
