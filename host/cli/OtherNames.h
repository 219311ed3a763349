#pragma once

#include <span>
#include <string_view>

namespace qvhost {

/// What other programs call an option.
struct OtherName {
  std::string_view name;
  /// Behind "There is no option --name"; for the commands that have all options that it names.
  std::string_view hint;
};

/// Those known, the likeliest hint of a name first.
[[nodiscard]] std::span<const OtherName> OtherNames();

}  // namespace qvhost
