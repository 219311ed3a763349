#include "host/table/MissingStrings.h"

#include <algorithm>
#include <array>

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

bool MayBeLevel(std::string_view text) {
  constexpr std::array<std::string_view, 6> kNoLevels = {"", "na", "n/a", "#n/a", "nan", "null"};
  const auto isThis = [text](std::string_view other) { return SameWord(text, other); };
  return std::ranges::none_of(kNoLevels, isThis);
}

}  // namespace qvhost
