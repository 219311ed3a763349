#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "host/table/SpoolFile.h"

namespace qvhost {

/// One position of the records whose codes change. A plain value; `codes` is borrowed.
struct CodeChange {
  std::size_t position = 0;
  const std::vector<double>* codes = nullptr;  ///< The final code of each provisional one.
};

/// Puts the final codes into spooled records, in one sweep through the file, block by block.
/// Negative codes stay. `afterBlock` is called with the number of records done; what it throws ends
/// the sweep. For the sources of this folder.
void SortCodes(SpoolFile& file, std::int64_t records, std::size_t recordSize,
               const std::vector<CodeChange>& changes,
               const std::function<void(std::int64_t)>& afterBlock);

}  // namespace qvhost
