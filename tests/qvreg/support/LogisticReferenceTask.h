#pragma once

#include <string>
#include <vector>

#include "tests/qvreg/support/ReferenceCase.h"
#include "tests/qvreg/support/ReferenceModel.h"

namespace nlohmann {
inline namespace json_abi_fwd {}
}  // namespace nlohmann
