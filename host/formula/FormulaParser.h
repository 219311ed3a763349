#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/formula/Formula.h"
#include "host/formula/OperandReader.h"
#include "host/formula/Terms.h"
#include "host/formula/Tokenizer.h"

namespace qvhost {

/// Reads one formula by recursive descent, one function per level of precedence, each giving the
/// set of terms that its stretch of the formula stands for. Use ParseFormula.
class FormulaParser {
 public:
  /// The highest degree in (a + b)^k.
  static constexpr int kMaxDegree = 100;

  /// `text` must live longer; `lookup` as for ParseFormula.
  FormulaParser(std::string_view text, ColumnLookup lookup);
  ~FormulaParser() = default;
  FormulaParser(const FormulaParser&) = delete;
  FormulaParser& operator=(const FormulaParser&) = delete;

  /// Once only. Throws FormulaError.
  [[nodiscard]] Formula Run();

 private:
  Variable Response();
  TermSet Sum();
  TermSet Product();
  TermSet Within();
  TermSet Crossing();
  TermSet Power();
  TermSet Primary();
  TermSet Parenthesised();
  TermSet VariableTerm();
  TermSet InterceptTerm();
  /// Adds or takes out the product that follows a sign.
  void SumOperand(TermSet& sum);

  int Degree(Place sign);
  /// The index of a variable among those of the formula; a new one is put behind the others.
  int IndexOf(Variable variable);
  /// Throws unless the current token may follow a whole sum.
  void CheckAfterSum() const;
  [[noreturn]] void RefuseAsOperand() const;
  /// Keeps the variables that the terms use, and renumbers the terms.
  void DropUnusedVariables(Formula& formula) const;

  std::string_view text_;
  TokenStream tokens_;
  OperandReader operands_;
  TermAlgebra algebra_;
  Variable response_;
  std::vector<Variable> variables_;
  std::map<std::pair<std::string, bool>, int> indices_;  ///< By SQL and whether a factor.
};

}  // namespace qvhost
