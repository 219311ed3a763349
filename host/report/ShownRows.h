#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "host/report/TextStyle.h"

namespace qvhost {

/// Which of a long list of things are printed: those at its two ends.
class Shown {
 public:
  /// At most `most` of `count` are all shown, otherwise the `first` and the `last`.
  struct Limits {
    std::size_t most;
    std::size_t first;
    std::size_t last;
  };

  Shown(std::size_t count, const Limits& limits, const TextStyle& style)
      : count_(count), limits_(limits), isWhole_(style.all || count <= limits.most) {}

  /// Whether the thing at this place is printed.
  [[nodiscard]] bool Contains(std::size_t index) const {
    return isWhole_ || index < limits_.first || index + limits_.last >= count_;
  }
  /// Whether the note stands before the thing at this place.
  [[nodiscard]] bool HasNoteBefore(std::size_t index) const {
    return !isWhole_ && index + limits_.last == count_;
  }
  /// What stands for the others.
  [[nodiscard]] std::string Note(std::string_view things) const {
    return fmt::format("… {} more {}; --all prints them", count_ - limits_.first - limits_.last,
                       things);
  }

 private:
  std::size_t count_;
  Limits limits_;
  bool isWhole_;
};

inline constexpr Shown::Limits kShownRows = {60, 40, 10};

}  // namespace qvhost
