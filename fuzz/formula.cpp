// Formulas, conditions and expressions of any text: a value that holds together, or an error whose
// place is in the text.
#include "host/formula/Formula.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/Check.h"
#include "host/Text.h"
#include "host/formula/Derivative.h"
#include "host/formula/FormulaError.h"
#include "host/formula/PortableDialect.h"

namespace {

using namespace qvfuzz;
using namespace qvhost;

/// Columns of numbers, but for t (text), b (a boolean) and d (a date); z is not among them.
FoundColumn FindColumn(const std::string& name, Place place) {
  if (name == "z") throw FormulaError::At("", place, "There is no column 'z'.");
  ValueKind kind = ValueKind::kNumber;
  if (name == "t") kind = ValueKind::kText;
  if (name == "b") kind = ValueKind::kBoolean;
  if (name == "d") kind = ValueKind::kDateTime;
  return {name, QuoteName(name), kind};
}

DotColumns Dot() {
  DotColumns dot;
  for (const char* const name : {"y", "a", "b", "x"}) {
    dot.columns.push_back({name, QuoteName(name)});
  }
  dot.apart = {"w"};
  return dot;
}

void CheckError(std::string_view text, const FormulaError& error) {
  Check(error.Where().begin <= error.Where().end, "a place has a begin and an end");
  Check(error.Where().end <= text.size(), "a place is in the text");
  Check(std::string_view(error.what()).size() > 1, "an error has a sentence");
}

void CheckFormula(const Formula& formula) {
  Check(formula.intercept || !formula.terms.empty(), "a formula has a term or an intercept");
  for (const Term& term : formula.terms) {
    Check(!term.parts.empty() && term.parts.front().depth == 0, "a term begins at level 0");
    std::set<std::pair<int, int>> atoms;
    int depth = 0;
    for (const TermPart& part : term.parts) {
      Check(
          part.variable >= 0 && static_cast<std::size_t>(part.variable) < formula.variables.size(),
          "a term has variables of the formula");
      Check(part.power >= 1, "a power is positive");
      Check(part.depth == depth || part.depth == depth + 1, "levels follow each other");
      Check(atoms.emplace(part.variable, part.power).second, "a term has an atom once");
      depth = part.depth;
    }
    Check(term.place.end <= formula.text.size(), "a term has a place");
    Check(!TermLabel(formula, term).empty(), "a term has a label");
  }
  for (const Variable& variable : formula.variables) {
    Check(!variable.columns.empty(), "a variable reads a column");
    for (const ColumnUse& column : variable.columns) {
      static_cast<void>(DerivativeSql(variable, column.name));
    }
  }
}

/// What a variable says of itself is read as itself.
void CheckExpression(const Variable& variable) {
  std::string again;
  try {
    again = ParseExpression(variable.expression, FindColumn).sql;
  } catch (const FormulaError& error) {
    Check(false, error.what());
  }
  Check(again == variable.sql, "an expression is read as it was meant");
}

void TryFormula(const std::string& text, bool hasColumns) {
  const ColumnLookup lookup = hasColumns ? ColumnLookup(FindColumn) : ColumnLookup();
  CheckFormula(ParseFormula(text, lookup, Dot()));
}

void Try(const std::string& text, int kind) {
  try {
    if (kind < 3) TryFormula(text, kind > 0);
    if (kind == 3) static_cast<void>(ParseCondition(text, FindColumn));
    if (kind == 4) CheckExpression(ParseExpression(text, FindColumn));
    if (kind == 5) static_cast<void>(ParseExpression(text, FindColumn, kPortableDialect));
  } catch (const FormulaError& error) {
    CheckError(text, error);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  const int kind = data.ConsumeIntegralInRange(0, 5);
  Try(data.ConsumeRemainingBytesAsString(), kind);
  return 0;
}
