#include "host/table/LevelOrder.h"

#include <memory>

namespace qvhost {
namespace {

/// For numbers without a sign: as many digits after the point in both, so more characters means
/// more digits before it.
bool SmallerMagnitude(std::string_view a, std::string_view b) {
  return a.size() != b.size() ? a.size() < b.size() : a < b;
}

bool SmallerNumber(std::string_view a, std::string_view b) {
  const bool aIsNegative = a.starts_with('-');
  const bool bIsNegative = b.starts_with('-');
  if (aIsNegative != bIsNegative) return aIsNegative;
  return aIsNegative ? SmallerMagnitude(b, a) : SmallerMagnitude(a, b);
}

}  // namespace

LevelOrder ByBytes() { return std::less<>(); }

LevelOrder ByValue() { return SmallerNumber; }

LevelOrder ByList(const std::vector<std::string>& list) {
  auto places = std::make_shared<std::unordered_map<std::string, std::size_t>>();
  for (std::size_t place = 0; place < list.size(); ++place) places->emplace(list[place], place);
  return [places](const std::string& a, const std::string& b) {
    return places->at(a) < places->at(b);
  };
}

std::string PlainNumber(std::string text) {
  if (text.find('.') == std::string::npos) return text;
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text;
}

}  // namespace qvhost
