#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qvhost {

/// A function that makes a term, and not a value inside an expression.
enum class TermFunction {
  kFactor,      ///< C(), factor(), as.factor(), relevel()
  kCentre,      ///< center()
  kScale,       ///< scale()
  kPolynomial,  ///< poly()
};

/// The function of this name; all but C() in any case of letters.
[[nodiscard]] std::optional<TermFunction> FindTermFunction(std::string_view name);

/// Why such a function, called by this name, cannot stand inside an expression, and what to do: a
/// sentence.
[[nodiscard]] std::string InsideText(std::string_view name);

}  // namespace qvhost
