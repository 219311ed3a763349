#pragma once

#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/OptionTable.h"

namespace qvfuzz {

/// Words behind the name of the program: a command, mostly what it cannot do without, and options
/// of its table in any order, with values that are right, nearly right, of another option or
/// absurd; some names are cut short or joined with their value. No word leads out of the folder
/// that the command runs in.
[[nodiscard]] std::vector<std::string> TakeCommandLine(FuzzedDataProvider& data,
                                                       const std::vector<VerbRow>& table);

}  // namespace qvfuzz
