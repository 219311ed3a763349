#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/formula/ExpressionCursor.h"
#include "host/formula/FormulaFunction.h"
#include "host/formula/OperandCheck.h"
#include "host/formula/Tokenizer.h"
#include "host/formula/ValueKind.h"
#include "host/formula/Variable.h"

namespace qvhost {

/// Reads one expression by recursive descent, one function per level of precedence, each giving
/// SQL made of what it understood. The grammar names what is allowed; anything else is an error
/// with its place. docs/formula.md describes it. Used for one expression, then thrown away.
class ExpressionReader : private ExpressionCursor {
 public:
  /// `tokens` must live longer.
  ExpressionReader(const TokenStream& tokens, TokenRange range)
      : ExpressionCursor(tokens, range), check_(tokens) {}

  /// The variable with its label, SQL and columns as the range has them and the range as its place.
  /// Its form is left to the caller. Throws FormulaError.
  [[nodiscard]] Variable Read();

  /// The same of an expression that must be a number, for the function `call`.
  [[nodiscard]] Variable ReadNumber(std::string_view call);

  /// The same of a condition, which may ask besides whether a value is missing (`is null`). Throws
  /// FormulaError for an expression that is neither true nor false.
  [[nodiscard]] Variable ReadCondition();

 private:
  Variable MakeVariable(const Value& value);
  Value Expression();
  Value Conjunction();
  Value Negation();
  Value Comparison();
  /// Makes two values comparable: a boolean beside a number is 0 or 1.
  void MakeAlike(Value& left, Value& right) const;
  /// Makes a text that is compared with a boolean, such as 'Yes', one.
  static void MakeTruth(const Value& truth, Value& text);
  Value Between(const Value& left, bool negated);
  Value In(const Value& left, bool negated);
  Value Like(const Value& left, bool negated);
  Value IsNull(const Value& left);
  Value Concatenation();
  Value Sum();
  Value Product();
  Value Signed();
  Value Power();
  Value Typed();
  Value Primary();
  Value Named();
  Value Column();
  Value Grouped();
  /// DATE '2020-01-31'
  Value TypedText();
  Value Call();
  /// The function that is called at the current token. Throws for one that a formula has not.
  [[nodiscard]] const FormulaFunction& Function() const;
  Value CastCall();
  Value CaseExpression();
  /// One value of the list of `in`.
  Value Literal();

  void RefuseNamed(const FormulaFunction& function, std::size_t index) const;
  std::vector<Value> Arguments(const FormulaFunction& function, Place name);
  /// DuckDB takes integers alone where it counts characters or digits.
  static void MakeWhole(Value& value);
  Value Apply(const FormulaFunction& function, const std::vector<Value>& arguments, Place place);
  /// DuckDB's text of the type at the current token, with its width, and the type itself.
  std::string Type(const CastType*& type);
  std::string TypeWidth();
  /// `left sign right`.
  Value Binary(const Value& left, std::string_view sign, const Value& right, ValueKind kind);
  /// A value whose operands cost this much. Throws when it costs too much.
  Value Made(std::string sql, ValueKind kind, Place place, Cost operands) const;

  OperandCheck check_;
  bool isCondition_ = false;
  std::vector<ColumnUse> columns_;
  std::vector<std::string> gaps_;
  std::vector<std::string> notes_;
};

}  // namespace qvhost
