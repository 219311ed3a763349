#pragma once

#include <cstdint>
#include <string>

#include "qvreg/common/QvStatus.h"

/// What the codes of the C interface and the statuses of the library mean, in English.
namespace QvCMessages {

/// What a code means and what to do about it, in a sentence or two; never null.
[[nodiscard]] const char* Text(std::int32_t code);

/// The same for a status, with the numbers that are attached to it.
[[nodiscard]] std::string Text(const QvCommon::QvStatus& status);

}  // namespace QvCMessages
