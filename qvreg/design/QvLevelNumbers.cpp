#include "qvreg/design/QvLevelNumbers.h"

bool QvLevelNumbers::SetUp(const std::vector<int>& places, const std::vector<int>& nLevels,
                           std::size_t most) {
  *this = QvLevelNumbers();
  std::size_t size = 1;
  for (const int count : nLevels) {
    const auto levels = static_cast<std::size_t>(count);
    if (count < 1 || levels > most / size) return false;
    size *= levels;
  }
  fPlaces.assign(places.begin(), places.end());
  fNLevels.assign(nLevels.begin(), nLevels.end());
  fNumbers.assign(size, kNone);
  return true;
}
