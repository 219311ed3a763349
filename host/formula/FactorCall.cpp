#include "host/formula/FactorCall.h"

#include <string_view>
#include <vector>

#include "host/Text.h"
#include "host/formula/CallArguments.h"
#include "host/formula/TermFunction.h"

namespace qvhost {
namespace {

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

FactorCall ReadFactorCall(const TokenStream& tokens, std::size_t name) {
  const std::string_view function = tokens.At(name).text;
  const TokenRange inside{name + 2, tokens.CloseOf(name + 1)};
  const std::vector<CallArgument> arguments = ArgumentsOf(tokens, inside);
  FactorCall call;
  // What looks like an argument with a name is a comparison: C(x = 1).
  call.value = Unwrapped(tokens, {inside.first, arguments.front().value.last});
  if (const std::optional<FactorCall> inner = InnerCall(tokens, call.value)) call = *inner;
  if (arguments.size() > 1) {
    call.base = BaseLevel(tokens, function, arguments[1]);
    call.basePlace = PlaceOf(tokens, arguments[1]);
  }
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
