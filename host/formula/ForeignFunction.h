#pragma once

#include <string>
#include <string_view>

namespace qvhost {

/// The name in a formula of a function that R or Python call otherwise: `if` for `ifelse`, `log`
/// for `np.log`. Any other name as it is.
[[nodiscard]] std::string_view OwnFunctionName(std::string_view name);

/// Why a name is no function of a formula, and what to do: a sentence.
[[nodiscard]] std::string NoFunctionText(std::string_view name);

/// How a formula writes what others have as a constant, such as `np.pi`; empty for any other name.
[[nodiscard]] std::string_view ConstantCall(std::string_view name);

/// Whether a function asks for missing values: `is.na`, `isnull`, ...
[[nodiscard]] bool IsMissingTest(std::string_view name);

}  // namespace qvhost
