#include "host/formula/TermFunction.h"

#include <algorithm>
#include <array>

#include "host/Text.h"

namespace qvhost {
namespace {

struct Named {
  std::string_view name;
  TermFunction function;
};

constexpr auto kNames = std::to_array<Named>({
    {"factor", TermFunction::kFactor},
    {"as.factor", TermFunction::kFactor},
    {"relevel", TermFunction::kFactor},
    {"center", TermFunction::kCentre},
    {"centre", TermFunction::kCentre},
    {"scale", TermFunction::kScale},
    {"poly", TermFunction::kPolynomial},
});

}  // namespace

std::optional<TermFunction> FindTermFunction(std::string_view name) {
  if (name == "C") return TermFunction::kFactor;
  const auto* const found =
      std::ranges::find_if(kNames, [&](const Named& named) { return SameWord(name, named.name); });
  if (found == kNames.end()) return std::nullopt;
  return found->function;
}

std::string InsideText(std::string_view name) {
  const std::string call = std::string(name) + "()";
  const std::optional<TermFunction> function = FindTermFunction(name);
  if (function == TermFunction::kFactor) {
    return call + " makes a factor of a whole variable; it cannot stand inside a call.";
  }
  if (function == TermFunction::kPolynomial) {
    return call + " makes several terms, so it stands among them: y ~ poly(x, 2).";
  }
  return call +
         " depends on all records, so it stands among the terms or in a power of its own, as in "
         "I(" +
         std::string(name) + "(x)^2); compute anything else in --sql.";
}

}  // namespace qvhost
