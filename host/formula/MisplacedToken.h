#pragma once

#include <string>

#include "host/formula/Token.h"

namespace qvhost {

/// What to say of a token of an expression that does not belong where it stands, behind an operand:
/// a sentence with a way out.
[[nodiscard]] std::string BehindOperandText(const Token& token);

/// The same where an operand must stand.
[[nodiscard]] std::string AsOperandText(const Token& token);

}  // namespace qvhost
