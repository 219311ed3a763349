#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/Error.h"

namespace qvhost {

/// What the user chose of the order of a factor's levels. A plain value.
struct LevelChoice {
  std::vector<std::string> order;   ///< The first levels; all others follow in their usual order.
  std::optional<std::string> base;  ///< The level that stands last; none: the last of that order.
  bool isFirstBase = false;         ///< Without `base`: the first of that order stands last.
};

/// The number that a level is, below 2^53, so that a double holds it whatever it is written as;
/// nothing for any other text.
[[nodiscard]] std::optional<double> NumberOfLevel(std::string_view level);

/// The place of the level that a user means: the one of this text; else the only one that is the
/// same number below 2^53, which a double holds (1950.0 for 1950); else, where all levels are
/// booleans, the one of the same truth (true for yes). Nothing when there is none.
[[nodiscard]] std::optional<std::size_t> FindLevel(const std::vector<std::string>& levels,
                                                   std::string_view wanted);

/// A level that a factor does not have was chosen: bad input.
class NoSuchLevel : public Error {
 public:
  NoSuchLevel(std::string label, std::string wanted, const std::string& message)
      : Error(ExitCode::kBadInput, message), label_(std::move(label)), wanted_(std::move(wanted)) {}

  [[nodiscard]] const std::string& Label() const noexcept { return label_; }
  [[nodiscard]] const std::string& Wanted() const noexcept { return wanted_; }

 private:
  std::string label_;
  std::string wanted_;
};

/// The end of a message that says that there is no such level: the nearest one and the first 20.
[[nodiscard]] std::string LevelHint(const std::vector<std::string>& levels,
                                    std::string_view wanted);

/// The order that was chosen for `levels`, which are in their usual one: entry k is the place in
/// `levels` of the level that comes k-th. Throws Error (kBadInput), which calls the factor `label`,
/// for a level that does not exist or is listed twice.
[[nodiscard]] std::vector<std::size_t> ChosenOrder(const LevelChoice& choice,
                                                   const std::string& label,
                                                   const std::vector<std::string>& levels);

}  // namespace qvhost
