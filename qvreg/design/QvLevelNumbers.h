#pragma once

#include <cstddef>
#include <vector>

/// A number for every combination of the levels of some factors, in an array that the combination
/// is the index of. A value; const operations may run on several threads at once.
class QvLevelNumbers {
 public:
  static constexpr int kNone = -1;

  /// Makes room for factors with so many levels each, found at these places of what Find is given,
  /// with kNone for every combination; false, and empty, where there are more than `most`.
  /// REQUIRES: as many places as counts, or none where Find is not asked. May throw
  /// std::bad_alloc.
  bool SetUp(const std::vector<int>& places, const std::vector<int>& nLevels, std::size_t most);
  [[nodiscard]] bool IsSetUp() const { return !fNumbers.empty(); }
  /// How many combinations there are.
  [[nodiscard]] std::size_t GetSize() const { return fNumbers.size(); }
  /// The number of the combination that is the `index`th of all, the last place's level running
  /// fastest. REQUIRES: below GetSize().
  [[nodiscard]] int& At(std::size_t index) { return fNumbers[index]; }
  [[nodiscard]] int At(std::size_t index) const { return fNumbers[index]; }
  /// The number of a combination; null where a level is out of range.
  [[nodiscard]] const int* Find(const std::vector<int>& levels) const {
    const std::size_t index = IndexOf(levels);
    return index < fNumbers.size() ? &fNumbers[index] : nullptr;
  }
  [[nodiscard]] int* Find(const std::vector<int>& levels) {
    const std::size_t index = IndexOf(levels);
    return index < fNumbers.size() ? &fNumbers[index] : nullptr;
  }

 private:
  /// Beyond the last index where a level is out of range.
  [[nodiscard]] std::size_t IndexOf(const std::vector<int>& levels) const {
    std::size_t index = 0;
    for (std::size_t i = 0; i < fPlaces.size(); ++i) {
      // A negative level counts as a huge one.
      const auto level = static_cast<unsigned>(levels[fPlaces[i]]);
      if (level >= fNLevels[i]) return fNumbers.size();
      index = index * fNLevels[i] + level;
    }
    return index;
  }

  std::vector<std::size_t> fPlaces;
  std::vector<unsigned> fNLevels;
  std::vector<int> fNumbers;
};
