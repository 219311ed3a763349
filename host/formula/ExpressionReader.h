#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/formula/ExpressionCursor.h"
#include "host/formula/FormulaFunction.h"
#include "host/formula/OperandCheck.h"
#include "host/formula/SqlDialect.h"
#include "host/formula/Tokenizer.h"
#include "host/formula/ValueKind.h"
#include "host/formula/Variable.h"

namespace qvhost {

/// Reads one expression by recursive descent, one function per level of precedence, each giving
/// SQL made of what it understood. The grammar names what is allowed; anything else is an error
/// with its place. docs/formula.md describes it. Used for one expression, then thrown away.
class ExpressionReader : private ExpressionCursor {
 public:
  /// `tokens` and `dialect` must live longer.
  ExpressionReader(const TokenStream& tokens, TokenRange range,
                   const SqlDialect& dialect = kDuckDbDialect)
      : ExpressionCursor(tokens, range), check_(tokens), dialect_(dialect) {}

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
  void MakeTruth(const Value& truth, Value& text) const;
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
  void MakeWhole(Value& value, std::string_view call) const;
  Value Apply(const FormulaFunction& function, const std::vector<Value>& arguments, Place place);
  /// DuckDB's text of the type at the current token, with its width, and the type itself.
  std::string Type(const CastType*& type);
  std::string TypeWidth();
  /// `left sign right`.
  Value Binary(const Value& left, std::string_view sign, const Value& right, ValueKind kind);
  /// What the dialect made of the part of the expression that stands at `place`. Throws when it
  /// has none.
  template <typename Sql>
  Sql Said(std::optional<Sql> sql, std::string_view what, Place place) const;
  /// A value whose operands cost this much. Throws when it costs too much.
  Value Made(std::string sql, ValueKind kind, Place place, Cost operands) const;

  [[noreturn]] void RefuseUnsaid(std::string_view what, Place place) const;

  OperandCheck check_;
  const SqlDialect& dialect_;
  bool isCondition_ = false;
  std::vector<ColumnUse> columns_;
  std::vector<std::string> gaps_;
  std::vector<std::string> notes_;
};

template <typename Sql>
Sql ExpressionReader::Said(std::optional<Sql> sql, std::string_view what, Place place) const {
  if (!sql) RefuseUnsaid(what, place);
  return *std::move(sql);
}

}  // namespace qvhost
