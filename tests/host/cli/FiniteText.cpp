#include "tests/host/cli/FiniteText.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace qvhost {

std::vector<std::string> NonFiniteWords(std::string_view text) {
  constexpr std::array<std::string_view, 4> kNonFinite = {"nan", "inf", "infinity", "ind"};
  std::vector<std::string> found;
  std::string word;
  const auto finish = [&] {
    if (std::ranges::find(kNonFinite, word) != kNonFinite.end()) found.push_back(word);
    word.clear();
  };
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalpha(byte) != 0) {
      word += static_cast<char>(std::tolower(byte));
    } else {
      finish();
    }
  }
  finish();
  return found;
}

}  // namespace qvhost
