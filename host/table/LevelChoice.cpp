#include "host/table/LevelChoice.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/table/Booleans.h"
#include "host/table/NumberFormat.h"

namespace qvhost {
namespace {

constexpr std::size_t kMostListed = 20;

/// The place of the only level of which a reading gives the same as of the wanted text.
template <typename Reading>
std::optional<std::size_t> FindBy(Reading reading, const std::vector<std::string>& levels,
                                  std::string_view wanted) {
  const auto meant = reading(wanted);
  if (!meant) return std::nullopt;
  std::optional<std::size_t> found;
  for (std::size_t i = 0; i < levels.size(); ++i) {
    if (reading(levels[i]) != meant) continue;
    if (found) return std::nullopt;
    found = i;
  }
  return found;
}

}  // namespace

std::optional<double> NumberOfLevel(std::string_view level) {
  if (level.starts_with('+')) level.remove_prefix(1);
  double number = 0.0;
  const auto [end, error] = std::from_chars(level.data(), level.data() + level.size(), number);
  if (error != std::errc() || end != level.data() + level.size()) return std::nullopt;
  if (!(std::abs(number) < kLeastInexact)) return std::nullopt;
  return number;
}

std::optional<std::size_t> FindLevel(const std::vector<std::string>& levels,
                                     std::string_view wanted) {
  const auto found = std::ranges::find(levels, wanted);
  if (found != levels.end()) return static_cast<std::size_t>(found - levels.begin());
  if (const auto number = FindBy(NumberOfLevel, levels, wanted)) return number;
  const auto isBoolean = [](const std::string& level) { return TruthOf(level).has_value(); };
  if (!std::ranges::all_of(levels, isBoolean)) return std::nullopt;
  return FindBy(TruthOf, levels, wanted);
}

std::string LevelHint(const std::vector<std::string>& levels, std::string_view wanted) {
  if (levels.empty()) return {};
  const std::size_t listed = std::min(levels.size(), kMostListed);
  return fmt::format("{} Its levels are '{}'{}", DidYouMean(wanted, levels),
                     fmt::join(levels.begin(), levels.begin() + static_cast<long>(listed), "', '"),
                     listed < levels.size() ? ", …." : ".");
}

std::vector<std::size_t> ChosenOrder(const LevelChoice& choice, const std::string& label,
                                     const std::vector<std::string>& levels) {
  const auto placeOf = [&](const std::string& wanted, const char* purpose) {
    if (const auto place = FindLevel(levels, wanted)) return *place;
    throw NoSuchLevel(label, wanted,
                      fmt::format("'{}' has no level '{}' {}.{}", label, wanted, purpose,
                                  LevelHint(levels, wanted)));
  };
  std::vector<std::size_t> order;
  std::vector<bool> isListed(levels.size(), false);
  for (const std::string& wanted : choice.order) {
    const std::size_t place = placeOf(wanted, "for --levels");
    if (isListed[place]) {
      throw Error(ExitCode::kBadInput,
                  fmt::format("--levels lists the level '{}' of '{}' twice.", wanted, label));
    }
    isListed[place] = true;
    order.push_back(place);
  }
  for (std::size_t place = 0; place < levels.size(); ++place) {
    if (!isListed[place]) order.push_back(place);
  }
  if (!choice.base) {
    if (choice.isFirstBase && !order.empty())
      std::rotate(order.begin(), order.begin() + 1, order.end());
    return order;
  }
  const auto base = std::ranges::find(order, placeOf(*choice.base, "to be the base"));
  std::rotate(base, base + 1, order.end());
  return order;
}

}  // namespace qvhost
