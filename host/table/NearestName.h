#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/table/Connection.h"

namespace qvhost {

/// The name most like `wanted`, upper and lower case being the same: a slip of the keyboard or two
/// away, or a good part of it. None when none is near.
[[nodiscard]] std::optional<std::string> NearestName(Connection& connection,
                                                     const std::string& wanted,
                                                     const std::vector<std::string>& names);

/// " Did you mean 'x'?" for the nearest name, nothing when there is none: the end of a message.
[[nodiscard]] std::string DidYouMean(Connection& connection, const std::string& wanted,
                                     const std::vector<std::string>& names);

}  // namespace qvhost
