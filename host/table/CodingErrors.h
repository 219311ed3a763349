#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "host/Error.h"
#include "host/table/ColumnRequest.h"
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

/// Throws Error (kBadInput): a column that is a factor because it is text has more levels than are
/// likely to be meant. Looks into the source for values that say why.
[[noreturn]] void RefuseCategory(const TableSource& source, const ColumnRequest& request);

}  // namespace qvhost
