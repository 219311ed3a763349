#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "host/formula/FormulaFunction.h"
#include "host/formula/TokenStream.h"
#include "host/formula/ValueKind.h"

namespace qvhost {

/// A part of an expression that was understood.
struct Value {
  std::string sql;  ///< Safe to embed.
  ValueKind kind = ValueKind::kUnknown;
  Place place;
  std::size_t depth = 1;  ///< Levels of operators and calls.
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
  void Term(std::string_view sign, const Value& value) const;
  /// That `right` may be compared with `left`, or stand in its place.
  void Alike(const Value& left, const Value& right) const;
  void Argument(const FormulaFunction& function, std::size_t index, const Value& value) const;

 private:
  [[noreturn]] void Refuse(std::string_view who, std::string_view wants, const Value& value,
                           const std::string& wayOut) const;
  /// How to make a value of `kind` out of this one; empty when there is no simple way.
  [[nodiscard]] std::string WayOut(ValueKind kind, const Value& value) const;
  [[nodiscard]] std::string Written(const Value& value) const;

  const TokenStream& tokens_;
};

}  // namespace qvhost
