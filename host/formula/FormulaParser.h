#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
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

  /// `text` must live longer; `lookup` and `dot` as for ParseFormula.
  FormulaParser(std::string_view text, ColumnLookup lookup, std::optional<DotColumns> dot);
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
  TermSet PolynomialTerm();
  /// `.`
  TermSet DotTerm();
  TermSet InterceptTerm();
  /// Adds or takes out the product that follows a sign.
  void SumOperand(TermSet& sum);
  /// Takes out what stands at a place. Throws when none of it is there.
  void TakeOut(TermSet& sum, const TermSet& operand, Place place) const;
  /// Whether a term is a column that `.` does not stand for: the response, a weight.
  [[nodiscard]] bool IsApart(const Term& term) const;
  /// Notes what a power of one term is.
  void NotePower(const TermSet& base, int degree);

  int Degree(Place sign);
  /// The index of a variable among those of the formula; a new one is put behind the others.
  int IndexOf(Variable variable);
  /// A known variable, named once more.
  void Merge(Variable& known, Variable& again) const;
  [[nodiscard]] bool IsOfResponse(const std::string& column) const;
  /// Throws unless the current token may follow a whole sum.
  void CheckAfterSum() const;
  [[noreturn]] void RefuseAsOperand() const;

  std::string_view text_;
  TokenStream tokens_;
  OperandReader operands_;
  TermAlgebra algebra_;
  Variable response_;
  std::vector<Variable> variables_;
  /// By SQL, whether a factor, and what is done to the values.
  std::map<std::tuple<std::string, bool, Standardizing>, int> indices_;
  std::optional<DotColumns> dot_;
  bool usesDot_ = false;
  bool takesOut_ = false;  ///< What is read now is to be taken out.
};

}  // namespace qvhost
