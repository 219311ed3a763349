#pragma once

#include <string>
#include <vector>

/// \file
/// Values of options that several commands have.

namespace qvhost {

/// Throws UsageError unless it is the confidence of limits.
void CheckConfidence(double confidence);

/// Reads the lists of --keep: names of columns, or `all` for every one.
void ReadKeep(const std::vector<std::string>& lists, std::vector<std::string>& keep, bool& all);

}  // namespace qvhost
