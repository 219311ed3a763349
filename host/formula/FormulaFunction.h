#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "host/formula/ValueKind.h"

namespace qvhost {

enum class FunctionGroup {
  kArithmetic,
  kPower,
  kTrigonometry,
  kText,
  kDateTime,
  kConditional,
};

/// The group's heading in docs/formula.md.
[[nodiscard]] std::string_view GroupTitle(FunctionGroup group);

/// What an argument of a function must be.
enum class ArgumentKind {
  kNumber,
  kWhole,  ///< A number, rounded to a whole one.
  kText,
  kDateTime,
  kCondition,  ///< A boolean, or a number, of which 0 is false.
  kSame,       ///< Whatever the first argument of this kind is.
  kAny,
  kFormat,  ///< A text in quotes.
  kUnit     ///< One of the words of IsTimeUnit, as a text.
};

/// One function that a formula may call: a scalar one whose value follows from the values of one
/// record alone, the same each time and on each machine.
struct FormulaFunction {
  std::string_view usage;  ///< As documented: `round(x[, digits])`; the name comes first.
  std::string_view sql;    ///< What DuckDB calls it; empty for what has a syntax of its own.
  FunctionGroup group;
  /// A letter for each argument: n, w, t, d, c, s, a, f, u for the kinds above; those behind `|`
  /// may be left out, a `+` at the end lets the last be repeated.
  std::string_view arguments;
  /// A letter as above.
  char result;
  /// Whether the value may be missing where no argument is.
  bool makesMissing = false;
  /// A sentence on what it does, where elsewhere the name does something else; empty for none.
  std::string_view note = {};

  [[nodiscard]] std::string_view Name() const { return usage.substr(0, usage.find('(')); }
  [[nodiscard]] std::size_t FewestArguments() const;
  /// None: any number.
  [[nodiscard]] std::optional<std::size_t> MostArguments() const;
  [[nodiscard]] ArgumentKind KindOfArgument(std::size_t index) const;
  /// kUnknown when it is that of the arguments of kind kSame.
  [[nodiscard]] ValueKind ResultKind() const;
};

/// All of them, by group.
[[nodiscard]] std::span<const FormulaFunction> FormulaFunctions();

/// The function of this name, in any case of letters; null when there is none.
[[nodiscard]] const FormulaFunction* FindFunction(std::string_view name);

/// Whether a word, in any case of letters, names a unit of time: `year`, `month`, ...
[[nodiscard]] bool IsTimeUnit(std::string_view word);

/// The units of time in one line, for an error.
[[nodiscard]] std::string TimeUnitList();

}  // namespace qvhost
