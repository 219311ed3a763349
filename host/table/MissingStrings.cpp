#include "host/table/MissingStrings.h"

#include <algorithm>

#include "host/Text.h"

namespace qvhost {

const std::vector<std::string>& MissingStrings::Default() {
  static const std::vector<std::string> strings = {"NA",  "N/A", "n/a", "NULL", "null", "None",
                                                   "NaN", "nan", ".",   "?",    "-",    "#N/A"};
  return strings;
}

MissingStrings::MissingStrings(const std::vector<std::string>& strings) {
  for (const std::string& given : strings) {
    const std::string text(WithoutBlanks(given));
    if (text.empty() || std::ranges::find(strings_, text) != strings_.end()) continue;
    strings_.push_back(text);
    longest_ = std::max(longest_, text.size());
    isFirst_[static_cast<unsigned char>(text.front())] = true;
  }
}

int MissingStrings::Find(std::string_view text) const {
  text = WithoutBlanks(text);
  if (text.empty()) return kEmpty;
  if (text.size() > longest_ || !isFirst_[static_cast<unsigned char>(text.front())]) return kValue;
  const auto found = std::ranges::find(strings_, text);
  return found == strings_.end() ? kValue : static_cast<int>(found - strings_.begin());
}

}  // namespace qvhost
