#pragma once

#include <cstddef>
#include <string_view>

#include "host/formula/CallArguments.h"
#include "host/formula/ExpressionReader.h"
#include "host/formula/Tokenizer.h"
#include "host/formula/Variable.h"

namespace qvhost {

/// A variable as an operand of a formula, with its power.
struct Operand {
  Variable variable;
  int power = 1;
};

/// A variable with all its powers up to a degree.
struct Polynomial {
  Variable variable;
  int degree = 1;
};

/// Reads the operands of a formula that are variables: a name, a call, C(...), I(...). Moves the
/// token stream, which must live longer.
class OperandReader {
 public:
  /// The highest power in I(x^k).
  static constexpr int kMaxPower = 100;
  /// The highest degree in poly(x, k).
  static constexpr int kMaxDegree = 10;

  explicit OperandReader(TokenStream& tokens) : tokens_(tokens) {}

  /// Whether a variable starts at the current token.
  [[nodiscard]] bool AtVariable() const { return tokens_.Peek().IsColumnLike(); }

  /// Reads the variable at the current token; `I(x^2)` is x with power 2. Throws FormulaError.
  [[nodiscard]] Operand ReadTerm();

  /// Whether `poly(x, k)` starts at the current token, and reads it. Throws FormulaError.
  [[nodiscard]] bool AtPolynomial() const;
  [[nodiscard]] Polynomial ReadPolynomial();

  /// As ReadTerm, but `I(x^2)` is one variable with power 1, as a response must be.
  [[nodiscard]] Variable ReadResponse();

  /// Reads all tokens as the values of one variable. Throws FormulaError.
  [[nodiscard]] Variable ReadValues();

 private:
  enum class Powers { kSplit, kKeep };

  Operand Read(Powers powers);
  [[nodiscard]] Variable Column(std::size_t index) const;
  [[nodiscard]] Variable Call(TokenRange range) const;
  /// A column or an expression, its label without I().
  [[nodiscard]] Variable Values(TokenRange range) const;
  [[nodiscard]] Variable Factor(std::size_t name) const;
  /// scale(x) and center(x)
  [[nodiscard]] Variable Standardized(TokenRange range, Standardizing standardizing) const;
  [[nodiscard]] Operand Grouped(TokenRange inside, Powers powers) const;
  /// Any expression, with its label in I() unless it is a column or call.
  [[nodiscard]] Variable Expression(TokenRange range) const;
  [[nodiscard]] bool IsPower(TokenRange range) const;
  [[nodiscard]] bool TruthOf(const CallArgument& argument) const;
  void RefuseCommas(TokenRange range, std::string_view function) const;

  TokenStream& tokens_;
};

}  // namespace qvhost
