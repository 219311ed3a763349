#pragma once

#include <string>

#include "qvreg/common/QvStatus.h"

namespace qvhost {

/// What a status of the library means to the user of the command, and what to do about it: one or
/// two sentences.
[[nodiscard]] std::string StatusText(const QvCommon::QvStatus& status);

}  // namespace qvhost
