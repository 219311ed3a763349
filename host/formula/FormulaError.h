#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "host/Error.h"

namespace qvhost {

/// A stretch [begin, end) of a formula's text, counted in bytes.
struct Place {
  std::size_t begin = 0;
  std::size_t end = 0;

  bool operator==(const Place&) const = default;
};

/// The smallest stretch that holds both.
[[nodiscard]] constexpr Place Span(const Place& a, const Place& b) noexcept {
  return {a.begin < b.begin ? a.begin : b.begin, a.end > b.end ? a.end : b.end};
}

/// What is wrong with a formula, and where. The message has three lines: the sentence, the formula
/// (indented by two blanks), and a caret under the first character of the place:
///
///     There is no column 'pirce'; did you mean 'price'?
///       y ~ pirce + carat
///           ^
///
/// The caret is counted in code points, so it stands right under names that are not ASCII. Of a
/// long formula only the surroundings of the place are shown, between "..."; control characters
/// are shown as blanks. Exits with ExitCode::kBadInput. A value: any thread may make or copy one.
class FormulaError : public Error {
 public:
  /// The error `message` (one sentence: what is wrong and what to do, no line break) at `place` of
  /// the formula `text`. Whoever binds a formula to a table uses it for unknown columns and wrong
  /// types. A place past the end of the text is taken as its end.
  [[nodiscard]] static FormulaError At(std::string_view text, Place place,
                                       const std::string& message);

  /// The place in the formula's text, never past its end.
  [[nodiscard]] const Place& Where() const noexcept { return place_; }

 private:
  FormulaError(const std::string& message, Place place)
      : Error(ExitCode::kBadInput, message), place_(place) {}

  Place place_;
};

}  // namespace qvhost
