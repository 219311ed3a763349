#pragma once

#include <string>
#include <vector>

#include "tests/qvreg/support/ReferenceCase.h"

namespace qvtest {

/// Reads a CSV file of the logistic reference cases. `categories` are coded by their sorted levels,
/// `numbers` are read as they stand, every other column is 0. Throws std::runtime_error for a file
/// that is missing or ragged and for a number that is none.
[[nodiscard]] ReferenceTable ReadLogisticReferenceTable(const std::string& path,
                                                        const std::vector<std::string>& categories,
                                                        const std::vector<std::string>& numbers);

}  // namespace qvtest
