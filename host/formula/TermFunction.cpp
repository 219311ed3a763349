#include "host/formula/TermFunction.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "host/Text.h"
#include "host/formula/CallArguments.h"

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

constexpr std::string_view kLevelText =
    "Name here the level that the others are compared with, a text in quotes or a number.";

std::string LevelOf(const TokenStream& tokens, const CallArgument& argument) {
  const std::optional<std::string> level = LiteralOf(tokens, argument.value);
  if (!level) throw tokens.Error(PlaceOf(tokens, argument), std::string(kLevelText));
  return *level;
}

/// The level of `Treatment('a')` and `Treatment(reference='a')`.
std::string TreatmentLevel(const TokenStream& tokens, TokenRange call) {
  const std::vector<CallArgument> arguments = ArgumentsOf(tokens, {call.first + 2, call.last - 1});
  const CallArgument& level = arguments.front();
  if (arguments.size() > 1 || (!level.name.empty() && level.name != "reference")) {
    throw tokens.Error(PlaceOf(tokens, arguments.back()),
                       "Treatment() takes one level: Treatment('a').");
  }
  return LevelOf(tokens, level);
}

/// The level that the second argument of C(x, Treatment(...)) or relevel(x, ref = ...) names.
std::string BaseLevel(const TokenStream& tokens, std::string_view function,
                      const CallArgument& argument) {
  if (SameWord(function, "relevel")) {
    if (argument.name.empty() || argument.name == "ref") return LevelOf(tokens, argument);
  } else if (argument.name.empty() && IsWholeCall(tokens, argument.value) &&
             tokens.At(argument.value.first).text == "Treatment") {
    return TreatmentLevel(tokens, argument.value);
  }
  if (argument.name == "levels") {
    throw tokens.Error(PlaceOf(tokens, argument),
                       "The order of levels is named outside the formula: --levels "
                       "FACTOR=LEVEL,..., such as --levels size=S,M,L.");
  }
  throw tokens.Error(PlaceOf(tokens, argument),
                     std::string(function) +
                         "() takes one column or expression; only C(x, Treatment('a')), with the "
                         "level that the others are compared with, has more.");
}

/// The call that the value of another one is, as in C(factor(x)); none for any other value.
std::optional<FactorCall> InnerCall(const TokenStream& tokens, TokenRange value) {
  if (!IsWholeCall(tokens, value) ||
      FindTermFunction(tokens.At(value.first).text) != TermFunction::kFactor) {
    return std::nullopt;
  }
  return ReadFactorCall(tokens, value.first);
}

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

FactorCall ReadFactorCall(const TokenStream& tokens, std::size_t name) {
  const std::string_view function = tokens.At(name).text;
  const TokenRange inside{name + 2, tokens.CloseOf(name + 1)};
  const std::vector<CallArgument> arguments = ArgumentsOf(tokens, inside);
  FactorCall call;
  // What looks like an argument with a name is a comparison: C(x = 1).
  call.value = Unwrapped(tokens, {inside.first, arguments.front().value.last});
  if (const std::optional<FactorCall> inner = InnerCall(tokens, call.value)) call = *inner;
  if (arguments.size() > 1) call.base = BaseLevel(tokens, function, arguments[1]);
  if (arguments.size() > 2) {
    throw tokens.Error(PlaceOf(tokens, arguments[2]),
                       std::string(function) + "() takes no third argument; take this out.");
  }
  if (SameWord(function, "relevel") && !call.base) {
    throw tokens.Error(tokens.At(name).place,
                       "relevel() takes a column and a level: relevel(x, ref = 'a').");
  }
  return call;
}

}  // namespace qvhost
