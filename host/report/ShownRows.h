#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <string_view>

#include <fmt/format.h>

namespace qvhost {

/// Which of a long list of things are shown: those at its two ends.
class Shown {
 public:
  /// At most `most` of a list are all shown, otherwise the `first` and the `last`.
  struct Limits {
    std::size_t most;
    std::size_t first;
    std::size_t last;
  };

  Shown(std::size_t count, const Limits& limits)
      : count_(count), limits_(limits), isWhole_(count <= limits.most) {}

  /// Whether the thing at this place is shown.
  [[nodiscard]] bool Contains(std::size_t index) const {
    return isWhole_ || index < limits_.first || index + limits_.last >= count_;
  }
  /// Whether things were left out right before the one at this place.
  [[nodiscard]] bool HasNoteBefore(std::size_t index) const {
    return !isWhole_ && index + limits_.last == count_;
  }
  /// How many are not shown, and how many are before the first of those.
  [[nodiscard]] std::size_t Omitted() const {
    return isWhole_ ? 0 : count_ - limits_.first - limits_.last;
  }
  [[nodiscard]] std::size_t BeforeOmitted() const { return limits_.first; }
  /// What plain text says of those left out.
  [[nodiscard]] std::string Note(std::string_view things) const {
    return OmissionText(Omitted(), things);
  }
  [[nodiscard]] static std::string OmissionText(std::size_t count, std::string_view things) {
    return fmt::format("… {} more {}; --all prints them", count, things);
  }

 private:
  std::size_t count_;
  Limits limits_;
  bool isWhole_;
};

inline constexpr Shown::Limits kShownRows = {60, 40, 10};
inline constexpr Shown::Limits kShownAll = {std::numeric_limits<std::size_t>::max(), 0, 0};

/// The rows that plain text prints of a long table.
[[nodiscard]] inline Shown ShownRows(std::size_t count, bool all) {
  return {count, all ? kShownAll : kShownRows};
}

}  // namespace qvhost
