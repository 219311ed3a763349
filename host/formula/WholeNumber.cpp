#include "host/formula/WholeNumber.h"

#include <charconv>
#include <limits>
#include <system_error>

namespace qvhost {

std::optional<int> WholeNumber(std::string_view text) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos) return {};
  int value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec == std::errc::result_out_of_range) return std::numeric_limits<int>::max();
  return value;
}

}  // namespace qvhost
