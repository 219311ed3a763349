#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "host/formula/FormulaFunction.h"
#include "host/formula/Tokenizer.h"
#include "host/formula/ValueKind.h"

namespace qvhost {

/// What a part of an expression asks of DuckDB.
struct Cost {
  std::size_t levels = 1;  ///< Operators and calls inside each other.
  std::size_t copies = 1;  ///< How often DuckDB's rewriting repeats the innermost part.
};

[[nodiscard]] constexpr Cost Max(const Cost& a, const Cost& b) noexcept {
  return {std::max(a.levels, b.levels), std::max(a.copies, b.copies)};
}

/// A part of an expression that was understood.
struct Value {
  std::string sql;  ///< Safe to embed.
  ValueKind kind = ValueKind::kUnknown;
  Place place;
  Cost cost;
  /// Of a column, that of FoundColumn.
  std::function<std::string()> numberHint = {};
};

/// Checks the kinds of an operator's or function's operands before DuckDB sees them, so that an
/// error points at the operand. A kind that is not known passes. Every check throws FormulaError.
class OperandCheck {
 public:
  /// `tokens` must live longer.
  explicit OperandCheck(const TokenStream& tokens) : tokens_(tokens) {}

  /// An operand of the sign or word `sign`.
  void Number(std::string_view sign, const Value& value) const;
  void Text(std::string_view sign, const Value& value) const;
  /// A boolean, or a number, of which 0 is false.
  void Condition(std::string_view sign, const Value& value) const;
  /// Operands of '+' and '-': numbers, or dates and times, whose sums DuckDB checks.
  void Term(std::string_view sign, const Value& value, const Value& other) const;
  /// That `right` may be compared with `left`, or stand in its place.
  void Alike(const Value& left, const Value& right) const;
  void Argument(const FormulaFunction& function, std::size_t index, const Value& value) const;

 private:
  [[noreturn]] void Refuse(std::string_view who, std::string_view wants, const Value& value,
                           const std::string& wayOut) const;
  /// How to make a value of `kind` out of this one; empty when there is no simple way.
  [[nodiscard]] std::string WayOut(ValueKind kind, const Value& value) const;
  /// "if it holds dates, write cast(x as date)."
  [[nodiscard]] std::string CastText(std::string_view holds, const Value& value,
                                     std::string_view type) const;
  /// How to ask for the truth of a boolean.
  [[nodiscard]] std::string TruthText(const Value& value) const;
  [[nodiscard]] std::string Written(const Value& value) const;

  const TokenStream& tokens_;
};

}  // namespace qvhost
